#include "ui/kit/InterfaceLanguage.h"

#include <QCoreApplication>
#include <QGuiApplication>
#include <QLibraryInfo>
#include <QLocale>
#include <algorithm>

#include "base/text/Translation.h"
#include "ui/kit/UiText.h"

namespace quillet {

namespace {

constexpr std::string_view english = "en";
constexpr std::string_view simplifiedChinese = "zh_CN";
/// Where Simplified Chinese is written.
constexpr std::string_view simplifiedRegions[] = {"zh", "zh_CN", "zh_SG", "zh_MY", "zh_Hans"};

/// How dates and numbers are written: as the desktop has it where it speaks the same language, or
/// else as that language's speakers in the user's region, or in most regions, write them.
QLocale localeFor(const std::string& language) {
    const auto desktop = QLocale::system();
    const QLocale ours(fromText(language));
    if (desktop.language() == ours.language() && desktop.script() == ours.script())
        return desktop;
    const QLocale regional(ours.language(), ours.script(), desktop.territory());
    return regional.language() == ours.language() ? regional : ours;
}

}  // namespace

InterfaceLanguage::InterfaceLanguage(Services services) : services_(std::move(services)) {
    use(wanted());
    settingsChanged_ = services_.notifications.subscribe(std::string(settingsChangedNotification),
                                                         [this] { follow(); });
}

InterfaceLanguage::~InterfaceLanguage() {
    QCoreApplication::removeTranslator(&ofQt_);
    QLocale::setDefault(QLocale::system());
    useCatalogue(nullptr);
}

std::string InterfaceLanguage::wanted() const {
    const auto& chosen = services_.settings.record().language;
    if (!chosen.empty())
        return chosen;
    return std::ranges::find(simplifiedRegions, services_.desktopLanguage) !=
                   std::end(simplifiedRegions)
               ? std::string(simplifiedChinese)
               : std::string(english);
}

void InterfaceLanguage::follow() {
    const auto language = wanted();
    if (language == current_)
        return;
    use(language);
    services_.changed();
}

void InterfaceLanguage::use(const std::string& language) {
    current_ = language;
    QCoreApplication::removeTranslator(&ofQt_);
    useCatalogue(nullptr);
    const bool isShown = language == english || translate(language);
    QLocale::setDefault(localeFor(isShown ? language : std::string(english)));
    // It ends the windows' titles.
    QGuiApplication::setApplicationDisplayName(label("Quillet"));
}

bool InterfaceLanguage::translate(const std::string& language) {
    for (const auto& folder : services_.localeFolders) {
        auto read = MessageCatalogue::read(folder / language / "LC_MESSAGES" / "quillet.mo");
        if (!read)
            continue;
        useCatalogue(std::make_shared<MessageCatalogue>(std::move(*read)));
        if (ofQt_.load(QStringLiteral("qtbase_") + fromText(language),
                       QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
            QCoreApplication::installTranslator(&ofQt_);
        return true;
    }
    services_.log.error("There are no translations for {}", language);
    return false;
}

}  // namespace quillet
