#include "platform/linux/AccessibilityProtocol.h"

#include <fmt/format.h>

#include <array>
#include <nlohmann/json.hpp>
#include <sstream>

namespace quillet {

namespace {

using Extent = FocusedField::Extent;
using Security = FocusedField::Security;
using Selecting = FocusedField::Selecting;
using Selection = FocusedField::Selection;
using Surroundings = FocusedField::Surroundings;
using nlohmann::json;

template <class T>
struct Name {
    T value;
    std::string_view name;
};

constexpr std::array securityNames{Name{Security::unknown, "unknown"},
                                   Name{Security::secure, "secure"},
                                   Name{Security::plain, "plain"}};
constexpr std::array selectingNames{
    Name{Selecting::unreadable, "unreadable"}, Name{Selecting::selected, "selected"},
    Name{Selecting::atCaret, "at caret"}, Name{Selecting::notThere, "not there"}};

json named(const auto& names, auto value) {
    for (const auto& [one, name] : names) {
        if (one == value)
            return name;
    }
    return nullptr;
}

/// The first of the names is for what has none of them.
auto valueNamed(const auto& names, const json& name) {
    for (const auto& one : names) {
        if (name == one.name)
            return one.value;
    }
    return names.front().value;
}

json toJson(Security security) {
    return named(securityNames, security);
}
void fromJson(const json& from, Security& security) {
    security = valueNamed(securityNames, from);
}

json toJson(Selecting selecting) {
    return named(selectingNames, selecting);
}
void fromJson(const json& from, Selecting& selecting) {
    selecting = valueNamed(selectingNames, from);
}

json toJson(const Selection& selection) {
    switch (selection.kind) {
        case Selection::Kind::nothing:
            return "";
        case Selection::Kind::text:
            return selection.text;
        case Selection::Kind::tooLong:
            return true;
        case Selection::Kind::unknown:
            return nullptr;
    }
    return nullptr;
}
void fromJson(const json& from, Selection& selection) {
    using Kind = Selection::Kind;
    if (from.is_string()) {
        auto text = from.get<std::string>();
        const auto kind = text.empty() ? Kind::nothing : Kind::text;
        selection = {kind, std::move(text)};
    } else {
        selection = {from == true ? Kind::tooLong : Kind::unknown, {}};
    }
}

json toJson(const std::optional<Surroundings>& around) {
    if (!around)
        return nullptr;
    return {{"field", around->field},
            {"before", around->before},
            {"after", around->after},
            {"fromStart", around->fromStart},
            {"toEnd", around->toEnd}};
}
void fromJson(const json& from, std::optional<Surroundings>& around) {
    around = Surroundings{from.at("field").get<std::string>(), from.at("before").get<std::string>(),
                          from.at("after").get<std::string>(), from.at("fromStart").get<bool>(),
                          from.at("toEnd").get<bool>()};
}

json toJson(const std::optional<DesktopRect>& rect) {
    if (!rect)
        return nullptr;
    return {rect->x, rect->y, rect->width, rect->height};
}
void fromJson(const json& from, std::optional<DesktopRect>& rect) {
    rect = DesktopRect{from.at(0).get<int>(), from.at(1).get<int>(), from.at(2).get<int>(),
                       from.at(3).get<int>()};
}

json toJson(std::size_t characters) {
    return characters;
}
void fromJson(const json& from, std::size_t& characters) {
    characters = std::min(from.get<std::size_t>(), AccessibilityProtocol::mostCharacters);
}

json toJson(const Extent& extent) {
    return {extent.before, extent.after};
}
void fromJson(const json& from, Extent& extent) {
    fromJson(from.at(0), extent.before);
    fromJson(from.at(1), extent.after);
}

json toJson(const std::string& text) {
    return text;
}
void fromJson(const json& from, std::string& text) {
    text = from.get<std::string>();
}

/// What is not known.
template <class T>
T unknown() {
    return T{};
}
template <>
Security unknown() {
    return Security::unknown;
}
template <>
Selecting unknown() {
    return Selecting::unreadable;
}

}  // namespace

template <class T>
std::string AccessibilityProtocol::encoded(const T& value) {
    return toJson(value).dump(-1, ' ', false, json::error_handler_t::replace);
}

template <class T>
T AccessibilityProtocol::decoded(const std::string& text) {
    try {
        T value = unknown<T>();
        fromJson(json::parse(text), value);
        return value;
    } catch (const json::exception&) {
        return unknown<T>();
    }
}

namespace {

using Answering = asio::awaitable<std::string> (*)(FocusedField&, pid_t, std::string argument);

template <auto method, class... Argument>
asio::awaitable<std::string> answer(FocusedField& field, pid_t application, std::string argument) {
    co_return AccessibilityProtocol::encoded(co_await (field.*method)(
        application, AccessibilityProtocol::decoded<Argument>(argument)...));
}

struct Row {
    std::string_view name;
    Answering answer;
};

/// In the order of `Question`.
constexpr std::array<Row, 6> questions{{
    {"security", answer<&FocusedField::security>},
    {"selection", answer<&FocusedField::selection>},
    {"surroundings", answer<&FocusedField::surroundings, Extent>},
    {"select", answer<&FocusedField::select, std::string>},
    {"visibleText", answer<&FocusedField::visibleText, std::size_t>},
    {"caretRect", answer<&FocusedField::caretRect>},
}};

}  // namespace

std::string AccessibilityProtocol::asked(std::uint64_t number, pid_t application, Question question,
                                         std::string_view argument) {
    return fmt::format("{} {} {} {}", number, application,
                       questions.at(static_cast<std::size_t>(question)).name, argument);
}

asio::awaitable<std::string> AccessibilityProtocol::answered(FocusedField& field,
                                                             std::string line) {
    std::istringstream words(std::move(line));
    std::uint64_t number = 0;
    pid_t application = 0;
    std::string name;
    std::string argument;
    words >> number >> application >> name;
    std::getline(words, argument);
    const auto* const row = std::ranges::find(questions, name, &Row::name);
    std::string text;
    if (row != questions.end())
        text = co_await row->answer(field, application, std::move(argument));
    if (text.empty() || text.size() > longestLine - 32)
        text = "null";
    co_return fmt::format("{} {}", number, text);
}

template std::string AccessibilityProtocol::encoded(const FocusedField::Extent&);
template std::string AccessibilityProtocol::encoded(const std::size_t&);
template std::string AccessibilityProtocol::encoded(const std::string&);
template Security AccessibilityProtocol::decoded(const std::string&);
template Selection AccessibilityProtocol::decoded(const std::string&);
template std::optional<Surroundings> AccessibilityProtocol::decoded(const std::string&);
template Selecting AccessibilityProtocol::decoded(const std::string&);
template std::optional<DesktopRect> AccessibilityProtocol::decoded(const std::string&);
template std::string AccessibilityProtocol::decoded(const std::string&);

}  // namespace quillet
