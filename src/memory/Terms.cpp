#include "memory/Terms.h"

#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <array>
#include <utility>

namespace quillet {

namespace {

constexpr int charactersThatTell = 5;
constexpr int shortestWord = 2;

constexpr char32_t firstHan = 0x4E00;
constexpr char32_t endOfHan = 0xA000;
constexpr char32_t firstRareHan = 0x3400;
constexpr char32_t endOfRareHan = 0x4DC0;
constexpr char32_t firstAncientHan = 0x20000;
constexpr char32_t endOfAncientHan = 0x32000;

constexpr bool isHan(char32_t c) {
    return (c >= firstHan && c < endOfHan) || (c >= firstRareHan && c < endOfRareHan) ||
           (c >= firstAncientHan && c < endOfAncientHan);
}

/// Chinese characters that part what a text is about.
constexpr std::u32string_view particles =
    U"的了是在我你您他她它们們这這那就也都把被给給说說么麼吗嗎呢吧啊嗯哦很还還与與及";

/// A bit for each common Chinese character.
constexpr auto particleBits = [] {
    std::array<std::uint64_t, (endOfHan - firstHan) / 64> bits{};
    for (const auto c : particles)
        bits[(c - firstHan) / 64] |= std::uint64_t{1} << ((c - firstHan) % 64);
    return bits;
}();

constexpr bool isParticle(char32_t c) {
    return c >= firstHan && c < endOfHan &&
           (particleBits[(c - firstHan) / 64] >> ((c - firstHan) % 64) & 1) != 0;
}

constexpr Term pairTerm(char32_t first, char32_t second) {
    constexpr Term pairs = Term{1} << 63;
    return pairs | Term{first} << 32 | second;
}

constexpr Term seed = 14'695'981'039'346'656'037U;
constexpr Term hashed(Term hash, char32_t c) {
    constexpr Term prime = 1'099'511'628'211U;
    constexpr Term words = ~(Term{1} << 63);
    return ((hash ^ c) * prime) & words;
}

/// Words that any text may hold, or that speak of the knowledge base itself.
constexpr std::string_view commonWords =
    "about after again all also always am an and any are as at be because been before but by "
    "can could did do does don each entries entry every for from get go had has have he her "
    "him his how if ignore in instead into is it item items its just know let like ll make me "
    "more must my need never new no not now of on one only or other our out over please "
    "previous re said say says set she should so some takeaway than that the their them then "
    "there these they this to today too up us ve very want wants was we were what when where "
    "which who why will with would you your ";
/// The same in Chinese, two characters each.
constexpr std::u32string_view commonPairs =
    U"可以因为因為如果所以但是而且不要不能没有沒有时候時候现在然后一个一個一下一些已经"
    U"已經知道觉得覺得需要应该應該今天明天昨天大家所有全部条目條目忽略改成改为修改";

constexpr auto commonTerms = [] {
    std::array<Term, std::ranges::count(commonWords, ' ') + commonPairs.size() / 2> terms{};
    auto next = terms.begin();
    auto word = seed;
    for (const auto c : commonWords) {
        if (c == ' ')
            *next++ = std::exchange(word, seed);
        else
            word = hashed(word, static_cast<char32_t>(c));
    }
    for (std::size_t i = 0; i < commonPairs.size(); i += 2)
        *next++ = pairTerm(commonPairs[i], commonPairs[i + 1]);
    std::ranges::sort(terms);
    return terms;
}();

/// Tells most other terms from the common ones at once.
constexpr std::size_t filterSize = 4'096;
constexpr std::size_t filterPlace(Term term) {
    constexpr Term golden = 0x9E37'79B9'7F4A'7C15;
    return static_cast<std::size_t>(term * golden >> 52) % filterSize;
}
constexpr auto commonFilter = [] {
    std::array<bool, filterSize> filter{};
    for (const auto term : commonTerms)
        filter[filterPlace(term)] = true;
    return filter;
}();

bool isCommon(Term term) {
    return commonFilter[filterPlace(term)] && std::ranges::binary_search(commonTerms, term);
}

/// Takes a text's characters one by one.
class TermReader {
public:
    explicit TermReader(std::vector<Term>& terms) : terms_(terms) {}

    void take(char32_t c) {
        if (c < 0x80) {
            const auto lowered = c | 0x20;
            lowered >= 'a' && lowered <= 'z' ? takeLetter(lowered) : part();
        } else if (isHan(c)) {
            takeHan(c);
        } else if (u_isalpha(static_cast<UChar32>(c))) {
            takeLetter(
                static_cast<char32_t>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT)));
        } else {
            part();
        }
    }
    /// A text, a word or a run of Chinese has ended.
    void part() {
        if (length_ >= shortestWord && !isCommon(word_))
            terms_.push_back(isShortPlural_ ? singular_ : beginning_);
        word_ = seed;
        length_ = 0;
        previousHan_ = 0;
    }

private:
    void takeLetter(char32_t c) {
        if (previousHan_ != 0)
            part();
        // Of a long word the end does not tell anyway.
        isShortPlural_ = c == U's' && length_ >= 3 && length_ < charactersThatTell;
        singular_ = word_;
        word_ = hashed(word_, c);
        if (++length_ <= charactersThatTell)
            beginning_ = word_;
    }
    void takeHan(char32_t c) {
        if (length_ > 0)
            part();
        const auto previous = previousHan_;
        previousHan_ = isParticle(c) ? 0 : c;
        if (previous == 0 || previousHan_ == 0)
            return;
        if (const auto term = pairTerm(previous, c); !isCommon(term))
            terms_.push_back(term);
    }

    std::vector<Term>& terms_;
    Term word_ = seed;
    Term beginning_ = seed;
    Term singular_ = seed;
    bool isShortPlural_ = false;
    int length_ = 0;
    char32_t previousHan_ = 0;
};

}  // namespace

void appendTerms(std::string_view text, std::vector<Term>& terms) {
    TermReader reader(terms);
    const auto size = static_cast<int32_t>(text.size());
    for (int32_t next = 0; next < size;) {
        UChar32 c = 0;
        U8_NEXT_OR_FFFD(text.data(), next, size, c);
        reader.take(static_cast<char32_t>(c));
    }
    reader.part();
}

}  // namespace quillet
