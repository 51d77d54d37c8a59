#include <gtest/gtest.h>

#include <random>

#include "base/text/Text.h"
#include "speech/cleanup/Cleanup.h"
#include "speech/cleanup/Punctuation.h"
#include "speech/cleanup/SilenceGuards.h"
#include "speech/cleanup/SnippetMatch.h"
#include "speech/cleanup/SpokenAddresses.h"
#include "speech/cleanup/WordsOf.h"

namespace quillet {
namespace {

/// Texts of pieces that the rules care about, drawn from a seed.
class RandomTexts {
public:
    explicit RandomTexts(unsigned seed) : random_(seed) {}

    std::string text(std::size_t pieces) {
        static const std::vector<std::string> all = {
            "我们", "好的", "版本", "は",  "漢字", "feature", "OK",   "x",     "42", "1.5", " ",
            " ",    "  ",   "\t",   "\n",  "，",   ",",       "、",   "﹐",    "。", ".",   "...",
            "…",    "。。", "!",    "！",  "?",    "？",      ":",    "：",    ";",  "；",  "\"",
            "(",    "点",   "dot",  "com", "艾特", "at",      "邮箱", "slash", "😀", "é",   "/"};
        std::string result;
        for (std::size_t i = 0; i < pieces; ++i)
            result += all[random_() % all.size()];
        return result;
    }
    /// Words with a mark or a blank between them, and perhaps one at the end, as people are
    /// transcribed.
    std::string sentence(std::size_t length) {
        static const std::vector<std::string> said = {"我们", "版本", "漢字", "feature",     "OK",
                                                      "x",    "42",   "1.5",  "review 一下", "é"};
        static const std::vector<std::string> between = {"",   " ",  "，",  ", ", ",",  "、",
                                                         "。", ". ", "...", "……", "？", "? ",
                                                         "!",  "：", ": ",  "；", "\n", " ， "};
        std::string result;
        for (std::size_t i = 0; i < length; ++i)
            result += said[random_() % said.size()] + between[random_() % between.size()];
        return result;
    }
    std::string bytes(std::size_t length) {
        std::string result;
        for (std::size_t i = 0; i < length; ++i)
            result += static_cast<char>(random_());
        return result;
    }
    unsigned below(unsigned limit) { return static_cast<unsigned>(random_() % limit); }

private:
    std::mt19937 random_;
};

TEST(TextRuleLaws, SettingMarksNeverLosesOrReordersAWord) {
    RandomTexts texts(1);
    for (int run = 0; run < 20'000; ++run) {
        const auto text = texts.text(1 + texts.below(14));
        for (const auto trailing : {TrailingMarks::keep, TrailingMarks::drop})
            EXPECT_EQ(wordsOf(normalisePunctuation(text, trailing)), wordsOf(text)) << text;
        EXPECT_EQ(wordsOf(normaliseSpacing(text)), wordsOf(text)) << text;
        EXPECT_EQ(wordsOf(finishedText(text, Punctuation::full)), wordsOf(text)) << text;
    }
}

TEST(TextRuleLaws, WhatIsCleanStaysAsItIs) {
    RandomTexts texts(2);
    for (int run = 0; run < 20'000; ++run) {
        const auto text = texts.sentence(1 + texts.below(8));
        for (const auto punctuation : {Punctuation::raw, Punctuation::full}) {
            const auto once = finishedText(text, punctuation);
            EXPECT_EQ(finishedText(once, punctuation), once) << text;
        }
        const auto jumble = texts.text(1 + texts.below(14));
        const auto written = rewriteSpokenAddresses(jumble);
        EXPECT_EQ(rewriteSpokenAddresses(written), written) << jumble;
    }
}

TEST(TextRuleLaws, AreTotalOnAnyBytes) {
    RandomTexts texts(3);
    const std::vector<Snippet> snippets = {{"", "我的地址", "text"}, {"", "\xFF\xFE", "other"}};
    const std::vector<VocabEntry> entries = {{"\xC3(", "x", 1, ""}, {"我们", "\xF0\x9F", 1, ""}};
    const VocabularyMatcher vocabulary(entries);
    for (int run = 0; run < 3'000; ++run) {
        auto text = texts.bytes(texts.below(60));
        if (run % 2 == 0)
            text += texts.text(5) + texts.bytes(3);
        EXPECT_TRUE(isValidUtf8(finishedText(text, Punctuation::full)));
        EXPECT_TRUE(isValidUtf8(finishedText(text, Punctuation::raw)));
        EXPECT_TRUE(isValidUtf8(rewriteSpokenAddresses(text)));
        EXPECT_TRUE(isValidUtf8(cleanTranscript(text, snippets, vocabulary).text));
        (void)isSilence(text, texts.bytes(40), "mixed");
    }
}

TEST(TextRuleLaws, KeepTheWordsOfTextsThatMakeExpressionsTryForLong) {
    // Each of these makes some expression try again and again.
    for (const auto* piece : {" ", "\t\n", ",", "，、", "...", "。", "a dot ", "点", "a点", "我 ",
                              "mail me ", "a-", "1,", "字幕", "请不吝点赞"}) {
        std::string text;
        while (text.size() < 50'000)
            text += piece;
        EXPECT_EQ(wordsOf(finishedText(text, Punctuation::full)), wordsOf(text)) << piece;
        const auto written = rewriteSpokenAddresses(text);
        EXPECT_EQ(rewriteSpokenAddresses(written), written) << piece;
    }
}

TEST(TextRuleLaws, LeaveNoControlCharactersButTabsAndLineBreaks) {
    EXPECT_EQ(finishedText(std::string("rm\x1B[201~ \0-rf\x7F\u009B\r\n\tx and more", 29),
                           Punctuation::raw),
              "rm[201~ -rf\r\n\tx and more");
}

TEST(TextRuleLaws, AShortTextIsOneLineOfFewCharactersOrWords) {
    EXPECT_TRUE(isShort("一二三四五六七八九十一二"));
    EXPECT_FALSE(isShort("一二三四五六七八九十一二三"));
    EXPECT_TRUE(isShort("extraordinarily responsible gentlemen"));
    EXPECT_FALSE(isShort("extraordinarily responsible gentlemen 好"));
    EXPECT_FALSE(isShort("one two three four"));
    EXPECT_FALSE(isShort("a\nb"));
    EXPECT_TRUE(isShort("\n好\n")) << "what is trimmed does not count";
}

}  // namespace
}  // namespace quillet
