#pragma once

#include <cstddef>
#include <cstdint>

#include "memory/SecretSearch.h"

namespace quillet {

// What people say around secrets, in English and Chinese. All of these read a text from a place on,
// in any case of its letters.

/// How sure it is that a word is followed by a secret.
enum class SecretWeight : std::uint8_t {
    often,   ///< "password": what follows it is hidden unless it is plain talk
    seldom,  ///< "token", "secret": only what looks like one is hidden
};

struct SecretWord {
    std::u32string_view text;
    SecretWeight weight;
};

/// The word for a secret that begins here; null when none does.
[[nodiscard]] const SecretWord* secretWordAt(const ScreenedText& text, std::size_t at);

/// What may stand between a word and its value, and how surely a value follows.
enum class SecretLink : std::uint8_t {
    none,
    change,  ///< "to", "as"
    copula,  ///< "is", "是"
    sign,    ///< ":", "="
};

struct LinkWord {
    std::u32string_view text;
    SecretLink link;
};

[[nodiscard]] const LinkWord* secretLinkAt(const ScreenedText& text, std::size_t at);

/// Whether what begins here is said of a secret without giving it away: "is wrong", "的错误".
[[nodiscard]] bool isPlainTalk(const ScreenedText& text, std::size_t at);

/// Where a wanted text ends that stands here; the same place when it does not. A blank in it may
/// also be "_", "-" or nothing.
[[nodiscard]] std::size_t matchEnd(const ScreenedText& text, std::size_t at,
                                   std::u32string_view wanted);

}  // namespace quillet
