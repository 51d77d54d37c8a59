#include "cli/CommandText.h"

#include <CLI/CLI.hpp>
#include <ranges>

namespace quillet {

namespace {

/// The choices of "TEXT:{enter,cmdEnter}".
std::vector<std::string> choicesIn(const std::string& type) {
    const auto begin = type.find('{');
    const auto end = type.find('}', begin == std::string::npos ? 0 : begin);
    if (begin == std::string::npos || end == std::string::npos)
        return {};
    return CLI::detail::split(type.substr(begin + 1, end - begin - 1), ',');
}

ValueKind kindOf(const CLI::Option& option, const OptionText& text) {
    if (option.get_items_expected_max() == 0)
        return ValueKind::none;
    if (!text.choices.empty())
        return ValueKind::choice;
    return option.get_type_name().starts_with("FILE") ? ValueKind::file : ValueKind::text;
}

OptionText textOf(const CLI::Option& option) {
    OptionText text;
    for (const auto& name : option.get_lnames())
        text.names.push_back("--" + name);
    for (const auto& name : option.get_snames())
        text.names.push_back("-" + name);
    if (option.get_positional())
        text.names = {option.get_single_name()};
    text.choices = choicesIn(option.get_type_name());
    text.kind = kindOf(option, text);
    text.summary = option.get_description();
    text.isRequired = option.get_required();
    text.isRepeated = option.get_items_expected_max() > 1;
    return text;
}

}  // namespace

CommandText textOf(const CLI::App& parser) {
    CommandText text{parser.get_name(), parser.get_description(), {}, {}, {}};
    for (const auto* option : parser.get_options()) {
        if (option->get_group().empty())
            continue;
        auto& list = option->get_positional() ? text.arguments : text.options;
        list.push_back(textOf(*option));
    }
    for (const auto* command : parser.get_subcommands({})) {
        if (!command->get_group().empty())
            text.commands.push_back(textOf(*command));
    }
    return text;
}

}  // namespace quillet
