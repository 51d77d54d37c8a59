#include "app/EditedText.h"

#include <fmt/format.h>
#include <gtest/gtest.h>

#include <random>

#include "store/VocabularyDB.h"

namespace quillet {
namespace {

std::string times(std::string_view text, std::size_t count) {
    std::string all;
    while (count-- > 0)
        all += text;
    return all;
}

std::string taught(const EditLesson& lesson) {
    std::string all;
    for (const auto& [original, corrected] : lesson.pairs)
        all.append(all.empty() ? "" : "|").append(original).append(">").append(corrected);
    return all;
}

TEST(EditedText, StandsBetweenWhatStoodAround) {
    struct Case {
        const char* field;
        bool wholeStart, wholeEnd;
        InsertionAround around;
        const char* pasted;
        std::optional<std::string> found;
    };
    const Case cases[] = {
        {"a world", true, true, {"", "", true, true}, "a wrld", "a world"},
        {"Hi, a world!", true, true, {"Hi, ", "!", true, true}, "a wrld", "a world"},
        {"Oh Hi, a world!", true, true, {"Hi, ", "!", true, true}, "a wrld", {}},
        {"… Hi, a world! …", true, true, {"Hi, ", "!"}, "a wrld", "a world"},
        {"Hi, a world! …", false, false, {"Hi, ", "!", true, true}, "a wrld", "a world"},
        {"a world", false, true, {"", "", true, true}, "a wrld", {}},  // its start was cut off
        {"a world", true, true, {"", "", true, false}, "a wrld", {}},
        {"HI, a world!", true, true, {"Hi, ", "!"}, "a wrld", {}},
        {"前面权利，后面", true, true, {"前面", "，后面", true, true}, "权力", "权利"},
        {"ab", true, true, {"ab", "b", true, true}, "", {}},  // the anchors overlap
        // Several places: as long as the paste, then as near as can be.
        {"- one two, - three four, x", true, true, {"- ", ", "}, "three fort", "three four"},
        {"( 12345 ) 123 )", true, true, {"( ", " )"}, "1234567", "12345"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(editedText(c.field, c.wholeStart, c.wholeEnd, c.around, c.pasted), c.found)
            << c.field;
}

TEST(EditedText, TeachesCorrectionsOnly) {
    struct Case {
        const char* pasted;
        const char* edited;
        const char* pairs;
    };
    const Case cases[] = {
        // Sounds or is spelled like it.
        {"a wrld apart", "a world apart", "wrld>world"},
        {"run cooper netties now", "run Kubernetes now", "cooper netties>Kubernetes"},
        {"on git hub, my frend!", "on GitHub. my friend 😀", "git hub>GitHub|frend>friend"},
        {"teh one, teh other", "the one, the other", ""},  // too short for English
        {"wrld and wrld", "world and world", "wrld>world"},
        {"to london with GPT4", "to London with GPT-4", "london>London|GPT4>GPT-4"},
        {"我在吉特哈布上", "我在GitHub上", "吉特哈布>GitHub"},
        {"他滥用权力了", "他滥用权利了", "权力>权利"},
        {"我要坐饭", "我要做饭", "坐饭>做饭"},
        {"周杰论的歌", "周杰伦的歌", "杰论>杰伦"},
        {"на гитхаб вчера", "на GitHub вчера", "гитхаб>GitHub"},
        {"שלום עולס", "שלום עולם", "עולס>עולם"},
        // Something else was meant.
        {"on Monday", "on Friday", ""},
        {"on Tuesday", "on Wednesday", ""},
        {"星期三开会", "星期四开会", ""},
        {"GPT-3 or 1234", "GPT-4 or 1235", ""},
        {"eat an apple", "eat an orange", ""},
        {"abcd", "abxy", ""},                               // half differs
        {"abcde", "abcxy", "abcde>abcxy"},                  // less does
        {"say 上上", "say shanxxxxxx", "上上>shanxxxxxx"},  // 60 % does
        {"say 上上", "say shaxxxxxxx", ""},                 // more does
        // Something was added, taken away, or written elsewhere.
        {"very good", "very very good", ""},
        {"I use react", "I use React.js", ""},
        {"今天气很好", "今天天气很好", ""},
        {"克劳写的", "克劳德写的", ""},
        {"well done. there", "Well — done, There", ""},
        // The limits of a pair.
        {"aaa bbb ccc ddd", "aab bbc ccd dde", "aaa bbb ccc ddd>aab bbc ccd dde"},
        {"aaa bbb ccc ddd eee", "aab bbc ccd dde eef", ""},
    };
    for (const auto& c : cases) {
        const auto lesson = lessonOf(c.pasted, c.edited);
        EXPECT_EQ(lesson.verdict, EditLesson::Verdict::edited) << c.pasted;
        EXPECT_EQ(taught(lesson), c.pairs) << c.pasted;
    }
}

TEST(EditedText, TeachesNothingUnlessItIsAnEditOfThePaste) {
    using enum EditLesson::Verdict;
    struct Case {
        std::string pasted;
        std::string edited;
        EditLesson::Verdict verdict;
    };
    const auto word = times("x", 40);
    const Case cases[] = {
        {"", "", noEdit},
        {"a wrld", "a wrld", noEdit},
        {"0123456789", "a" + times("é", 39), edited},
        {"0123456789", "a" + times("é", 40), muchLonger},
        {"0123 56789", "汉 字字字", edited},
        {"0123 56789", "汉字字字", muchShorter},
        {"a wrld", "", muchShorter},
        {"a wrld " + word, "a world " + word, edited},
        {"a wrld x" + word, "a world x" + word, edited},  // not changed
        {"a wrld x" + word, "a world " + word, suspicious},
        {"a wrld", "a world\n", suspicious},
        {"a wrld\r\nb", "a world\nb", edited},
        {"a wrld\r\nb", "a world\n\rb", suspicious},
        {"a wrld", "\n" + times("a world ", 9), suspicious},  // rather than much longer
        {"a wrld", "a wrld a wrld", suspicious},
        {"a wrld", "so a wrlda wrld", suspicious},
        {"a wrld", "a world\u3000a world", suspicious},
        {"no no wrld wrld", "no no world world", edited},
        {"say wrld now", "say worldworld now", suspicious},
        {"say now", "say good bye good bye now", suspicious},
        {"good bye now", "good bye good bye now", suspicious},
        {"谢你", "谢谢你", edited},
    };
    for (const auto& c : cases) {
        const auto lesson = lessonOf(c.pasted, c.edited);
        EXPECT_EQ(lesson.verdict, c.verdict) << c.pasted << " -> " << c.edited;
        if (lesson.verdict != edited)
            EXPECT_EQ(taught(lesson), "");
    }
    // Texts that differ in more words than 2,000 are not compared word by word.
    for (const std::size_t more : {0U, 1U}) {
        const auto middle = times("b ", 1'996 + more);
        EXPECT_EQ(taught(lessonOf("x a wrld " + middle + "y", "v a world " + middle + "w")),
                  more == 0 ? "wrld>world" : "");
    }
}

TEST(EditedText, IsWhatOneCorrectionMakesOfThePaste) {
    using Pieces = std::vector<std::string>;
    const Pieces parted = {" wrld", " world", " git hub", " GitHub", " 吉特哈布", " 😀 in", " שלום",
                           " שולם", " 12",    " C++",     " 权力",   " 。",       " 权利"};
    const Pieces joined = {"权力", "权利", "坐", "做", "饭", "今", "今天", "天气", "的", "我们"};
    std::mt19937 random(7);
    const auto some = [&](const Pieces& pieces, std::size_t count) {
        std::string text;
        while (count-- > 0)
            text += pieces[random() % pieces.size()];
        return text;
    };
    int lessons = 0;
    for (int run = 0; run < 5'000; ++run) {
        const auto& pieces = run % 2 == 0 ? parted : joined;
        const auto start = some(pieces, random() % 9);
        const auto end = some(pieces, random() % 9);
        const auto pasted = fmt::format("{}{}{}", start, some(pieces, 1), end);
        const auto edited = fmt::format("{}{}{}", start, some(pieces, 1), end);
        EXPECT_EQ(lessonOf(pasted, pasted).verdict, EditLesson::Verdict::noEdit);
        for (const auto& [original, corrected] : lessonOf(pasted, edited).pairs) {
            ++lessons;
            EXPECT_TRUE(checkPair(original, corrected)) << original << ">" << corrected;
            bool explains = false;
            for (auto at = pasted.find(original); at != std::string::npos;
                 at = pasted.find(original, at + 1)) {
                auto replaced = pasted;
                explains |= replaced.replace(at, original.size(), corrected) == edited;
            }
            EXPECT_TRUE(explains) << pasted << " -> " << edited << ": " << original;
        }
    }
    EXPECT_GT(lessons, 100);
}

}  // namespace
}  // namespace quillet
