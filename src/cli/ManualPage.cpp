#include <fmt/format.h>

#include "base/Version.h"
#include "cli/CommandText.h"

namespace quillet {

namespace {

/// Text as the typesetter takes it: a dash that is typed is no hyphen, and no line begins a
/// request.
std::string escaped(std::string_view text) {
    std::string result;
    for (const char c : text) {
        if (c == '\\')
            result += "\\e";
        else if (c == '-')
            result += "\\-";
        else if ((c == '.' || c == '\'') && (result.empty() || result.back() == '\n'))
            result += std::string("\\&") + c;
        else
            result += c;
    }
    return result;
}

std::string joined(const std::vector<std::string>& texts, std::string_view between) {
    return fmt::format("{}", fmt::join(texts, between));
}

/// What stands for the value of an option or in the place of an argument.
std::string placeOf(const OptionText& option, std::string_view name) {
    const auto inner =
        option.kind == ValueKind::choice ? joined(option.choices, "|") : std::string(name);
    return "\\fI" + escaped(inner) + "\\fR";
}

std::string headOf(const OptionText& option) {
    std::vector<std::string> names;
    names.reserve(option.names.size());
    for (const auto& name : option.names)
        names.push_back("\\fB" + escaped(name) + "\\fR");
    auto head = joined(names, ", ");
    if (option.kind != ValueKind::none)
        head += " " + placeOf(option, option.kind == ValueKind::file ? "FILE" : "VALUE");
    return head;
}

std::string argumentsOf(const CommandText& command) {
    std::string line;
    for (const auto& argument : command.arguments) {
        auto place = placeOf(argument, argument.names.front());
        if (argument.isRepeated)
            place += "...";
        line += argument.isRequired ? " " + place : " [" + place + "]";
    }
    return line;
}

std::string paragraph(const std::string& head, const std::string& text) {
    return ".TP\n" + head + "\n" + escaped(text) + "\n";
}

std::string listOf(const CommandText& command) {
    std::string list;
    for (const auto& argument : command.arguments)
        list += paragraph(placeOf(argument, argument.names.front()), argument.summary);
    for (const auto& option : command.options)
        list += paragraph(headOf(option), option.summary);
    return list;
}

void addCommand(std::string& page, const CommandText& command, const std::string& before) {
    const auto name = before + command.name;
    if (!command.commands.empty()) {
        page += ".SS " + escaped(command.summary) + "\n";
        for (const auto& inner : command.commands)
            addCommand(page, inner, name + " ");
        return;
    }
    page += paragraph("\\fB" + escaped(name) + "\\fR" + argumentsOf(command), command.summary);
    page += ".RS\n" + listOf(command) + ".RE\n";
}

}  // namespace

std::string manualPage(const CommandText& program, const std::vector<std::string>& ending) {
    auto page = fmt::format(".TH {} 1 \"\" \"Quillet {}\" \"User Commands\"\n", "QUILLET", version);
    page += ".SH NAME\n" + program.name + " \\- voice dictation from the command line\n";
    page += ".SH SYNOPSIS\n.B " + program.name + "\n[\\fICOMMAND\\fR [\\fIOPTIONS\\fR]]\n";
    page += ".SH DESCRIPTION\n" + escaped(program.summary) + "\n";
    page += ".SH OPTIONS\n" + listOf(program);
    page += ".SH COMMANDS\n";
    for (const auto& command : program.commands) {
        if (command.commands.empty())
            addCommand(page, command, "");
    }
    for (const auto& group : program.commands) {
        if (!group.commands.empty())
            addCommand(page, group, "");
    }
    for (const auto& part : ending) {
        const auto line = part.find('\n');
        page += ".SH " + part.substr(0, line) + "\n" + escaped(part.substr(line + 1)) + "\n";
    }
    return page + ".SH SEE ALSO\n.BR quillet\\-app (1)\n";
}

}  // namespace quillet
