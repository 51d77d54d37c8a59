#pragma once

#include <string>
#include <vector>

namespace CLI {
class App;
}

namespace quillet {

/// What a word of the command line may be.
enum class ValueKind { none, text, choice, file };

/// An option, or an argument by its place.
struct OptionText {
    std::vector<std::string>
        names;  ///< "--mode", "-m"; of an argument its one name, without dashes
    ValueKind kind = ValueKind::none;  ///< none: a flag
    std::vector<std::string> choices;
    std::string summary;
    bool isRequired = false;
    bool isRepeated = false;
};

/// A command line as it can be told in manuals and to shells.
struct CommandText {
    std::string name;
    std::string summary;
    std::vector<OptionText> options;
    std::vector<OptionText> arguments;  ///< in their order
    std::vector<CommandText> commands;  ///< empty unless it is a program or a group
};

/// Reads it off a parser; what the help does not show is left out.
[[nodiscard]] CommandText textOf(const CLI::App& parser);

/// The program's page in the system's manual. `ending` stands behind the commands, a paragraph
/// each.
[[nodiscard]] std::string manualPage(const CommandText& program,
                                     const std::vector<std::string>& ending);

// How shells complete the program's command line.
[[nodiscard]] std::string bashCompletions(const CommandText& program);
[[nodiscard]] std::string zshCompletions(const CommandText& program);
[[nodiscard]] std::string fishCompletions(const CommandText& program);

}  // namespace quillet
