#include <algorithm>

#include "memory/SecretSearch.h"

namespace quillet {

namespace {

constexpr std::size_t fewestDigits = 13;
constexpr std::size_t mostDigitsOfPhone = 15;
constexpr std::size_t digitsOfMobile = 11;
constexpr std::size_t digitsOfDay = 8;
/// A card or an identity number in which eight digits look like a day has more of them.
constexpr std::size_t fewestBesideDay = 8;
constexpr std::size_t digitsOfYear = 4;
/// Characters between two groups of digits: a blank, a hyphen, a hyphen between blanks.
constexpr std::size_t longestGap = 3;
/// Of the groups of a card that is dictated with pauses, which are written as commas.
constexpr std::size_t digitsOfPart = 4;

/// Digits that stand side by side.
struct Group {
    std::size_t begin;
    std::size_t end;
    [[nodiscard]] std::size_t size() const { return end - begin; }
};

bool isCountingDigit(char32_t c) {
    // As numbers are spelled out.
    constexpr std::u32string_view spelled = U"零〇一二三四五六七八九幺";
    return isAsciiDigit(c) || spelled.contains(c);
}

std::size_t numberAt(const ScreenedText& text, std::size_t begin, std::size_t end) {
    std::size_t number = 0;
    for (auto at = begin; at < end; ++at)
        number = number * 10 + (text[at] - U'0');
    return number;
}

class NumberSearch {
public:
    explicit NumberSearch(ScreenedText& text) : text_(text) {}

    void run() {
        for (std::size_t at = 0; at < text_.size();) {
            if (isCountingDigit(text_[at]))
                at = readRun(at);
            else
                ++at;
        }
    }

private:
    /// Returns where the run of groups ends.
    std::size_t readRun(std::size_t at) {
        groups_.clear();
        while (true) {
            const auto begin = at;
            while (isCountingDigit(text_[at]))
                ++at;
            groups_.push_back({begin, at});
            auto next = afterGap(at);
            if (next == at)
                next = afterComma(at);
            if (next == at)
                break;
            at = next;
        }
        hideCards();
        return at;
    }

    /// Where the next group begins; the same place when none is near.
    [[nodiscard]] std::size_t afterGap(std::size_t at) const {
        for (std::size_t gap = 0; gap <= longestGap; ++gap) {
            if (isCountingDigit(text_[at + gap]))
                return at + gap;
            if (text_[at + gap] != U' ' && text_[at + gap] != U'-')
                break;
        }
        return at;
    }

    /// Likewise across a comma between the parts of a card.
    [[nodiscard]] std::size_t afterComma(std::size_t at) const {
        const auto isPart = [](const Group& group) { return group.size() == digitsOfPart; };
        if ((text_[at] != U',' && text_[at] != U'，') || !isPart(groups_.back()) ||
            !isPart(groups_.front()))
            return at;
        auto begin = at + 1;
        begin += text_[begin] == U' ' ? 1 : 0;
        auto end = begin;
        while (end <= begin + digitsOfPart && isCountingDigit(text_[end]))
            ++end;
        // The fifth part of a long card is shorter.
        const auto digits = end - begin;
        const bool isFifth = groups_.size() == 4 && digits + 1 == digitsOfPart;
        return digits == digitsOfPart || isFifth ? begin : at;
    }

    void hideCards() {
        areDays_ = otherDigits() < fewestBesideDay;
        std::size_t first = 0;
        std::size_t digits = 0;
        for (std::size_t i = 0; i < groups_.size();) {
            const auto innocent = innocentGroups(i);
            if (innocent == 0) {
                digits += groups_[i].size();
                ++i;
                continue;
            }
            hideCard(first, i, digits);
            digits = 0;
            i += innocent;
            first = i;
        }
        hideCard(first, groups_.size(), digits);
    }

    void hideCard(std::size_t first, std::size_t end, std::size_t digits) {
        if (digits < fewestDigits || (digits <= mostDigitsOfPhone && isPhone(first)) ||
            areYears(first, end))
            return;
        auto last = groups_[end - 1].end;
        // The last place of an identity number.
        if (text_[last] == U'X' || text_[last] == U'x')
            ++last;
        text_.hide(groups_[first].begin, last);
    }

    /// Whether the number begins as those do that name their country.
    [[nodiscard]] bool isPhone(std::size_t group) const {
        const auto begin = groups_[group].begin;
        return (begin > 0 && text_[begin - 1] == U'+') ||
               (groups_[group].size() <= 5 && text_[begin] == U'0' && text_[begin + 1] == U'0');
    }

    [[nodiscard]] bool areYears(std::size_t first, std::size_t end) const {
        return std::all_of(groups_.begin() + static_cast<std::ptrdiff_t>(first),
                           groups_.begin() + static_cast<std::ptrdiff_t>(end),
                           [&](const Group& group) {
                               return group.size() == digitsOfYear && isYear(group.begin);
                           });
    }

    /// How many groups from this one on are a date or a phone number.
    [[nodiscard]] std::size_t innocentGroups(std::size_t i) const {
        return areDays_ && isWholeDay(groups_[i]) ? 1 : datesAndPhones(i);
    }

    /// Of the run, without its dates and phone numbers.
    [[nodiscard]] std::size_t otherDigits() const {
        std::size_t digits = 0;
        for (std::size_t i = 0; i < groups_.size();) {
            const auto innocent = datesAndPhones(i);
            const bool isOther = innocent == 0 && !isWholeDay(groups_[i]);
            digits += isOther ? groups_[i].size() : 0;
            i += std::max<std::size_t>(innocent, 1);
        }
        return digits;
    }

    [[nodiscard]] std::size_t datesAndPhones(std::size_t i) const {
        const auto& group = groups_[i];
        if (group.size() == digitsOfMobile && text_[group.begin] == U'1')
            return 1;
        const bool isDate = group.size() == digitsOfYear && isYear(group.begin) &&
                            i + 2 < groups_.size() && isHyphenated(i) && isHyphenated(i + 1) &&
                            isMonth(groups_[i + 1].begin, groups_[i + 1].end) &&
                            isDay(groups_[i + 2].begin, groups_[i + 2].end);
        return isDate ? 3 : 0;
    }

    [[nodiscard]] bool isWholeDay(const Group& group) const {
        return group.size() == digitsOfDay && isYear(group.begin) &&
               isMonth(group.begin + 4, group.begin + 6) && isDay(group.begin + 6, group.end);
    }

    [[nodiscard]] bool isHyphenated(std::size_t i) const {
        return groups_[i + 1].begin == groups_[i].end + 1 && text_[groups_[i].end] == U'-';
    }
    [[nodiscard]] bool isYear(std::size_t begin) const {
        const auto century = numberAt(text_, begin, begin + 2);
        return century == 19 || century == 20;
    }
    [[nodiscard]] bool isMonth(std::size_t begin, std::size_t end) const {
        const auto month = end - begin <= 2 ? numberAt(text_, begin, end) : 0;
        return month >= 1 && month <= 12;
    }
    [[nodiscard]] bool isDay(std::size_t begin, std::size_t end) const {
        const auto day = end - begin <= 2 ? numberAt(text_, begin, end) : 0;
        return day >= 1 && day <= 31;
    }

    ScreenedText& text_;
    std::vector<Group> groups_;
    bool areDays_ = false;  ///< eight digits that look like a day are one
};

}  // namespace

void hideCardNumbers(ScreenedText& text) {
    NumberSearch(text).run();
}

}  // namespace quillet
