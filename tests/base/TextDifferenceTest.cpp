#include "base/text/TextDifference.h"

#include <gtest/gtest.h>

#include <random>

namespace quillet {
namespace {

using Kind = TextDifference::Kind;

/// "the [-quick-]{+slow+} fox"
std::string shown(std::string_view before, std::string_view after) {
    std::string all;
    for (const auto& piece : TextDifference(before, after).pieces()) {
        const std::string text(piece.text);
        if (piece.kind == Kind::same)
            all += text;
        else
            all += piece.kind == Kind::removed ? "[-" + text + "-]" : "{+" + text + "+}";
    }
    return all;
}

TEST(TextDifference, MarksWordsAndSingleHanCharacters) {
    EXPECT_EQ(shown("the quick fox", "the slow fox"), "the [-quick-]{+slow+} fox");
    EXPECT_EQ(shown("so it's 3.5 percent", "So it is 3.5 percent."),
              "[-so it's-]{+So it is+} 3.5 percent{+.+}");
    EXPECT_EQ(shown("我们明天开会吧", "我们今天开会。"), "我们[-明-]{+今+}天开会[-吧-]{+。+}");
    EXPECT_EQ(shown("打开Vosk模型", "打开 Whisper 模型"), "打开[-Vosk-]{+ Whisper +}模型");
    EXPECT_EQ(shown("a family 👨‍👩‍👧 here", "a family 👨‍👩‍👦 here"),
              "a family [-👨‍👩‍👧-]{+👨‍👩‍👦+} here")
        << "what is one character stays one";
    EXPECT_EQ(shown("", "new"), "{+new+}");
    EXPECT_EQ(shown("old", ""), "[-old-]");
    EXPECT_TRUE(TextDifference("same words", "same words").isNone());
    EXPECT_TRUE(TextDifference("", "").isNone());
}

TEST(TextDifference, WordsThatChangeInARowAreOneChange) {
    EXPECT_EQ(shown("we meat at ate today", "we meet at eight today"),
              "we [-meat-]{+meet+} at [-ate-]{+eight+} today");
    EXPECT_EQ(shown("one two three four", "one 2 3 four"), "one [-two three-]{+2 3+} four");
}

// Laws, on random texts of few words, so that much is the same, with bytes that are no text.
TEST(TextDifference, GivesBothTextsBackAndSaysNoMoreThanNeeded) {
    std::mt19937 random(3);
    const std::array words{"a", "b", " ", " ", "会", "议", "\xff", "é", ".", "\n"};
    const auto some = [&] {
        std::string text;
        for (auto left = random() % 25; left > 0; --left)
            text += words[random() % words.size()];
        return text;
    };
    for (int i = 0; i < 3'000; ++i) {
        const auto before = some();
        const auto after = some();
        const TextDifference difference(before, after);
        std::string oldText;
        std::string newText;
        auto last = std::optional<Kind>();
        for (const auto& piece : difference.pieces()) {
            oldText += piece.kind == Kind::added ? "" : piece.text;
            newText += piece.kind == Kind::removed ? "" : piece.text;
            EXPECT_NE(last, piece.kind) << before << " | " << after;
            EXPECT_FALSE(last == Kind::added && piece.kind == Kind::removed);
            last = piece.kind;
        }
        ASSERT_EQ(oldText, before);
        ASSERT_EQ(newText, after);
        EXPECT_EQ(difference.isNone(), before == after);
    }
}

TEST(TextDifference, LongTextsAreComparedWithinBounds) {
    std::string before;
    std::string other;
    for (int i = 0; i < 20'000; ++i) {
        before += "w" + std::to_string(i) + " ";
        other += "v" + std::to_string(i) + ". ";
    }
    auto after = before;
    after.replace(after.find("w777 "), 5, "changed ");
    after += "end";
    EXPECT_EQ(TextDifference(before, after).pieces().size(), 5U);
    EXPECT_LE(TextDifference(before, other).pieces().size(), 3U) << "nothing in common";
}

}  // namespace
}  // namespace quillet
