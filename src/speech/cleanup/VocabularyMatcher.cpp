#include "speech/cleanup/VocabularyMatcher.h"

#include <unicode/uchar.h>
#include <unicode/uscript.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <queue>

namespace quillet {

namespace {

constexpr char32_t replacementCharacter = 0xFFFD;
constexpr char32_t kanaLengthMark = 0x30FC;
constexpr std::size_t slack = 10'000;
constexpr std::size_t nowhere = std::u32string::npos;

std::u32string decoded(std::string_view text) {
    std::u32string result;
    result.reserve(text.size());
    const auto size = static_cast<int32_t>(text.size());
    for (int32_t i = 0; i < size;) {
        UChar32 c = 0;
        U8_NEXT(text.data(), i, size, c);
        result += c < 0 ? replacementCharacter : static_cast<char32_t>(c);
    }
    return result;
}

std::string encoded(std::u32string_view text) {
    std::string result;
    result.reserve(text.size() * 2);
    for (const char32_t c : text) {
        char bytes[U8_MAX_LENGTH];
        int32_t length = 0;
        U8_APPEND_UNSAFE(bytes, length, static_cast<UChar32>(c));
        result.append(bytes, static_cast<std::size_t>(length));
    }
    return result;
}

char32_t folded(char32_t c) {
    return static_cast<char32_t>(u_foldCase(static_cast<UChar32>(c), U_FOLD_CASE_DEFAULT));
}

std::u32string folded(std::u32string_view text) {
    std::u32string result(text);
    for (auto& c : result)
        c = folded(c);
    return result;
}

bool isAscii(std::u32string_view text) {
    return std::ranges::all_of(text, [](char32_t c) { return c < 0x80; });
}

/// Whether a word goes on across this character. Han and kana are written without blanks, so a
/// Latin word ends where they begin.
bool continuesWord(char32_t c) {
    const auto point = static_cast<UChar32>(c);
    if (c < 0x80)
        return u_isalnum(point) || c == U'_';
    if (!u_isUAlphabetic(point) && (U_GET_GC_MASK(point) & (U_GC_M_MASK | U_GC_ND_MASK)) == 0)
        return false;
    UErrorCode status = U_ZERO_ERROR;
    const auto script = uscript_getScript(point, &status);
    return script != USCRIPT_HAN && script != USCRIPT_HIRAGANA && script != USCRIPT_KATAKANA &&
           c != kanaLengthMark;
}

std::uint64_t startKey(char32_t first, char32_t second) {
    return static_cast<std::uint64_t>(first) << 32U | second;
}

struct Candidate {
    std::u32string original;
    const VocabEntry* entry;
};

bool goesFirst(const Candidate& a, const Candidate& b) {
    if (a.original.size() != b.original.size())
        return a.original.size() > b.original.size();
    if (a.entry->frequency != b.entry->frequency)
        return a.entry->frequency > b.entry->frequency;
    if (a.entry->original != b.entry->original)
        return a.entry->original < b.entry->original;
    return a.entry->corrected < b.entry->corrected;
}

}  // namespace

VocabularyMatcher::VocabularyMatcher(std::span<const VocabEntry> entries) {
    std::vector<Candidate> candidates;
    candidates.reserve(entries.size());
    for (const auto& entry : entries) {
        // Nothing that was said is taken away.
        if (!entry.original.empty() && !entry.corrected.empty())
            candidates.push_back({decoded(entry.original), &entry});
    }
    std::ranges::sort(candidates, goesFirst);
    rules_.reserve(candidates.size());
    for (const auto& [original, entry] : candidates) {
        const auto number = static_cast<std::uint32_t>(rules_.size());
        rules_.push_back({folded(original), decoded(entry->corrected), isAscii(original)});
        const auto& start = rules_.back().folded;
        byStart_[startKey(start[0], start.size() > 1 ? start[1] : 0)].push_back(number);
        longest_ = std::max(longest_, start.size());
    }
}

/// One application to one text. The rules that occur in the text wait in a queue; whenever one has
/// been applied, the places that it changed are looked through for rules whose turn is still to
/// come. So each rule meets the very text that it would meet if all were tried in turn.
class VocabularyMatcher::Pass {
public:
    Pass(const VocabularyMatcher& matcher, std::string_view text)
        : matcher_(matcher), text_(decoded(text)), folded_(folded(text_)) {
        findRules(0, text_.size());
    }

    std::string run() {
        // Entries that feed each other could make a text of any length.
        const auto longest = 10 * text_.size() + slack;
        while (!waiting_.empty() && text_.size() <= longest) {
            next_ = waiting_.top();
            while (!waiting_.empty() && waiting_.top() == next_)
                waiting_.pop();
            ++next_;
            applyRule(matcher_.rules_[next_ - 1]);
        }
        return encoded(text_);
    }

private:
    /// Queues the rules whose original stands somewhere in [begin, end) and whose turn will come.
    void findRules(std::size_t begin, std::size_t end) {
        for (std::size_t at = begin; at < end; ++at) {
            findRulesAt(at, startKey(folded_[at], 0));
            if (at + 1 < text_.size())
                findRulesAt(at, startKey(folded_[at], folded_[at + 1]));
        }
    }

    void findRulesAt(std::size_t at, std::uint64_t key) {
        const auto found = matcher_.byStart_.find(key);
        if (found == matcher_.byStart_.end())
            return;
        for (const auto number : found->second) {
            if (number >= next_ &&
                std::u32string_view(folded_).substr(at).starts_with(matcher_.rules_[number].folded))
                waiting_.push(number);
        }
    }

    [[nodiscard]] bool stands(const Rule& rule, std::size_t at) const {
        if (!rule.wholeWord)
            return true;
        const auto end = at + rule.folded.size();
        return (at == 0 || !continuesWord(text_[at - 1])) &&
               (end == text_.size() || !continuesWord(text_[end]));
    }

    [[nodiscard]] std::size_t findFrom(const Rule& rule, std::size_t from) const {
        auto at = folded_.find(rule.folded, from);
        while (at != nowhere && !stands(rule, at))
            at = folded_.find(rule.folded, at + 1);
        return at;
    }

    void applyRule(const Rule& rule) {
        auto at = findFrom(rule, 0);
        if (at == nowhere)
            return;
        std::u32string result;
        std::vector<std::size_t> written;  // where the corrected form stands in the result
        std::size_t done = 0;
        for (; at != nowhere; at = findFrom(rule, done)) {
            result.append(text_, done, at - done);
            written.push_back(result.size());
            result += rule.corrected;
            done = at + rule.folded.size();
        }
        result.append(text_, done);
        text_ = std::move(result);
        folded_ = folded(text_);
        findRulesAround(written, rule.corrected.size());
    }

    /// An original that has newly come about overlaps a place that was written, or begins beside
    /// it.
    void findRulesAround(const std::vector<std::size_t>& written, std::size_t length) {
        std::size_t searched = 0;
        for (const auto at : written) {
            const auto before = std::min(at, matcher_.longest_);
            const auto begin = std::max(searched, at - before);
            const auto end = std::min(text_.size(), at + length + 1);
            if (begin < end)
                findRules(begin, end);
            searched = std::max(searched, end);
        }
    }

    const VocabularyMatcher& matcher_;
    std::u32string text_;
    std::u32string folded_;
    std::uint32_t next_ = 0;  // the first rule whose turn has not come
    std::priority_queue<std::uint32_t, std::vector<std::uint32_t>, std::greater<>> waiting_;
};

std::string VocabularyMatcher::apply(std::string_view text) const {
    return Pass(*this, text).run();
}

}  // namespace quillet
