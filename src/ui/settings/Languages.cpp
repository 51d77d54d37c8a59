#include "ui/settings/Languages.h"

#include <QLocale>
#include <algorithm>

namespace quillet {

namespace {

constexpr const char* codes[] = {"ar", "cs", "da", "de", "el", "es", "fi", "fr", "he",
                                 "hi", "hu", "id", "it", "ja", "ko", "nl", "no", "pl",
                                 "pt", "ro", "ru", "sv", "th", "tr", "uk", "vi"};

}  // namespace

std::vector<SpokenLanguage> furtherLanguages() {
    std::vector<SpokenLanguage> languages;
    for (const auto* code : codes) {
        const QLocale locale(QString::fromLatin1(code));
        auto name = locale.nativeLanguageName();
        if (!name.isEmpty())
            name[0] = name[0].toUpper();
        languages.push_back({std::move(name), code});
    }
    std::ranges::sort(languages, {}, &SpokenLanguage::name);
    return languages;
}

}  // namespace quillet
