#include "ui/settings/Languages.h"

#include <QLocale>
#include <algorithm>

#include "ui/kit/UiText.h"

namespace quillet {

namespace {

constexpr std::string_view codes[] = {"ar", "cs", "da", "de", "el", "es", "fi", "fr", "he",
                                      "hi", "hu", "id", "it", "ja", "ko", "nl", "no", "pl",
                                      "pt", "ro", "ru", "sv", "th", "tr", "uk", "vi"};

QString nativeName(const QString& code) {
    auto name = QLocale(code).nativeLanguageName();
    if (!name.isEmpty())
        name[0] = name[0].toUpper();
    return name;
}

}  // namespace

QString languageName(std::string_view code) {
    if (code == "mixed")
        return label("Chinese and English mixed");
    if (code == "en")
        return QStringLiteral("English");
    if (code == "zh")
        return QStringLiteral("简体中文");
    const bool isKnown = std::ranges::find(codes, code) != std::end(codes);
    return isKnown ? nativeName(fromText(code)) : fromText(code);
}

std::vector<SpokenLanguage> furtherLanguages() {
    std::vector<SpokenLanguage> languages;
    for (const auto code : codes)
        languages.push_back({nativeName(fromText(code)), std::string(code)});
    std::ranges::sort(languages, {}, &SpokenLanguage::name);
    return languages;
}

}  // namespace quillet
