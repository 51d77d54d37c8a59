#pragma once

#include <unicode/regex.h>
#include <unicode/unistr.h>

#include <memory>
#include <string_view>

namespace quillet {

/// A regular expression, compiled once and used on any thread. A text that it cannot work through
/// within its limit of steps is left as it is: no transcript is worth a program that hangs.
class Pattern {
public:
    enum class Case { matters, ignored };

    /// The expression is our own; one that does not compile is a bug.
    explicit Pattern(std::u16string_view expression, Case letters = Case::matters);

    /// Every match replaced; "$1" in the replacement is the first group.
    [[nodiscard]] icu::UnicodeString replaceAll(const icu::UnicodeString& text,
                                                const icu::UnicodeString& replacement) const;
    /// Whether the whole text matches.
    [[nodiscard]] bool matches(const icu::UnicodeString& text) const;

    /// A matcher over a text, which must outlive it, with the limit set.
    [[nodiscard]] std::unique_ptr<icu::RegexMatcher> matcher(const icu::UnicodeString& text) const;

private:
    std::unique_ptr<icu::RegexPattern> compiled_;
};

/// A text as ICU keeps it, with every malformed sequence replaced by U+FFFD, and back.
[[nodiscard]] icu::UnicodeString wide(std::string_view text);
[[nodiscard]] std::string narrow(const icu::UnicodeString& text);

/// Whether a text holds a character of the Han script.
[[nodiscard]] bool holdsHan(const icu::UnicodeString& text);

}  // namespace quillet
