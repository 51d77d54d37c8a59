#include "base/text/JsonString.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace quillet {
namespace {

TEST(JsonString, IsReadAsTheTextThatItWasMadeOf) {
    std::string every;
    for (int c = 0; c < 0x80; ++c)
        every += static_cast<char>(c);
    for (const auto& text : {std::string(), every, std::string("你好 \"世界\"\\ ä\u2028🎉")}) {
        std::string json = "[";
        appendJsonString(json, text);
        EXPECT_EQ(nlohmann::json::parse(json + "]")[0], text);
        std::string nested = "\"[";
        appendNestedJsonString(nested, text);
        const auto inner = nlohmann::json::parse(nested + "]\"").get<std::string>();
        EXPECT_EQ(nlohmann::json::parse(inner)[0], text);
    }
    std::string malformed;
    appendJsonString(malformed, "a\xff\"");
    EXPECT_EQ(malformed, "\"a\uFFFD\\\"\"");
}

}  // namespace
}  // namespace quillet
