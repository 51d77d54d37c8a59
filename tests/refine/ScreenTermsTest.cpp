#include "refine/ScreenTerms.h"

#include <gtest/gtest.h>

namespace quillet {
namespace {

std::string joined(const std::vector<std::string>& terms) {
    std::string all;
    for (const auto& term : terms)
        all += (all.empty() ? "" : "|") + term;
    return all;
}

TEST(ScreenTerms, AreWrittenLikeNamesAbbreviationsOrIdentifiers) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {"Yesterday we met Ada Lovelace. Then Bob left", "Ada Lovelace|Bob"},
        {"we saw Ada, Émile Zola and Ada's dog", "Ada|Émile Zola"},
        {"so I think I'm late, said X to Al", "Al"},
        {"Save As\nOpen Recent Files\nSAVE ALL FILES", ""},
        {"NASA and the EU use GPT-4 on Dell XPS", "NASA|EU|GPT-4|Dell XPS"},
        {"call camelCase or snake_case, not 2nd utf8 3.5 plain", "camelCase|snake_case|utf8"},
        {"ask Joe.Bloggs@Example.org at https://Example.org/FooBar or www.Host.org", ""},
        {"我们用GitHub和Kubernetes部署", "GitHub|Kubernetes"},
        {"用 C++ 写", "C++"},
    };
    for (const auto& [text, expected] : cases)
        EXPECT_EQ(joined(screenTerms(text, 99)), expected) << text;
}

TEST(ScreenTerms, KeepToTheirLimits) {
    const std::string forty = "A" + std::string(39, 'x');
    EXPECT_EQ(joined(screenTerms("the " + forty, 9)), forty);
    EXPECT_EQ(joined(screenTerms("the " + forty + "x", 9)), "");
    const std::string half = "A" + std::string(18, 'x');
    EXPECT_EQ(joined(screenTerms("the " + half + " B" + half, 9)), half + " B" + half);
    EXPECT_EQ(joined(screenTerms("the " + half + " Bx" + half, 9)), half + "|Bx" + half);
    EXPECT_EQ(joined(screenTerms("in Rome, Paris, Rome, Bonn", 2)), "Paris|Bonn");
    EXPECT_EQ(joined(screenTerms("in Rome", 0)), "");
}

}  // namespace
}  // namespace quillet
