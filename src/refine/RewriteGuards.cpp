#include "refine/RewriteGuards.h"

#include <fmt/format.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <cstdint>
#include <ranges>
#include <unordered_map>
#include <vector>

#include "base/text/Text.h"

namespace quillet {

namespace {

using DictationPrompt::CleanupStyle;

// Lengths are in characters.
struct Limits {
    std::size_t longest;
    std::size_t growth;
    std::size_t slack;
};

constexpr Limits limitsOf(CleanupStyle style) {
    return style == CleanupStyle::polish ? Limits{4'000, 6, 200} : Limits{2'000, 3, 6};
}

constexpr std::size_t shortestCheckedForLoss = 40;
constexpr double mostlyAscii = 0.7;
constexpr double hardlyAscii = 0.4;
constexpr int fewestIdeographs = 6;

constexpr double mostUnaccounted = 0.15;
constexpr std::size_t shortestCheckedForKinship = 12;
constexpr double leastShared = 0.25;

constexpr std::string_view thinkingMarkers[] = {
    "<think>",     "</think>",    "<thinking>",   "</thinking>", "<thought>",
    "</thought>",  "<reasoning>", "</reasoning>", "<|channel|>", "<|channel>",
    "<|message|>", "[think]",     "[/think]"};

constexpr std::string_view chineseQuestionWords[] = {"哪里", "哪儿", "哪个", "几点", "几号",
                                                     "谁",   "多少", "什么", "怎么", "如何"};
/// Where they stand first.
constexpr std::string_view englishQuestionWords[] = {
    "what", "whats", "what's", "when",   "where", "who", "whose", "which", "why", "how",
    "can",  "could", "would",  "should", "is",    "are", "do",    "does",  "did", "will"};

/// Tells whether a text begins with a word, fillers aside.
auto beginsWithWord(const std::string& lowered) {
    std::string_view rest = lowered;
    for (bool skipped = true; skipped;) {
        skipped = false;
        for (const std::string_view filler : {"um", "uh", "so", "well", "okay", "and", ","}) {
            rest = trimmedView(rest);
            if (!rest.starts_with(filler))
                continue;
            const auto after = rest.substr(filler.size());
            if (filler == "," || after.empty() || after[0] == ' ' || after[0] == ',') {
                rest.remove_prefix(filler.size());
                skipped = true;
            }
        }
    }
    return [begin = std::string(rest)](std::string_view word) {
        return begin.starts_with(word) &&
               (begin.size() == word.size() || begin[word.size()] == ' ');
    };
}

template <class Visit>
void eachScalar(std::string_view text, Visit visit) {
    const auto size = static_cast<int32_t>(text.size());
    for (int32_t i = 0; i < size;) {
        UChar32 c = 0;
        U8_NEXT_OR_FFFD(text.data(), i, size, c);
        visit(c);
    }
}

/// A lead-in line at most, then at least two lines that count up from one.
bool isNumberedList(std::string_view text) {
    std::vector<std::string_view> lines;
    for (const auto part : std::views::split(text, '\n'))
        lines.emplace_back(part.begin(), part.end());
    const auto first =
        std::ranges::find_if(lines, [](std::string_view line) { return line.starts_with("1. "); });
    if (first - lines.begin() > 1 || lines.end() - first < 2)
        return false;
    std::size_t number = 0;
    return std::all_of(first, lines.end(), [&number](std::string_view line) {
        return line.starts_with(fmt::format("{}. ", ++number));
    });
}

bool lostMost(std::string_view raw, std::string_view reply) {
    const auto before = characterCount(comparisonForm(raw));
    return before >= shortestCheckedForLoss &&
           10 * characterCount(comparisonForm(reply)) < 3 * before;
}

/// ASCII scalars, blanks included, to each one that is no white space.
double asciiShare(std::string_view text) {
    std::size_t ascii = 0;
    std::size_t all = 0;
    eachScalar(text, [&](UChar32 c) {
        all += u_isUWhiteSpace(c) != 0 ? 0 : 1;
        ascii += c < 0x80 ? 1 : 0;
    });
    return all == 0 ? 1.0 : static_cast<double>(ascii) / static_cast<double>(all);
}

int ideographCount(std::string_view text) {
    int count = 0;
    eachScalar(text,
               [&](UChar32 c) { count += u_hasBinaryProperty(c, UCHAR_IDEOGRAPHIC) != 0 ? 1 : 0; });
    return count;
}

/// Whether a text asks something: by its mark, by a word that Chinese questions end in, or, since
/// recognisers leave marks out, by a word that asks.
bool asks(std::string_view text, std::string_view compared) {
    bool marked = false;
    eachScalar(text, [&](UChar32 c) {
        if (u_isUWhiteSpace(c) == 0)
            marked = c == U'?' || c == U'？' || (marked && u_ispunct(c) != 0);
    });
    const auto holds = [compared](std::string_view word) { return compared.contains(word); };
    return marked || compared.ends_with("吗") || compared.ends_with("呢") ||
           compared.ends_with("么") || std::ranges::any_of(chineseQuestionWords, holds) ||
           std::ranges::any_of(englishQuestionWords, beginsWithWord(asciiLowered(text)));
}

struct Overlap {
    std::size_t all = 0;
    std::size_t shared = 0;
    bool digits = false;  ///< there were numbers, which count for nothing

    [[nodiscard]] double share() const {
        if (all == 0)
            return digits ? 1 : 0;
        return static_cast<double>(shared) / static_cast<double>(all);
    }
};

/// The words of a text without case: those of letters and digits as a whole, Chinese characters one
/// by one.
std::vector<std::string> wordsOf(std::string_view given) {
    const auto text = toSimplifiedChinese(asciiLowered(given));
    std::vector<std::string> words;
    bool inWord = false;
    const auto size = static_cast<int32_t>(text.size());
    for (int32_t i = 0; i < size;) {
        const auto begin = i;
        UChar32 c = 0;
        U8_NEXT_OR_FFFD(text.data(), i, size, c);
        const std::string character =
            text.substr(static_cast<std::size_t>(begin), static_cast<std::size_t>(i - begin));
        const bool ideograph = u_hasBinaryProperty(c, UCHAR_IDEOGRAPHIC) != 0;
        const bool wordPart = !ideograph && u_isalnum(c) != 0;
        if (wordPart && inWord)
            words.back() += character;
        else if (wordPart || ideograph)
            words.push_back(character);
        // "what's" is one word and the same as "whats".
        inWord = wordPart || (inWord && c == U'\'');
    }
    return words;
}

/// How much of a text's words, by length, is found in another, each used once.
Overlap overlap(std::string_view text, std::string_view other) {
    std::unordered_map<std::string, std::size_t> left;
    for (auto& word : wordsOf(other))
        ++left[std::move(word)];
    Overlap result;
    for (const auto& word : wordsOf(text)) {
        // Spoken numbers are written in digits, of which nothing was said.
        if (std::ranges::all_of(word, [](char c) { return c >= '0' && c <= '9'; })) {
            result.digits = true;
            continue;
        }
        const auto length = characterCount(word);
        result.all += length;
        const auto found = left.find(word);
        if (found == left.end() || found->second == 0)
            continue;
        --found->second;
        result.shared += length;
    }
    return result;
}

}  // namespace

std::optional<std::string> rejectionReason(std::string_view raw, std::string_view reply,
                                           CleanupStyle style) {
    const bool smart = style == CleanupStyle::smart;
    const auto limits = limitsOf(style);
    if (smart && reply.contains('\n') && !isNumberedList(reply))
        return "contains newline outside a numbered list";
    const auto length = characterCount(reply);
    if (length > limits.longest)
        return fmt::format("refined too long ({})", length);
    if (smart && lostMost(raw, reply))
        return "refined < 0.3x raw";
    if (length > characterCount(raw) * limits.growth + limits.slack)
        return fmt::format("refined > {}x raw", limits.growth);
    if (smart && asciiShare(raw) > mostlyAscii && asciiShare(reply) < hardlyAscii)
        return "ASCII input → CJK output";
    if (ideographCount(raw) >= fewestIdeographs && ideographCount(reply) == 0)
        return "Chinese input → no Chinese output";
    return std::nullopt;
}

bool holdsThinking(std::string_view reply, std::string_view raw) {
    const auto written = asciiLowered(reply);
    const auto said = asciiLowered(raw);
    return std::ranges::any_of(thinkingMarkers, [&](std::string_view marker) {
        return written.contains(marker) && !said.contains(marker);
    });
}

bool answersInstead(std::string_view raw, std::string_view reply) {
    const auto said = comparisonForm(raw);
    const auto written = comparisonForm(reply);
    if (written == said)
        return false;
    const auto common = overlap(reply, raw);
    if (characterCount(said) >= shortestCheckedForKinship && common.share() < leastShared)
        return true;
    const bool stillAsks = reply.contains('?') || reply.contains("？") || asks(reply, written);
    return asks(raw, said) && !stillAsks && common.share() < 1 - mostUnaccounted;
}

}  // namespace quillet
