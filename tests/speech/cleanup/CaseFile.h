#pragma once

#include <filesystem>
#include <string>
#include <vector>

namespace quillet {

/// One case of a data file: what goes in and what must come out.
struct TextCase {
    std::string title;  ///< with the file's name
    std::string input;  ///< as it stands in the file
    std::string expected;
};

/// All cases under a folder. A case begins with a line "== TITLE"; its input and its expected
/// output are parted by a line "--".
[[nodiscard]] std::vector<TextCase> readCases(const std::filesystem::path& folder);

/// A text with its escapes resolved: \n \t \\ \s (a blank) \x{BYTE} \u{CODEPOINT}.
[[nodiscard]] std::string unescaped(const std::string& text);

/// The value of a line "NAME: VALUE" of an input.
[[nodiscard]] std::string fieldOf(const std::string& input, const std::string& name);

}  // namespace quillet
