#pragma once

#include <fmt/format.h>

#include <QString>
#include <string>
#include <string_view>

#include "base/text/Translation.h"

namespace quillet {

[[nodiscard]] QString fromText(std::string_view text);
[[nodiscard]] std::string toText(const QString& text);

/// An English text in the user's language.
[[nodiscard]] inline QString label(std::string_view english) {
    return fromText(translated(english));
}
/// The same of a format, filled in: label("Kept for {} days", days).
template <class... Arguments>
[[nodiscard]] QString label(std::string_view english, const Arguments&... arguments) {
    return fromText(fmt::format(fmt::runtime(translated(english)), arguments...));
}
/// The form for a count, which is filled in: counted("{} entry", "{} entries", count).
[[nodiscard]] QString counted(std::string_view singular, std::string_view plural, long count);

}  // namespace quillet
