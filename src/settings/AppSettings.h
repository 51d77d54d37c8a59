#pragma once

#include <asio/awaitable.hpp>
#include <expected>
#include <functional>
#include <string>
#include <string_view>

#include "base/log/Log.h"
#include "base/notification/NotificationCenter.h"
#include "platform/Keychain.h"
#include "platform/UserDefaults.h"
#include "settings/QuilletSettings.h"

namespace quillet {

struct Url;

/// The settings changed, here or through another process.
inline constexpr std::string_view settingsChangedNotification = "Quillet.SettingsChanged";

/// The settings as the rest of the program reads and writes them. Every change is saved at once.
/// Belongs to the main queue's thread.
class AppSettings {
public:
    /// Loads the record, migrating what older versions left. The services must outlive it.
    AppSettings(UserDefaults& defaults, Keychain& keychain, NotificationCenter& notifications,
                Log log);

    [[nodiscard]] const QuilletSettings& record() const { return record_; }

    /// Changes the record, saves it and tells everyone. False when it could not be saved.
    bool change(const std::function<void(QuilletSettings&)>& edit);
    /// Uses another record without saving it.
    void use(QuilletSettings record) { record_ = std::move(record); }
    /// Changes one setting from text as a user types it; the error is a sentence for the user.
    [[nodiscard]] std::expected<void, std::string> setFromText(std::string_view name,
                                                               std::string_view text);

    /// False for an application on `sessionBlacklist`.
    [[nodiscard]] bool isAllowed(std::string_view bundleID) const;

    /// Whether this notice has not been shown before; from now on it counts as shown.
    [[nodiscard]] bool isFirstTime(std::string_view notice);
    /// Whether something has been noted for good, such as a notice that is not wanted any more.
    [[nodiscard]] bool isNoted(std::string_view key) const { return flag(key); }
    void note(std::string_view key);

    /// The keys of services, straight from the keychain: `sttAPIKey`, `llmAPIKey`,
    /// `cloudflareToken`. A key that was never set is empty, not an error.
    [[nodiscard]] asio::awaitable<std::expected<std::string, Keychain::Error>> secret(
        std::string name);
    /// The same, but empty for another server than the one that the key was given for. A key that
    /// has not been used yet belongs to the first server that it is asked for.
    [[nodiscard]] asio::awaitable<std::expected<std::string, Keychain::Error>> secretFor(
        std::string name, std::string url);
    /// Stores a key, for the server of `url`; with an empty url for the first one that asks.
    [[nodiscard]] asio::awaitable<std::expected<void, Keychain::Error>> setSecret(std::string name,
                                                                                  std::string value,
                                                                                  std::string url);
    /// The server that a key was given for, as people read it; empty while it belongs to none.
    [[nodiscard]] std::string secretHost(std::string_view name) const;
    /// Whether a key may be sent to `url`: what was given for an encrypted server goes there by
    /// another port or in the clear no more than to another host.
    [[nodiscard]] bool isSecretFor(std::string_view name, const Url& url) const;

    /// Moves keys that an early version kept among the settings into the keychain, once. Kept where
    /// they are until that succeeds.
    [[nodiscard]] asio::awaitable<void> migrateSecrets();

private:
    void load();
    void saveDamagedRecord();
    [[nodiscard]] QuilletSettings consolidatedFromOldKeys() const;
    [[nodiscard]] bool flag(std::string_view key) const;
    [[nodiscard]] std::string secretOwner(std::string_view name) const;
    void setSecretOwner(std::string_view name, std::string origin);

    UserDefaults& defaults_;
    Keychain& keychain_;
    NotificationCenter& notifications_;
    Log log_;
    QuilletSettings record_;
};

/// The names under which secrets are kept.
inline constexpr std::string_view secretNames[] = {"sttAPIKey", "llmAPIKey", "cloudflareToken"};
/// The record's key among the user defaults.
inline constexpr std::string_view settingsDefaultsKey = "quilletSettingsV1";

}  // namespace quillet
