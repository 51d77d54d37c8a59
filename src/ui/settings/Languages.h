#pragma once

#include <QString>
#include <string>
#include <vector>

namespace quillet {

struct SpokenLanguage {
    QString name;  ///< as its speakers call it
    std::string code;
};

/// Languages that are spoken beside Chinese and English, by name.
[[nodiscard]] std::vector<SpokenLanguage> furtherLanguages();

}  // namespace quillet
