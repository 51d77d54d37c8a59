#include "settings/AppSettings.h"

#include <nlohmann/json.hpp>

#include "base/http/Url.h"

namespace quillet {

namespace {

using nlohmann::json;

constexpr std::string_view consolidatedFlag = "appSettingsConsolidatedV1";
constexpr std::string_view keysMigratedFlag = "apiKeysMigratedToKeychainV1";
constexpr std::string_view secretHostsKey = "secretHosts";
constexpr std::string_view damagedRecordKey = "quilletSettingsV1.damaged";

/// The settings that once had a key of their own each.
constexpr std::string_view oldSeparateKeys[] = {
    "sttEngineType", "sttEndpoint",           "selectedLanguage",     "autoSend",
    "sendKey",       "autoSendDelay",         "llmEnabled",           "llmBaseURL",
    "llmModel",      "sessionLoggingEnabled", "sessionRetentionDays", "sessionBlacklist"};

/// The secrets that once stood among the settings.
constexpr std::string_view oldPlainSecrets[] = {"sttAPIKey", "llmAPIKey"};

/// A host alone is what an early version stored.
bool isOrigin(std::string_view owner) {
    return owner.contains("://");
}

}  // namespace

AppSettings::AppSettings(UserDefaults& defaults, Keychain& keychain,
                         NotificationCenter& notifications, Log log)
    : defaults_(defaults),
      keychain_(keychain),
      notifications_(notifications),
      log_(std::move(log)) {
    load();
    defaults_.onExternalChange([this] {
        load();
        notifications_.post(settingsChangedNotification);
    });
}

void AppSettings::load() {
    const auto stored = defaults_.get(settingsDefaultsKey);
    if (stored) {
        std::vector<std::string> ignored;
        if (auto decoded = decodeSettings(*stored, &ignored)) {
            record_ = std::move(*decoded);
            for (const auto& name : ignored)
                log_.error("Setting {} holds a value that is not accepted; its default is used",
                           name);
            return;
        }
        log_.error(
            "The settings record cannot be read; defaults are used, and the record is kept "
            "under {}",
            damagedRecordKey);
        defaults_.set(damagedRecordKey, *stored);
    }
    if (!flag(consolidatedFlag)) {
        record_ = consolidatedFromOldKeys();
        defaults_.set(settingsDefaultsKey, encodeSettings(record_));
        defaults_.set(consolidatedFlag, true);
        return;
    }
    record_ = QuilletSettings{};
}

QuilletSettings AppSettings::consolidatedFromOldKeys() const {
    QuilletSettings settings;
    for (const auto name : oldSeparateKeys) {
        const auto value = defaults_.get(name);
        if (value && !applySetting(settings, name, *value))
            log_.error("The old setting {} is not readable; its default is used", name);
    }
    return settings;
}

bool AppSettings::isFirstTime(std::string_view notice) {
    if (flag(notice))
        return false;
    // One that cannot be noted is shown again.
    (void)defaults_.set(notice, true);
    return true;
}

void AppSettings::note(std::string_view key) {
    // One that cannot be stored holds until the program ends.
    (void)defaults_.set(key, true);
}

bool AppSettings::flag(std::string_view key) const {
    const auto value = defaults_.get(key);
    return value && value->is_boolean() && value->get<bool>();
}

bool AppSettings::change(const std::function<void(QuilletSettings&)>& edit) {
    const bool saved = defaults_.edit(settingsDefaultsKey, [&](const std::optional<json>& present) {
        // Another process may have changed it a moment ago.
        if (auto decoded = present ? decodeSettings(*present, nullptr) : std::nullopt)
            record_ = std::move(*decoded);
        edit(record_);
        return std::optional(encodeSettings(record_));
    });
    if (!saved)
        log_.error("The settings could not be saved; they hold until Quillet quits");
    notifications_.post(settingsChangedNotification);
    return saved;
}

std::expected<void, std::string> AppSettings::setFromText(std::string_view name,
                                                          std::string_view text) {
    QuilletSettings edited = record_;
    if (auto applied = applySettingText(edited, name, text); !applied)
        return applied;
    if (!change([&](QuilletSettings& settings) { (void)applySettingText(settings, name, text); }))
        return std::unexpected(
            "The setting could not be saved: the settings file cannot be written. Check that the "
            "disk is not full and that the file belongs to you.");
    return {};
}

bool AppSettings::isAllowed(std::string_view bundleID) const {
    const auto& excluded = record_.sessionBlacklist;
    return std::ranges::find(excluded, bundleID) == excluded.end();
}

asio::awaitable<std::expected<std::string, Keychain::Error>> AppSettings::secret(std::string name) {
    auto value = co_await keychain_.read(std::move(name));
    if (!value && value.error() == Keychain::Error::notFound)
        co_return std::string();
    co_return value;
}

asio::awaitable<std::expected<std::string, Keychain::Error>> AppSettings::secretFor(
    std::string name, std::string url) {
    const auto parsed = parseUrl(url);
    if (!parsed)
        co_return std::string();
    if (!isSecretFor(name, *parsed)) {
        log_.error("The key {} was given for {} and is not sent to {}", name, secretHost(name),
                   parsed->server());
        co_return std::string();
    }
    auto value = co_await secret(name);
    if (value && !value->empty() && secretOwner(name).empty())
        setSecretOwner(name, parsed->origin());
    co_return value;
}

asio::awaitable<std::expected<void, Keychain::Error>> AppSettings::setSecret(std::string name,
                                                                             std::string value,
                                                                             std::string url) {
    auto written = co_await keychain_.write(name, std::move(value));
    if (written) {
        const auto parsed = parseUrl(url);
        setSecretOwner(name, parsed ? parsed->origin() : "");
    }
    co_return written;
}

std::string AppSettings::secretHost(std::string_view name) const {
    auto owner = secretOwner(name);
    const auto url = parseUrl(owner);
    return url ? url->server() : owner;
}

bool AppSettings::isSecretFor(std::string_view name, const Url& url) const {
    const auto owner = secretOwner(name);
    if (owner.empty() || isOrigin(owner))
        return owner.empty() || owner == url.origin();
    return url.scheme == "https" && owner == url.host;
}

std::string AppSettings::secretOwner(std::string_view name) const {
    const auto hosts = defaults_.get(secretHostsKey);
    if (!hosts || !hosts->is_object())
        return {};
    const auto host = hosts->find(name);
    return host != hosts->end() && host->is_string() ? host->get<std::string>() : std::string();
}

void AppSettings::setSecretOwner(std::string_view name, std::string origin) {
    // One that cannot be stored holds until the program ends.
    (void)defaults_.edit(secretHostsKey, [&](const std::optional<json>& present) {
        json hosts = present && present->is_object() ? *present : json::object();
        hosts[std::string(name)] = std::move(origin);
        return std::optional(std::move(hosts));
    });
}

asio::awaitable<void> AppSettings::migrateSecrets() {
    if (flag(keysMigratedFlag))
        co_return;
    for (const auto name : oldPlainSecrets) {
        const auto value = defaults_.get(name);
        if (!value || !value->is_string())
            continue;
        const auto written = co_await keychain_.write(std::string(name), value->get<std::string>());
        if (!written) {
            log_.error("The key {} stays in the settings file for now: {}", name,
                       explanation(written.error()));
            co_return;
        }
        defaults_.remove(name);
    }
    defaults_.set(keysMigratedFlag, true);
}

}  // namespace quillet
