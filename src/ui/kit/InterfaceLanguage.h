#pragma once

#include <QTranslator>
#include <filesystem>
#include <functional>
#include <string>
#include <vector>

#include "base/log/Log.h"
#include "base/notification/NotificationCenter.h"
#include "settings/AppSettings.h"

namespace quillet {

/// Shows the application in the language that the settings name, or else in the desktop's; English
/// where there is no translation. Belongs to the main queue's thread.
class InterfaceLanguage {
public:
    struct Services {
        NotificationCenter& notifications;
        AppSettings& settings;
        std::vector<std::filesystem::path> localeFolders;  ///< the first that has it counts
        std::string desktopLanguage;                       ///< "zh_CN"; empty: not known
        std::function<void()> changed;                     ///< what is on the screen is outdated
        Log log;
    };

    explicit InterfaceLanguage(Services services);
    ~InterfaceLanguage();
    InterfaceLanguage(const InterfaceLanguage&) = delete;
    InterfaceLanguage& operator=(const InterfaceLanguage&) = delete;

    /// "en" or "zh_CN": what is shown now.
    [[nodiscard]] const std::string& current() const { return current_; }

private:
    [[nodiscard]] std::string wanted() const;
    void follow();
    void use(const std::string& language);
    [[nodiscard]] bool translate(const std::string& language);

    Services services_;
    std::string current_;
    QTranslator ofQt_;  // the texts of Qt's own dialogs and menus
    NotificationCenter::Subscription settingsChanged_;
};

}  // namespace quillet
