#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

/// The bodies of chat-completions requests: what a language model is told. Pure; nothing is sent.
/// What is known about the moment goes in as it is, also where it looks like a delimiter: it is
/// data.
namespace quillet::DictationPrompt {

/// How far a rewrite may go: smart tidies a message, polish also gives it shape.
enum class CleanupStyle { smart, polish };

/// The moment of a dictation, as far as it is known.
struct Situation {
    std::string app;                  ///< display name of the focused application
    std::string window;               ///< title of its focused window
    std::string screen;               ///< text around the field
    std::vector<std::string> recent;  ///< what was dictated just before, oldest first

    [[nodiscard]] bool empty() const;
};

/// A situation as a prompt shows it.
[[nodiscard]] std::string situationText(const Situation& situation);

struct Cleanup {
    std::string model;
    CleanupStyle style = CleanupStyle::smart;
    std::string text;
    std::vector<std::string> vocabulary;
    std::string profile;  ///< what is remembered of the user
    Situation situation;
    std::string beforeCursor;  ///< what stands in the field already
};
[[nodiscard]] nlohmann::json cleanupRequest(const Cleanup& cleanup);

struct Command {
    std::string model;
    std::string instruction;
    std::optional<std::string> selection;  ///< none: the text is written from nothing
    std::string beforeCursor;
};
[[nodiscard]] nlohmann::json commandRequest(const Command& command);

struct Translation {
    std::string model;
    std::string text;
    std::string targetLanguage;  ///< its name, as the prompt says it
};
[[nodiscard]] nlohmann::json translateRequest(const Translation& translation);

/// One user message, for one-off jobs.
[[nodiscard]] nlohmann::json plainRequest(std::string_view model, std::string_view text,
                                          int maxTokens);

/// The body as its model wants it: reasoning switched off or kept short, and no temperature where
/// none is taken. Every body goes through this once, when it is sent.
[[nodiscard]] nlohmann::json applyModelQuirks(nlohmann::json body);

}  // namespace quillet::DictationPrompt
