#include <gtest/gtest.h>

#include <sstream>

#include "speech/cleanup/CaseFile.h"
#include "speech/cleanup/Punctuation.h"
#include "speech/cleanup/RecognitionPrompt.h"
#include "speech/cleanup/SilenceGuards.h"
#include "speech/cleanup/SnippetMatch.h"
#include "speech/cleanup/SpokenAddresses.h"
#include "speech/cleanup/VocabularyMatcher.h"

namespace quillet {
namespace {

const std::filesystem::path casesFolder =
    std::filesystem::path(QUILLET_TEST_FOLDER) / "speech/cleanup/cases";

std::string silence(const std::string& input) {
    auto prompt = fieldOf(input, "prompt");
    if (prompt == "default")
        prompt = defaultRecognitionPrompt;
    const bool silent = isSilence(fieldOf(input, "text"), prompt, fieldOf(input, "language"));
    return silent ? "silence" : "speech";
}

std::string snippet(const std::string& input) {
    std::vector<Snippet> snippets;
    std::istringstream lines(input);
    for (std::string line; std::getline(lines, line);) {
        const auto arrow = line.find(" => ");
        if (line.starts_with("snippet: "))
            snippets.push_back(
                {"", unescaped(line.substr(9, arrow - 9)), unescaped(line.substr(arrow + 4))});
    }
    const auto* match = matchSnippet(fieldOf(input, "text"), snippets);
    return match == nullptr ? "(none)" : match->text;
}

std::string vocabulary(const std::string& input) {
    std::vector<VocabEntry> entries;
    std::istringstream lines(input);
    for (std::string line; std::getline(lines, line) && !line.starts_with("text:");) {
        const auto arrow = line.find(" => ");
        const auto frequency = line.find(" @");
        VocabEntry entry{unescaped(line.substr(0, arrow)),
                         unescaped(line.substr(arrow + 4, frequency - arrow - 4)), 1, ""};
        if (frequency != std::string::npos)
            entry.frequency = std::stoi(line.substr(frequency + 2));
        entries.push_back(std::move(entry));
    }
    return VocabularyMatcher(entries).apply(fieldOf(input, "text"));
}

struct Operation {
    const char* folder;
    std::string (*apply)(const std::string& input);
};

const Operation operations[] = {
    {"punctuation",
     [](const std::string& text) {
         return normalisePunctuation(unescaped(text), TrailingMarks::keep);
     }},
    {"punctuation-short",
     [](const std::string& text) {
         return normalisePunctuation(unescaped(text), TrailingMarks::drop);
     }},
    {"spacing", [](const std::string& text) { return normaliseSpacing(unescaped(text)); }},
    {"addresses", [](const std::string& text) { return rewriteSpokenAddresses(unescaped(text)); }},
    {"silence", silence},
    {"snippets", snippet},
    {"vocabulary", vocabulary},
};

class TextRules : public ::testing::TestWithParam<Operation> {};

TEST_P(TextRules, DoWhatTheirCasesSay) {
    for (const auto& one : readCases(casesFolder / GetParam().folder))
        EXPECT_EQ(GetParam().apply(one.input), one.expected) << one.title << "\n" << one.input;
}

INSTANTIATE_TEST_SUITE_P(All, TextRules, ::testing::ValuesIn(operations), [](const auto& test) {
    std::string name = test.param.folder;
    std::erase(name, '-');
    return name;
});

}  // namespace
}  // namespace quillet
