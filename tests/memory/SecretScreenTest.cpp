#include "memory/SecretScreen.h"

#include <gtest/gtest.h>

#include <ctime>
#include <fstream>
#include <random>

#include "base/text/Text.h"
#include "speech/cleanup/CaseFile.h"

namespace quillet {
namespace {

std::string sent(const std::string& text) {
    return withoutSecrets(text).value_or("DROPPED");
}

/// Whether a text is another one with marks in the place of some of its parts.
bool isCutOutOf(std::string_view screened, std::string_view text) {
    while (true) {
        const auto mark = screened.find(secretMark);
        const auto kept = screened.substr(0, mark);
        if (mark == std::string_view::npos)
            return text.ends_with(kept);
        const auto found = text.find(kept);
        if (found == std::string_view::npos)
            return false;
        text.remove_prefix(found + kept.size());
        screened.remove_prefix(mark + secretMark.size());
    }
}

TEST(SecretScreen, SendsWhatItsTableSays) {
    std::ifstream file(QUILLET_TEST_FOLDER "/memory/secrets.tsv");
    int cases = 0;
    for (std::string line; std::getline(file, line);) {
        const auto tab = line.find('\t');
        if (line.starts_with('#') || tab == std::string::npos)
            continue;
        ++cases;
        const auto text = unescaped(line.substr(0, tab));
        const auto expected = line.substr(tab + 1) == "=" ? text : unescaped(line.substr(tab + 1));
        EXPECT_EQ(sent(text), expected) << text;
        // What was screened has nothing more to hide.
        if (expected != "DROPPED")
            EXPECT_EQ(sent(expected), expected) << text;
    }
    EXPECT_GE(cases, 40);
}

TEST(SecretScreen, LeavesNothingToSendOfBlanks) {
    EXPECT_FALSE(withoutSecrets(""));
    EXPECT_FALSE(withoutSecrets(" \n　"));
    EXPECT_FALSE(withoutSecrets("…！"));
}

TEST(SecretScreen, TakesAnyBytes) {
    EXPECT_EQ(sent("a\xFF"
                   "b 4111111111111111\xC3"),
              "a\xFF"
              "b […]\xC3");
    std::mt19937 random(1);
    const std::vector<std::string> pieces = {
        "password", " is ", "密码", "：",    "12345678", "-", " ",       "Ab3", "\xE5",
        "\xFF",     "。",   "\n",   "token", "=",        "“", "hunter2", "字",  "x"};
    for (int run = 0; run < 20'000; ++run) {
        std::string text;
        for (auto left = random() % 12; left > 0; --left)
            text += pieces[random() % pieces.size()];
        const auto screened = withoutSecrets(text);
        if (!screened)
            continue;
        EXPECT_TRUE(isCutOutOf(*screened, text)) << text << " -> " << *screened;
        if (isValidUtf8(text))
            EXPECT_TRUE(isValidUtf8(*screened)) << text;
    }
}

/// Seconds of the processor for a text of so many bytes.
double effort(std::string_view piece, std::size_t size) {
    std::string text;
    while (text.size() < size)
        text += piece;
    const auto begin = std::clock();
    (void)withoutSecrets(text);
    return static_cast<double>(std::clock() - begin) / CLOCKS_PER_SEC;
}

TEST(SecretScreen, TakesTimeInProportionToTheText) {
    constexpr double noise = 0.02;
    for (const auto* piece : {"1", "1 ", "a", "A1b-", "a1/", "password ", "password is ", "密码",
                              "token=", "\"", "- ", "api key :", "secret'", "1234 is the password ",
                              "passwordA", "password:", "\n", "4111, ", "password, ab1"})
        EXPECT_LT(effort(piece, 40'000), 9 * effort(piece, 10'000) + noise) << piece;
}

}  // namespace
}  // namespace quillet
