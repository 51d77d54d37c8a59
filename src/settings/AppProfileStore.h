#pragma once

#include <expected>
#include <map>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/log/Log.h"
#include "platform/UserDefaults.h"
#include "settings/QuilletSettings.h"

namespace quillet {

/// What happens in one application after a dictation.
struct AppProfile {
    std::string bundleID;
    std::string displayName;
    SendKeyType sendKey = SendKeyType::enter;
    bool autoSend = false;
    std::optional<double> autoSendDelay;  ///< seconds; none means the global one
    friend bool operator==(const AppProfile&, const AppProfile&) = default;
};

/// A profile as it is stored: a JSON object whose keys are the names of the fields.
[[nodiscard]] nlohmann::json encodeProfile(const AppProfile& profile);

/// The per-application profiles, seeded once with well-known applications. Reading is thread-safe;
/// changes belong to the main queue's thread.
class AppProfileStore {
public:
    static constexpr std::string_view defaultsKey = "appProfilesV1";
    static constexpr std::string_view seededKey = "appProfilesSeededV1";

    /// Loads the profiles and seeds them on the very first start.
    AppProfileStore(UserDefaults& defaults, Log log);

    [[nodiscard]] std::optional<AppProfile> profile(std::string_view bundleID) const;
    /// All of them, by bundle id.
    [[nodiscard]] std::vector<AppProfile> all() const;

    /// The error of each is a sentence for the user; the profiles are then as they were.
    [[nodiscard]] std::expected<void, std::string> set(AppProfile profile);
    [[nodiscard]] std::expected<void, std::string> remove(std::string_view bundleID);
    [[nodiscard]] std::expected<void, std::string> resetToDefaults();

    /// Reads the profiles again, after another process changed them.
    void load();

private:
    using Map = std::map<std::string, AppProfile, std::less<>>;

    [[nodiscard]] bool save(const Map& profiles);
    [[nodiscard]] std::expected<void, std::string> replace(Map profiles);

    UserDefaults& defaults_;
    Log log_;
    mutable std::mutex lock_;
    Map profiles_;  // guarded by lock_
};

}  // namespace quillet
