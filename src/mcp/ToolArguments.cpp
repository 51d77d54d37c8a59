#include "mcp/ToolArguments.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "mcp/ToolTime.h"

namespace quillet {

using nlohmann::json;

namespace {

/// A whole number, be it written as 20 or as 20.0.
std::optional<std::int64_t> integerOf(const json& given, const ToolProperty::Range& range) {
    if (!given.is_number())
        return std::nullopt;
    // Nothing that a range holds is too large to be exact.
    const auto number = given.get<double>();
    if (std::trunc(number) != number)
        return std::nullopt;
    return static_cast<std::int64_t>(
        std::clamp(number, static_cast<double>(range.least), static_cast<double>(range.most)));
}

std::optional<std::vector<std::string>> choicesOf(const json& given,
                                                  const std::vector<std::string_view>& choices) {
    if (!given.is_array())
        return std::nullopt;
    std::vector<std::string> chosen;
    for (const auto& one : given) {
        if (!one.is_string() ||
            std::ranges::find(choices, one.get_ref<const std::string&>()) == choices.end())
            return std::nullopt;
        if (std::ranges::find(chosen, one.get_ref<const std::string&>()) == chosen.end())
            chosen.push_back(one.get<std::string>());
    }
    return chosen;
}

std::string_view accepted(ToolProperty::Type type) {
    switch (type) {
        case ToolProperty::Type::text:
            return "a string";
        case ToolProperty::Type::integer:
            return "an integer";
        case ToolProperty::Type::time:
            return "an ISO 8601 time like 2026-10-13T09:00:00Z";
        case ToolProperty::Type::choice:
            return "an array of these strings: ";
    }
    return {};
}

}  // namespace

std::optional<ToolArguments::Value> ToolArguments::valueOf(const json& given,
                                                           const ToolProperty& property) {
    const auto* text = given.get_ptr<const json::string_t*>();
    switch (property.type) {
        case ToolProperty::Type::text:
            return text != nullptr ? std::optional<Value>(*text) : std::nullopt;
        case ToolProperty::Type::integer:
            return integerOf(given, property.range);
        case ToolProperty::Type::time:
            return text != nullptr ? std::optional<Value>(timeOfIso(*text)) : std::nullopt;
        case ToolProperty::Type::choice:
            return choicesOf(given, property.choices);
    }
    return std::nullopt;
}

std::expected<ToolArguments, std::string> ToolArguments::read(
    const json& arguments, std::span<const ToolProperty> properties) {
    ToolArguments read;
    for (const auto& property : properties) {
        const auto given = arguments.find(property.name);
        const bool isGiven = given != arguments.end() && !given->is_null();
        if (!isGiven && property.type == ToolProperty::Type::integer)
            read.values_.emplace(property.name, property.range.otherwise);
        if (!isGiven)
            continue;
        auto value = valueOf(*given, property);
        if (!value)
            return std::unexpected(fmt::format("'{}' must be {}{}", property.name,
                                               accepted(property.type),
                                               fmt::join(property.choices, ", ")));
        read.values_.emplace(property.name, std::move(*value));
    }
    return read;
}

template <class T>
std::optional<T> ToolArguments::value(std::string_view name) const {
    const auto found = values_.find(name);
    return found == values_.end() ? std::nullopt : std::optional(std::get<T>(found->second));
}

std::string ToolArguments::text(std::string_view name) const {
    return value<std::string>(name).value_or("");
}

std::int64_t ToolArguments::integer(std::string_view name) const {
    return value<std::int64_t>(name).value_or(0);
}

std::optional<Calendar::UnixTime> ToolArguments::time(std::string_view name) const {
    return value<Calendar::UnixTime>(name);
}

std::vector<std::string> ToolArguments::choices(std::string_view name) const {
    return value<std::vector<std::string>>(name).value_or(std::vector<std::string>());
}

}  // namespace quillet
