#include "base/text/Words.h"

#include <gtest/gtest.h>

#include <string>

#include "base/text/Letters.h"

namespace quillet {
namespace {

TEST(Words, AreWhatAUserCallsOne) {
    const std::pair<const char*, const char*> cases[] = {
        {"", ""},
        {" … 😀 -- __ ", ""},
        {"it's don’t node.js snake_case 3.5", "it's|don’t|node.js|snake_case|3.5"},
        {"e-mail, GPT-4; x-ray-tube", "e-mail|GPT-4|x-ray-tube"},
        {"well- -dash a--b 北京-上海", "well|dash|a|b|北京|上海"},
        {"C++ (C#) a+b 1+ C++", "C++|C#|a|b|1|C++"},
        {"他滥用权力了，GitHub😀5G网络", "他|滥用|权力|了|GitHub|5G|网络"},
        {"שלום, עולם! हिन्दी ภาษาไทย", "שלום|עולם|हिन्दी|ภาษา|ไทย"},
        {"a\xff\xfe"
         "b",
         "a|b"},
    };
    for (const auto& [text, expected] : cases) {
        std::string found;
        for (const auto& word : words(text)) {
            found += (found.empty() ? "" : "|") + std::string(word.text);
            EXPECT_EQ(word.text.data(), text + word.position);
        }
        EXPECT_EQ(found, expected);
    }
}

TEST(Letters, AreWrittenInLatin) {
    EXPECT_EQ(romanised("吉特哈布 Émile гитхаб"), "ji te ha bu emile githab");
    EXPECT_EQ(withoutNumbers("GPT-4 第三 ٣x"), "GPT- 第 x");
    using enum CharacterKind;
    EXPECT_EQ(characterKinds("aÉ汉ש7_"), (std::vector{lower, upper, han, letter, digit, other}));
}

}  // namespace
}  // namespace quillet
