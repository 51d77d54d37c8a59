#pragma once

#include <cstdint>
#include <expected>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "platform/Calendar.h"

namespace quillet {

/// One argument that a tool takes.
struct ToolProperty {
    enum class Type {
        text,
        integer,
        time,    ///< a text that says when
        choice,  ///< a list of some of the choices
    };
    enum class Need { optional, required };
    /// Of an integer; what is outside counts as the nearest inside.
    struct Range {
        std::int64_t least = 0;
        std::int64_t most = 0;
        std::int64_t otherwise = 0;  ///< where none is given
    };

    std::string_view name;
    Type type = Type::text;
    std::string_view description;
    Need need = Need::optional;
    Range range = {};
    std::vector<std::string_view> choices;
};

/// The arguments of one call, as the tool's properties want them.
class ToolArguments {
public:
    /// Arguments that the tool does not know are left out, and so is null. The error is a sentence
    /// for the client that names what is of another type, and what is accepted.
    [[nodiscard]] static std::expected<ToolArguments, std::string> read(
        const nlohmann::json& arguments, std::span<const ToolProperty> properties);

    /// Empty where none was given.
    [[nodiscard]] std::string text(std::string_view name) const;
    [[nodiscard]] std::int64_t integer(std::string_view name) const;
    [[nodiscard]] std::optional<Calendar::UnixTime> time(std::string_view name) const;
    /// Empty where none were given.
    [[nodiscard]] std::vector<std::string> choices(std::string_view name) const;

private:
    using Value =
        std::variant<std::string, std::int64_t, Calendar::UnixTime, std::vector<std::string>>;

    [[nodiscard]] static std::optional<Value> valueOf(const nlohmann::json& given,
                                                      const ToolProperty& property);
    template <class T>
    [[nodiscard]] std::optional<T> value(std::string_view name) const;

    std::map<std::string_view, Value> values_;  // by the properties' names, which outlive it
};

}  // namespace quillet
