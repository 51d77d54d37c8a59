#include "mcp/ToolManual.h"

#include <gtest/gtest.h>

#include "base/file/JsonFile.h"

namespace quillet {
namespace {

TEST(ToolManual, StandsInTheDocumentation) {
    const auto page = readFile(QUILLET_TEST_FOLDER "/../docs/mcp.md");
    ASSERT_TRUE(page.has_value());
    EXPECT_TRUE(page->contains(toolManual()))
        << "docs/mcp.md is to hold what `quillet mcp tools` prints";
}

}  // namespace
}  // namespace quillet
