#include "settings/AppProfileStore.h"

#include <nlohmann/json.hpp>

#include "base/text/Translation.h"

namespace quillet {

namespace {

using nlohmann::json;

constexpr std::string_view damagedKey = "appProfilesV1.damaged";

struct Seed {
    std::string_view bundleID;
    std::string_view displayName;
    SendKeyType sendKey;
    bool autoSend;
};

constexpr Seed seeds[] = {
    {"com.tencent.xinWeChat", "WeChat", SendKeyType::enter, true},
    {"com.tencent.qq", "QQ", SendKeyType::enter, true},
    {"org.telegram.desktop", "Telegram", SendKeyType::enter, true},
    {"ru.keepcoder.Telegram", "Telegram", SendKeyType::enter, true},
    {"com.apple.MobileSMS", "Messages", SendKeyType::enter, true},
    {"com.hnc.Discord", "Discord", SendKeyType::enter, true},
    {"com.tinyspeck.slackmacgap", "Slack", SendKeyType::enter, true},
    {"com.facebook.archon", "Messenger", SendKeyType::enter, true},
    {"net.whatsapp.WhatsApp", "WhatsApp", SendKeyType::enter, true},
    {"com.microsoft.teams2", "Teams", SendKeyType::enter, true},
    {"com.microsoft.teams", "Teams", SendKeyType::enter, true},
    {"com.electron.lark", "Lark (飞书)", SendKeyType::cmdEnter, true},
    {"com.bytedance.lark", "Lark (飞书)", SendKeyType::cmdEnter, true},
    {"com.alibaba.DingTalkMac", "DingTalk (钉钉)", SendKeyType::cmdEnter, true},
    {"com.apple.Notes", "Notes", SendKeyType::enter, false},
    {"md.obsidian", "Obsidian", SendKeyType::enter, false},
    {"notion.id", "Notion", SendKeyType::enter, false},
    {"com.apple.dt.Xcode", "Xcode", SendKeyType::enter, false},
    {"com.microsoft.VSCode", "VS Code", SendKeyType::enter, false},
    {"com.apple.TextEdit", "TextEdit", SendKeyType::enter, false},
};

std::optional<AppProfile> decode(const json& record) {
    if (!record.is_object() || !record.contains("bundleID") || !record["bundleID"].is_string())
        return std::nullopt;
    AppProfile profile;
    profile.bundleID = record["bundleID"].get<std::string>();
    profile.displayName = profile.bundleID;
    if (const auto name = record.find("displayName"); name != record.end() && name->is_string())
        profile.displayName = name->get<std::string>();
    if (const auto key = record.find("sendKey");
        key != record.end() && *key == storedName(SendKeyType::cmdEnter))
        profile.sendKey = SendKeyType::cmdEnter;
    if (const auto send = record.find("autoSend"); send != record.end() && send->is_boolean())
        profile.autoSend = send->get<bool>();
    if (const auto delay = record.find("autoSendDelay");
        delay != record.end() && delay->is_number() && delay->get<double>() >= 0)
        profile.autoSendDelay = delay->get<double>();
    return profile;
}

std::map<std::string, AppProfile, std::less<>> seededProfiles() {
    std::map<std::string, AppProfile, std::less<>> profiles;
    for (const auto& seed : seeds) {
        AppProfile profile;
        profile.bundleID = seed.bundleID;
        profile.displayName = seed.displayName;
        profile.sendKey = seed.sendKey;
        profile.autoSend = seed.autoSend;
        profiles[profile.bundleID] = profile;
    }
    return profiles;
}

}  // namespace

json encodeProfile(const AppProfile& profile) {
    json record = {{"bundleID", profile.bundleID},
                   {"displayName", profile.displayName},
                   {"sendKey", storedName(profile.sendKey)},
                   {"autoSend", profile.autoSend}};
    if (profile.autoSendDelay)
        record["autoSendDelay"] = *profile.autoSendDelay;
    return record;
}

AppProfileStore::AppProfileStore(UserDefaults& defaults, Log log)
    : defaults_(defaults), log_(std::move(log)) {
    load();
    if (!defaults_.get(seededKey)) {
        // The flag is set last: a start that is cut short between the two seeds again.
        if (resetToDefaults())
            defaults_.set(seededKey, true);
    }
}

void AppProfileStore::load() {
    const auto stored = defaults_.get(defaultsKey);
    if (!stored)
        return;
    if (!stored->is_object()) {
        log_.error("Load failed: the profiles are not a JSON object");
        // The next change would bury them.
        defaults_.set(damagedKey, *stored);
        return;
    }
    Map loaded;
    for (const auto& [bundleID, record] : stored->items()) {
        auto profile = decode(record);
        if (!profile) {
            log_.error("Load failed: the profile of {} is not readable", bundleID);
            defaults_.set(damagedKey, *stored);
            return;
        }
        loaded[bundleID] = std::move(*profile);
    }
    const std::scoped_lock lock(lock_);
    profiles_ = std::move(loaded);
}

bool AppProfileStore::save(const Map& profiles) {
    json record = json::object();
    for (const auto& [bundleID, profile] : profiles)
        record[bundleID] = encodeProfile(profile);
    if (defaults_.set(defaultsKey, std::move(record)))
        return true;
    log_.error("Save failed: the settings file cannot be written");
    return false;
}

std::expected<void, std::string> AppProfileStore::replace(Map profiles) {
    if (!save(profiles))
        return std::unexpected(std::string(
            toTranslate("The profiles could not be saved: the settings file cannot be written. "
                        "Check that the disk is not full and that the file belongs to you.")));
    const std::scoped_lock lock(lock_);
    profiles_ = std::move(profiles);
    return {};
}

std::optional<AppProfile> AppProfileStore::profile(std::string_view bundleID) const {
    const std::scoped_lock lock(lock_);
    const auto found = profiles_.find(bundleID);
    return found == profiles_.end() ? std::nullopt : std::optional(found->second);
}

std::vector<AppProfile> AppProfileStore::all() const {
    const std::scoped_lock lock(lock_);
    std::vector<AppProfile> profiles;
    for (const auto& [bundleID, profile] : profiles_)
        profiles.push_back(profile);
    return profiles;
}

std::expected<void, std::string> AppProfileStore::set(AppProfile profile) {
    if (profile.bundleID.empty())
        return std::unexpected(
            std::string(toTranslate("A profile needs the id of its application.")));
    Map edited;
    {
        const std::scoped_lock lock(lock_);
        edited = profiles_;
    }
    auto key = profile.bundleID;
    edited[std::move(key)] = std::move(profile);
    return replace(std::move(edited));
}

std::expected<void, std::string> AppProfileStore::remove(std::string_view bundleID) {
    Map edited;
    {
        const std::scoped_lock lock(lock_);
        edited = profiles_;
    }
    const auto found = edited.find(bundleID);
    if (found == edited.end())
        return std::unexpected("There is no profile for \"" + std::string(bundleID) +
                               "\". `quillet profiles list` shows all of them.");
    edited.erase(found);
    return replace(std::move(edited));
}

std::expected<void, std::string> AppProfileStore::resetToDefaults() {
    return replace(seededProfiles());
}

}  // namespace quillet
