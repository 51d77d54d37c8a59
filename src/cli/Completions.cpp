#include <fmt/format.h>

#include "cli/CommandText.h"

namespace quillet {

namespace {

/// A text between single quotes, as the shells take it.
std::string quoted(std::string_view text, std::string_view quoteWithin) {
    std::string result = "'";
    for (const char c : text) {
        if (c == '\'')
            result += quoteWithin;
        else
            result += c;
    }
    return result + "'";
}

/// Every command that does something, with the words that lead to it.
struct Leaf {
    std::string words;
    const CommandText* command;
};

void collectLeaves(const CommandText& command, const std::string& words,
                   std::vector<Leaf>& leaves) {
    if (command.commands.empty())
        leaves.push_back({words, &command});
    for (const auto& inner : command.commands)
        collectLeaves(inner, words.empty() ? inner.name : words + " " + inner.name, leaves);
}

std::vector<Leaf> leavesOf(const CommandText& program) {
    std::vector<Leaf> leaves;
    for (const auto& command : program.commands)
        collectLeaves(command, command.name, leaves);
    return leaves;
}

template <class List>
std::string namesOf(const List& list) {
    std::string names;
    for (const auto& one : list)
        names += (names.empty() ? "" : " ") + one.name;
    return names;
}

std::string namesOf(const std::vector<OptionText>& options) {
    std::string names;
    for (const auto& option : options)
        names += fmt::format("{}{}", names.empty() ? "" : " ", fmt::join(option.names, " "));
    return names;
}

/// The first argument is what is completed; none of the commands has two of fixed choices.
const OptionText* argumentOf(const CommandText& command) {
    return command.arguments.empty() ? nullptr : &command.arguments.front();
}

std::string bashValues(const OptionText& option) {
    switch (option.kind) {
        case ValueKind::choice:
            return fmt::format("words=\"{}\"", fmt::join(option.choices, " "));
        case ValueKind::file:
            return "files=1";
        case ValueKind::text:
        case ValueKind::none:
            break;
    }
    return ":";
}

std::string bashLeaf(const Leaf& leaf) {
    std::string text = fmt::format("    \"{}\")\n      case $previous in\n", leaf.words);
    for (const auto& option : leaf.command->options) {
        if (option.kind != ValueKind::none)
            text += fmt::format("        {}) {} ;;\n", fmt::join(option.names, "|"),
                                bashValues(option));
    }
    const auto* argument = argumentOf(*leaf.command);
    text += fmt::format("        *) words=\"{}\"", namesOf(leaf.command->options));
    if (argument != nullptr && argument->kind == ValueKind::choice)
        text += fmt::format("; words+=\" {}\"", fmt::join(argument->choices, " "));
    if (argument != nullptr && argument->kind == ValueKind::file)
        text += "; files=1";
    return text + " ;;\n      esac ;;\n";
}

std::string zshValues(const OptionText& option) {
    switch (option.kind) {
        case ValueKind::choice:
            return fmt::format(":value:({})", fmt::join(option.choices, " "));
        case ValueKind::file:
            return ":file:_files";
        case ValueKind::text:
            return ":value:";
        case ValueKind::none:
            break;
    }
    return "";
}

/// What stands within brackets or before a colon must not hold them.
std::string zshPlain(std::string_view text) {
    std::string plain;
    for (const char c : text) {
        if (c == '[' || c == ']' || c == ':' || c == '\\')
            plain += '\\';
        plain += c;
    }
    return plain;
}

constexpr std::string_view zshQuote = R"('\'')";

std::string zshArguments(const CommandText& command, std::string_view indent) {
    std::string text = "_arguments";
    for (const auto& option : command.options) {
        for (const auto& name : option.names)
            text += fmt::format(
                " \\\n{}  {}", indent,
                quoted(fmt::format("{}[{}]{}", name, zshPlain(option.summary), zshValues(option)),
                       zshQuote));
    }
    for (const auto& argument : command.arguments) {
        const auto values = argument.kind == ValueKind::text ? ":" : zshValues(argument).substr(1);
        const auto end = values.substr(values.find(':'));
        text += fmt::format(" \\\n{}  {}", indent,
                            quoted(fmt::format("{}:{}{}", argument.isRepeated ? "*" : "",
                                               zshPlain(argument.names.front()), end),
                                   zshQuote));
    }
    return text;
}

std::string zshList(const std::vector<CommandText>& commands) {
    std::string list;
    for (const auto& command : commands)
        list += fmt::format("    {}\n",
                            quoted(command.name + ":" + zshPlain(command.summary), zshQuote));
    return list;
}

std::string fishValues(const OptionText& option) {
    switch (option.kind) {
        case ValueKind::choice:
            return fmt::format(" -x -a \"{}\"", fmt::join(option.choices, " "));
        case ValueKind::file:
            return " -r -F";
        case ValueKind::text:
            return " -x";
        case ValueKind::none:
            break;
    }
    return "";
}

std::string fishText(std::string_view text) {
    return quoted(text, "\\'");
}

std::string fishOption(const OptionText& option, std::string_view when) {
    std::string line = fmt::format("complete -c quillet -n \"{}\"", when);
    for (const std::string_view name : option.names) {
        if (name.starts_with("--"))
            line += fmt::format(" -l {}", name.substr(2));
        else
            line += fmt::format(" -s {}", name.substr(1));
    }
    return line + fishValues(option) + " -d " + fishText(option.summary) + "\n";
}

std::string fishLeaf(const Leaf& leaf) {
    const auto when = "__quillet_stands " + leaf.words;
    std::string text;
    for (const auto& option : leaf.command->options)
        text += fishOption(option, when);
    const auto* argument = argumentOf(*leaf.command);
    if (argument == nullptr)
        return text;
    if (argument->kind == ValueKind::choice)
        text += fmt::format("complete -c quillet -n \"{}\" -a \"{}\"\n", when,
                            fmt::join(argument->choices, " "));
    if (argument->kind == ValueKind::file)
        text += fmt::format("complete -c quillet -n \"{}\" -F\n", when);
    return text;
}

}  // namespace

std::string bashCompletions(const CommandText& program) {
    std::string text =
        "# bash completion for quillet\n"
        "_quillet() {\n"
        "  local current=${COMP_WORDS[COMP_CWORD]} previous=${COMP_WORDS[COMP_CWORD-1]}\n"
        "  local words='' files='' first=${COMP_WORDS[1]} path=${COMP_WORDS[1]}\n"
        "  COMPREPLY=()\n";
    text += fmt::format(
        "  if [ \"$COMP_CWORD\" = 1 ]; then\n"
        "    mapfile -t COMPREPLY < <(compgen -W \"{} {}\" -- \"$current\")\n"
        "    return\n"
        "  fi\n"
        "  case $first in\n",
        namesOf(program.commands), namesOf(program.options));
    for (const auto& group : program.commands) {
        if (!group.commands.empty())
            text += fmt::format(
                "    {}) if [ \"$COMP_CWORD\" = 2 ]; then path=\"$first -\"; words=\"{} {}\"\n"
                "      else path=\"$first ${{COMP_WORDS[2]}}\"; fi ;;\n",
                group.name, namesOf(group.commands), namesOf(group.options));
    }
    text += "  esac\n  case $path in\n";
    for (const auto& leaf : leavesOf(program))
        text += bashLeaf(leaf);
    return text +
           "  esac\n"
           "  mapfile -t COMPREPLY < <(compgen -W \"$words\" -- \"$current\")\n"
           "  if [ -n \"$files\" ]; then\n"
           "    compopt -o filenames 2>/dev/null\n"
           "    mapfile -t -O ${#COMPREPLY[@]} COMPREPLY < <(compgen -f -- \"$current\")\n"
           "  fi\n"
           "}\n"
           "complete -F _quillet quillet\n";
}

std::string zshCompletions(const CommandText& program) {
    std::string text =
        "#compdef quillet\n\n"
        "_quillet() {\n"
        "  local -a commands\n"
        "  local line state\n"
        "  " +
        zshArguments({"", "", program.options, {}, {}}, "  ") +
        " \\\n    '1: :->command' '*:: :->rest' && return\n"
        "  if [[ $state = command ]]; then\n"
        "    commands=(\n" +
        zshList(program.commands) +
        "    )\n"
        "    _describe command commands\n"
        "    return\n"
        "  fi\n"
        "  case $line[1] in\n";
    for (const auto& command : program.commands) {
        if (command.commands.empty())
            text += "    " + command.name + ")\n      " + zshArguments(command, "      ") + " ;;\n";
        else
            text += "    " + command.name + ") _quillet_" + command.name + " ;;\n";
    }
    text += "  esac\n}\n";
    for (const auto& group : program.commands) {
        if (group.commands.empty())
            continue;
        text += "\n_quillet_" + group.name +
                "() {\n"
                "  local -a commands\n"
                "  local line state\n"
                "  _arguments '1: :->command' '*:: :->rest' && return\n"
                "  if [[ $state = command ]]; then\n"
                "    commands=(\n" +
                zshList(group.commands) +
                "    )\n"
                "    _describe command commands\n"
                "    return\n"
                "  fi\n"
                "  case $line[1] in\n";
        for (const auto& command : group.commands)
            text += "    " + command.name + ")\n      " + zshArguments(command, "      ") + " ;;\n";
        text += "  esac\n}\n";
    }
    return text + "\n_quillet \"$@\"\n";
}

std::string fishCompletions(const CommandText& program) {
    std::string text =
        "# fish completion for quillet\n"
        "function __quillet_stands --description 'Whether the command line begins like this'\n"
        "  set -l typed (commandline -opc)\n"
        "  test (count $typed) -gt (count $argv); or return 1\n"
        "  for place in (seq (count $argv))\n"
        "    set -l at (math $place + 1)\n"
        "    test \"$typed[$at]\" = \"$argv[$place]\"; or return 1\n"
        "  end\n"
        "end\n"
        "function __quillet_needs --description 'Whether the next word is the one behind these'\n"
        "  test (count (commandline -opc)) -eq (math (count $argv) + 1); or return 1\n"
        "  __quillet_stands $argv\n"
        "end\n"
        "complete -c quillet -f\n";
    for (const auto& option : program.options)
        text += fishOption(option, "__fish_use_subcommand");
    for (const auto& command : program.commands) {
        text += fmt::format("complete -c quillet -n __fish_use_subcommand -a {} -d {}\n",
                            command.name, fishText(command.summary));
        for (const auto& inner : command.commands)
            text += fmt::format("complete -c quillet -n \"__quillet_needs {}\" -a {} -d {}\n",
                                command.name, inner.name, fishText(inner.summary));
    }
    for (const auto& leaf : leavesOf(program))
        text += fishLeaf(leaf);
    return text;
}

}  // namespace quillet
