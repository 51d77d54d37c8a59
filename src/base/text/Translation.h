#pragma once

#include <memory>
#include <string>
#include <string_view>

#include "base/text/MessageCatalogue.h"

namespace quillet {

/// The user's language is a property of the process: what is shown to people passes through here.
/// The English text is the key, and what is shown where there is no translation. Texts that are put
/// together are translated as formats ("{} entries"), never in pieces. Any thread.
///
/// Where a text only stands, to be translated when it is shown, `toTranslate` marks it.
[[nodiscard]] std::string translated(std::string_view english);
/// The form for this count; the text is not filled in.
[[nodiscard]] std::string translated(std::string_view singular, std::string_view plural,
                                     long count);
[[nodiscard]] consteval std::string_view toTranslate(const char* english) {
    return english;
}

/// From now on texts are shown in this language; none: in English.
void useCatalogue(std::shared_ptr<const MessageCatalogue> catalogue);

}  // namespace quillet
