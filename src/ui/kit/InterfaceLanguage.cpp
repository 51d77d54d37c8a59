#include "ui/kit/InterfaceLanguage.h"

#include <QCoreApplication>
#include <QLibraryInfo>
#include <algorithm>

#include "base/text/Translation.h"
#include "ui/kit/UiText.h"

namespace quillet {

namespace {

constexpr std::string_view english = "en";
constexpr std::string_view simplifiedChinese = "zh_CN";
/// Where Simplified Chinese is written.
constexpr std::string_view simplifiedRegions[] = {"zh", "zh_CN", "zh_SG", "zh_MY", "zh_Hans"};

}  // namespace

InterfaceLanguage::InterfaceLanguage(Services services) : services_(std::move(services)) {
    use(wanted());
    settingsChanged_ = services_.notifications.subscribe(std::string(settingsChangedNotification),
                                                         [this] { follow(); });
}

InterfaceLanguage::~InterfaceLanguage() {
    QCoreApplication::removeTranslator(&ofQt_);
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
    if (language == english)
        return;
    for (const auto& folder : services_.localeFolders) {
        auto read = MessageCatalogue::read(folder / language / "LC_MESSAGES" / "quillet.mo");
        if (!read)
            continue;
        useCatalogue(std::make_shared<MessageCatalogue>(std::move(*read)));
        if (ofQt_.load(QStringLiteral("qtbase_") + fromText(language),
                       QLibraryInfo::path(QLibraryInfo::TranslationsPath)))
            QCoreApplication::installTranslator(&ofQt_);
        return;
    }
    services_.log.error("There are no translations for {}", language);
}

}  // namespace quillet
