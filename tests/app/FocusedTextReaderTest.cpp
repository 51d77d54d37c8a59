#include "platform/FocusedTextReader.h"

#include <gtest/gtest.h>

#include <functional>
#include <vector>

namespace quillet {
namespace {

using Kind = FocusedTextReader::Selection::Kind;
using Selecting = FocusedTextReader::Selecting;
using Range = TextField::Range;

enum class Units { codePoints, utf16 };

/// A field of an application that counts in one of the two units, and that may lie.
class ScriptedField final : public TextField {
public:
    explicit ScriptedField(Units units) : units_(units) {}

    /// Puts the caret where the text has a '|'; two of them enclose what is selected.
    void fill(const std::string& text) {
        content.clear();
        std::vector<int> bars;
        for (std::size_t i = 0; i < text.size();) {
            std::size_t size = 1;
            while (i + size < text.size() && (text[i + size] & 0xC0) == 0x80)
                ++size;
            if (text[i] == '|')
                bars.push_back(static_cast<int>(content.size()));
            else
                append(text.substr(i, size));
            i += size;
        }
        at = bars.empty() ? static_cast<int>(content.size()) : bars.back();
        selected = bars.size() == 2 ? Range{bars[0], bars[1]} : Range{};
    }

    std::string name() override { return "field"; }
    std::optional<int> length() override { return static_cast<int>(content.size()); }
    std::optional<int> caret() override { return at; }
    std::optional<Range> selection() override {
        if (!tellsSelection)
            return std::nullopt;
        return miscounts ? Range{miscounted(selected.start), miscounted(selected.end)} : selected;
    }
    std::optional<std::string> text(Range range) override {
        asked += range.end - range.start;
        if (onRead)
            onRead();
        if (answer)
            return answer(range);
        return plain(range);
    }
    bool select(Range range) override {
        ++selections;
        if (refuses)
            return false;
        pending_ = range;
        if (turnsUntilSelected == 0)
            settle();
        return true;
    }
    void unselect(int caret) override {
        at = caret;
        selected = {};
        ++unselections;
    }
    bool wait() override {
        if (--turnsUntilSelected == 0)
            settle();
        return --patience > 0;
    }

    std::string plain(Range range) const {
        std::string result;
        for (int i = std::max(range.start, 0); i < std::min<int>(range.end, size()); ++i) {
            const auto& unit = content[static_cast<std::size_t>(i)];
            const bool isPair = unit == "high" && i + 1 < range.end;
            result += isPair                       ? content[static_cast<std::size_t>(++i)]
                      : unit == "high" || isLow(i) ? "?"
                                                   : unit;
        }
        return result;
    }

    std::vector<std::string> content;
    int at = 0;
    Range selected;
    int asked = 0;
    int selections = 0;
    int unselections = 0;
    int turnsUntilSelected = 0;
    int patience = 20;
    bool tellsSelection = true;
    bool miscounts = false;
    bool refuses = false;
    std::function<void()> onRead;
    std::function<std::optional<std::string>(Range)> answer;

private:
    int size() const { return static_cast<int>(content.size()); }
    bool isLow(int i) const { return i > 0 && content[static_cast<std::size_t>(i) - 1] == "high"; }
    void append(std::string character) {
        if (units_ == Units::utf16 && character.size() == 4)
            content.emplace_back("high");
        content.push_back(std::move(character));
    }
    int miscounted(int offset) const {
        int result = offset;
        for (int i = 0; i < offset; ++i)
            result -= content[static_cast<std::size_t>(i)].size() == 4 ? 1 : 0;
        return result;
    }
    void settle() {
        selected = pending_;
        at = pending_.end;
    }

    Units units_;
    Range pending_;
};

class FocusedTextReaderTest : public ::testing::TestWithParam<Units> {
protected:
    std::string around(FocusedTextReader::Extent extent) {
        const auto found = reader.surroundings(extent);
        if (!found)
            return "unknown";
        return (found->fromStart ? "^" : "") + found->before + "|" + found->after +
               (found->toEnd ? "$" : "");
    }
    Selecting select(const std::string& content, std::string_view text) {
        field.fill(content);
        return reader.select(text);
    }
    std::string selectedText() const { return field.plain(field.selected); }

    ScriptedField field{GetParam()};
    FocusedTextReader reader{field};
};

INSTANTIATE_TEST_SUITE_P(InEitherUnit, FocusedTextReaderTest,
                         ::testing::Values(Units::codePoints, Units::utf16));

TEST_P(FocusedTextReaderTest, ReadsWhatStandsAroundTheCaretOrTheSelection) {
    const FocusedTextReader::Extent plenty{100, 100};
    field.fill("");
    EXPECT_EQ(around(plenty), "^|$");
    field.fill("One 😀|👨‍👩‍👧 two");
    EXPECT_EQ(around(plenty), "^One 😀|👨‍👩‍👧 two$");
    EXPECT_EQ(around({1, 1}), "😀|👨‍👩‍👧");
    EXPECT_EQ(around({5, 5}), "^One 😀|👨‍👩‍👧 two$");
    EXPECT_EQ(around({0, 0}), "|");
    field.fill("cafe\u0301| שלום");
    EXPECT_EQ(around({1, 2}), "e\u0301| ש") << "a character with its mark, in the order of typing";
    field.fill("before 😀|chosen 😀| after");
    EXPECT_EQ(around(plenty), "^before 😀| after$");
    field.at = field.selected.start;
    EXPECT_EQ(around({2, 2}), " 😀| a") << "selected from its end to its beginning";
    EXPECT_EQ(reader.surroundings(plenty)->field, "field");
}

TEST_P(FocusedTextReaderTest, ReadsNoMoreOfALongFieldThanOfAShortOne) {
    std::string text;
    for (int i = 0; i < 120'000; ++i)
        text += "word 😀 \n ";
    text.insert(text.size() / 2, "|");
    field.fill(text);
    ASSERT_GT(field.content.size(), 1'000'000U);
    const auto found = reader.surroundings({1000, 500});
    ASSERT_TRUE(found);
    EXPECT_FALSE(found->fromStart || found->toEnd);
    EXPECT_EQ(found->before.substr(found->before.size() - 10), "rd 😀 \n ");
    EXPECT_LT(field.asked, 2 * 1500 + 200);
    field.asked = 0;
    EXPECT_EQ(reader.select("😀 \n "), Selecting::selected);
    EXPECT_LT(field.asked, 100);
}

TEST_P(FocusedTextReaderTest, LeavesNoHalfCharacterWhereItCuts) {
    for (std::string faces : {"", "a"}) {
        for (int i = 0; i < 200; ++i)
            faces += "👨‍👩‍👧";
        std::string both = faces;
        both += '|';
        field.fill(both += faces);
        const auto found = reader.surroundings({50, 50});
        ASSERT_TRUE(found);
        EXPECT_EQ((found->before + found->after).find('?'), std::string::npos);
        EXPECT_FALSE(found->fromStart || found->toEnd);
    }
}

TEST_P(FocusedTextReaderTest, KnowsNothingOfAFieldThatCannotBeBelieved) {
    const FocusedTextReader::Extent some{10, 10};
    const auto isUnknown = [&] { return around(some) == "unknown"; };
    for (const int caret : {-1, 6, 1'000'000}) {
        field.fill("hello");
        field.at = caret;
        EXPECT_TRUE(isUnknown()) << caret;
        EXPECT_EQ(reader.select("hello"), Selecting::unreadable);
    }
    for (const Range wrong : {Range{-1, 5}, {4, 2}, {3, 9}, {1, 3}}) {
        field.fill("hello");
        field.selected = wrong;
        EXPECT_TRUE(isUnknown()) << wrong.start << " " << wrong.end;
        EXPECT_EQ(reader.selection().kind, Kind::unknown);
        EXPECT_NE(reader.select("hello"), Selecting::selected);
    }
    field.fill("hello");
    field.tellsSelection = false;
    EXPECT_TRUE(isUnknown());
    EXPECT_EQ(reader.selection().kind, Kind::unknown);
    field.tellsSelection = true;

    for (const auto* wrong : {"", "more than was asked for"}) {
        field.answer = [&](Range) { return wrong; };
        field.fill("hel|lo|");
        EXPECT_TRUE(isUnknown()) << wrong;
        EXPECT_EQ(reader.selection().kind, Kind::unknown);
    }
    field.answer = [&](Range) { return std::nullopt; };
    field.fill("hello");
    EXPECT_TRUE(isUnknown());
    EXPECT_EQ(reader.select("hello"), Selecting::unreadable);
    field.answer = [&](Range range) { return std::string(range.end - range.start, '\xFF'); };
    EXPECT_EQ(around({2, 0}), "\uFFFD\uFFFD|$");
    EXPECT_EQ(field.selections, 0);
}

TEST_P(FocusedTextReaderTest, ReadsOnceMoreWhenTheFieldChangesMeanwhile) {
    int changes = 1;
    field.fill("hello|");
    field.onRead = [&] {
        if (changes-- > 0)
            field.fill("hello you|");
    };
    EXPECT_EQ(around({10, 10}), "^hello you|$");
    field.onRead = [&, length = 1]() mutable { field.fill(std::string(++length, 'x')); };
    EXPECT_EQ(around({10, 10}), "unknown");
}

TEST_P(FocusedTextReaderTest, SelectsWhatStandsBeforeTheCaret) {
    EXPECT_EQ(select("Hello 😀 wor😀ld| there", "wor😀ld"), Selecting::selected);
    EXPECT_EQ(selectedText(), "wor😀ld");
    EXPECT_EQ(select("שלום cafe\u0301|", "שלום cafe\u0301"), Selecting::selected);
    EXPECT_EQ(selectedText(), "שלום cafe\u0301");
    field.turnsUntilSelected = 5;
    EXPECT_EQ(select("a browser|", "browser"), Selecting::selected);
    EXPECT_EQ(selectedText(), "browser");

    field.selections = 0;
    EXPECT_EQ(select("another|", "browser"), Selecting::atCaret);
    EXPECT_EQ(select("ser|", "browser"), Selecting::atCaret) << "longer than what stands there";
    EXPECT_EQ(select("a browser |", "browser"), Selecting::atCaret);
    EXPECT_EQ(select("|", ""), Selecting::atCaret);
    EXPECT_EQ(select("a 😀|browser 😀|", "browser 😀"), Selecting::selected);
    EXPECT_EQ(select("a |browser|", "a browser"), Selecting::atCaret);
    EXPECT_EQ(field.selections, 0) << "nothing was to be done";
}

TEST_P(FocusedTextReaderTest, IsNotThereUntilTheFieldTellsSo) {
    field.turnsUntilSelected = 1000;
    EXPECT_EQ(select("a browser|", "browser"), Selecting::notThere);
    field.turnsUntilSelected = 0;
    field.refuses = true;
    EXPECT_EQ(select("a browser|", "browser"), Selecting::notThere);
    field.refuses = false;
    field.selections = 0;
    field.onRead = [&] {
        if (field.selections > 0)
            field.content.back() = "x";
    };
    EXPECT_EQ(select("a browser|", "browser"), Selecting::notThere) << "overtyped meanwhile";
    EXPECT_EQ(field.unselections, 3) << "the user's next key must not replace anything";
}

TEST(FocusedTextReader, SeesThroughABrowsersMiscount) {
    ScriptedField field(Units::codePoints);
    FocusedTextReader reader(field);
    field.miscounts = true;
    field.turnsUntilSelected = 3;
    field.fill("😀😀 a 😀 browser");
    EXPECT_EQ(reader.select("a 😀 browser"), Selecting::selected);
    EXPECT_EQ(field.plain(field.selected), "a 😀 browser");
    EXPECT_EQ(reader.select("a 😀 browser"), Selecting::selected) << "it is so already";
    EXPECT_EQ(reader.selection().kind, Kind::unknown);
    EXPECT_FALSE(reader.surroundings({10, 10}));

    field.fill("😀😀 another |browser|");
    EXPECT_EQ(reader.select("another browser"), Selecting::atCaret);

    field.fill("😀" + std::string(100'000, 'x') + "browser");
    field.patience = 5;
    EXPECT_EQ(reader.select("browser"), Selecting::notThere);
}

TEST(FocusedTextReader, KnowsNothingOfACaretInsideACharacter) {
    ScriptedField field(Units::utf16);
    FocusedTextReader reader(field);
    field.fill("a😀b");
    field.at = 2;
    EXPECT_FALSE(reader.surroundings({10, 10}));
    EXPECT_EQ(reader.select("😀"), Selecting::atCaret);
}

TEST(FocusedTextReader, ReadsNoSelectionLongerThanItsLimit) {
    ScriptedField field(Units::codePoints);
    FocusedTextReader reader(field);
    const std::string limit(FocusedTextReader::longestSelection, 'x');
    field.fill("|" + limit + "|");
    EXPECT_EQ(reader.selection().text, limit);
    field.asked = 0;
    field.fill("|" + limit + "x|");
    EXPECT_EQ(reader.selection().kind, Kind::tooLong);
    EXPECT_EQ(field.asked, 0);
    field.fill("|" + limit.substr(1) + "é|");
    EXPECT_EQ(reader.selection().kind, Kind::tooLong) << "in bytes";
    field.fill(limit + "|");
    EXPECT_EQ(reader.selection().kind, Kind::nothing);
}

}  // namespace
}  // namespace quillet
