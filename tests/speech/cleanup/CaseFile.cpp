#include "speech/cleanup/CaseFile.h"

#include <gtest/gtest.h>
#include <unicode/unistr.h>

#include <algorithm>
#include <fstream>

namespace quillet {

namespace {

std::string withoutLastLineFeed(std::string text) {
    if (text.ends_with('\n'))
        text.pop_back();
    return text;
}

void readFile(const std::filesystem::path& file, std::vector<TextCase>& cases) {
    std::ifstream stream(file);
    std::string line;
    std::string* part = nullptr;
    while (std::getline(stream, line)) {
        if (line.starts_with("== ")) {
            cases.push_back({file.filename().string() + ": " + line.substr(3), {}, {}});
            part = &cases.back().input;
        } else if (line == "--" && part != nullptr) {
            part = &cases.back().expected;
        } else if (part != nullptr) {
            *part += line + "\n";
        }
    }
}

}  // namespace

std::string unescaped(const std::string& text) {
    std::string result;
    for (std::size_t i = 0; i < text.size(); ++i) {
        if (text[i] != '\\' || i + 1 == text.size()) {
            result += text[i];
            continue;
        }
        const char kind = text[++i];
        if ((kind == 'x' || kind == 'u') && i + 1 < text.size() && text[i + 1] == '{') {
            const auto end = text.find('}', i);
            const auto value = std::stoi(text.substr(i + 2, end - i - 2), nullptr, 16);
            if (kind == 'x')
                result += static_cast<char>(value);
            else
                icu::UnicodeString(static_cast<UChar32>(value)).toUTF8String(result);
            i = end;
        } else if (kind == 'n' || kind == 't' || kind == 's') {
            result += kind == 'n' ? '\n' : kind == 't' ? '\t' : ' ';
        } else if (kind == '\\') {
            result += '\\';
        } else {
            result += '\\';
            result += kind;
        }
    }
    return result;
}

std::vector<TextCase> readCases(const std::filesystem::path& folder) {
    std::vector<std::filesystem::path> files;
    for (const auto& entry : std::filesystem::directory_iterator(folder))
        files.push_back(entry.path());
    std::ranges::sort(files);
    std::vector<TextCase> cases;
    for (const auto& file : files)
        readFile(file, cases);
    for (auto& one : cases) {
        // Blank lines before the next case part it from this one.
        while (one.expected.ends_with("\n\n"))
            one.expected.pop_back();
        one.input = withoutLastLineFeed(one.input);
        one.expected = unescaped(withoutLastLineFeed(one.expected));
    }
    EXPECT_FALSE(cases.empty()) << folder;
    return cases;
}

std::string fieldOf(const std::string& input, const std::string& name) {
    const auto at = ("\n" + input).find("\n" + name + ":");
    if (at == std::string::npos)
        return {};
    auto begin = at + name.size() + 1;
    if (begin < input.size() && input[begin] == ' ')
        ++begin;
    // The last field may run over several lines.
    const auto end = name == "text" ? std::string::npos : input.find('\n', begin);
    return unescaped(input.substr(begin, end - begin));
}

}  // namespace quillet
