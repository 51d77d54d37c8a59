#pragma once

#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>

namespace quillet {

/// Small records of settings and flags, by key, that outlive the program. All of it belongs to the
/// main queue's thread.
class UserDefaults {
public:
    virtual ~UserDefaults() = default;

    /// None when there is no such key.
    [[nodiscard]] virtual std::optional<nlohmann::json> get(std::string_view key) const = 0;
    /// False when it could not be stored; it then holds until the program ends.
    virtual bool set(std::string_view key, nlohmann::json value) = 0;
    virtual bool remove(std::string_view key) = 0;

    /// `changed` is called on the main queue after another process changed the records.
    virtual void onExternalChange(std::function<void()> changed) = 0;
};

}  // namespace quillet
