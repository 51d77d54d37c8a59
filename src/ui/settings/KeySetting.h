#pragma once

#include <QWidget>
#include <functional>
#include <string>

#include "base/async/TaskScope.h"
#include "settings/AppSettings.h"
#include "ui/settings/KeyState.h"

class QLabel;
class QLineEdit;
class QPushButton;

namespace quillet {

/// The key of a service, which lives in the keyring: what is typed is stored and not shown again.
class KeySetting : public QWidget {
public:
    struct Services {
        Loop& loop;
        AppSettings& settings;
        Keychain& keychain;
    };
    struct Key {
        std::string secret;  ///< its name: "sttAPIKey", …
        QString name;        ///< as people call it
        QString placeholder;
        std::function<std::string()> address;  ///< of the service, as the settings have it
    };

    KeySetting(Services services, Key key);

    /// Looks at the keyring again, for the key or its service may have changed.
    void refresh();
    /// Stores what was typed, where that is not done yet.
    void commit();
    /// Called when more is known of the key.
    void onState(std::function<void(const KeyState&)> told) { told_ = std::move(told); }

private:
    void buildRow();
    void store(std::string value);
    void show(const KeyState& state);
    [[nodiscard]] KeyState stateOf(std::expected<bool, Keychain::Error> isStored) const;
    asio::awaitable<void> look();
    asio::awaitable<void> write(std::string value, std::string address);
    asio::awaitable<void> unlock();

    Services services_;
    Key key_;
    std::function<void(const KeyState&)> told_;
    QLineEdit* edit_;
    QPushButton* remove_;
    QPushButton* unlock_;
    QLabel* state_;
    TaskHandle looking_;
    TaskScope tasks_;
};

}  // namespace quillet
