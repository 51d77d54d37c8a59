#pragma once

#include <QString>
#include <string>
#include <string_view>
#include <vector>

namespace quillet {

struct SpokenLanguage {
    QString name;  ///< as its speakers call it
    std::string code;
};

/// "English", "Chinese and English mixed"; the code itself where it is not known.
[[nodiscard]] QString languageName(std::string_view code);

/// Languages that are spoken beside Chinese and English, by name.
[[nodiscard]] std::vector<SpokenLanguage> furtherLanguages();

}  // namespace quillet
