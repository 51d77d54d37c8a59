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
    using Change =
        std::function<std::optional<nlohmann::json>(std::optional<nlohmann::json> present)>;

    virtual ~UserDefaults() = default;

    /// None when there is no such key.
    [[nodiscard]] virtual std::optional<nlohmann::json> get(std::string_view key) const = 0;
    /// False when it could not be stored; it then holds until the program ends.
    virtual bool set(std::string_view key, nlohmann::json value) = 0;
    virtual bool remove(std::string_view key) = 0;
    /// Gives a key the value that `change` makes of the one that it has at that moment, whoever
    /// gave it; none: there is no such key, or shall be none. For a value that several processes
    /// change parts of: nobody's part is lost. `change` is called once, before this returns. False
    /// as for `set`.
    virtual bool edit(std::string_view key, const Change& change) = 0;

    /// `changed` is called on the main queue after another process changed the records.
    virtual void onExternalChange(std::function<void()> changed) = 0;
};

}  // namespace quillet
