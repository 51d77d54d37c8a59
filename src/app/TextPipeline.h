#pragma once

#include <asio/awaitable.hpp>
#include <optional>
#include <string>
#include <vector>

#include "app/HotkeyMode.h"
#include "base/log/Log.h"
#include "refine/LLMRefiner.h"
#include "settings/AppSettings.h"
#include "speech/cleanup/VocabularyRules.h"

namespace quillet {

/// From what was heard to what is inserted: cleaned up by rules, then, as the intent and the output
/// mode ask for it, rewritten by the language model.
///
/// Belongs to the main queue's thread; the rules, which take their time over long texts, run on the
/// vocabulary's queue. It never fails: where the model does, the cleaned transcript is what comes
/// out.
class TextPipeline {
public:
    struct Services {
        AppSettings& settings;
        VocabularyDB& vocabulary;
        LLMRefiner& refiner;
        Log log;
    };

    /// What was heard, and what is known about the moment.
    struct Heard {
        std::string raw;
        VoiceIntent intent = VoiceIntent::dictate;
        std::optional<std::string> selection;  ///< what a command rewrites
        DictationPrompt::Situation situation;
        std::vector<std::string> screenTerms;  ///< names and terms that the window shows
        std::string beforeCursor;
    };

    struct Written {
        enum class Way {
            snippet,  ///< saved text, as it is
            rules,    ///< without the model
            model,    ///< the model has seen it
            offline,  ///< the model was needed and failed: the cleaned transcript
        };
        std::string text;
        Way way = Way::rules;
    };

    explicit TextPipeline(Services services);

    [[nodiscard]] asio::awaitable<Written> write(Heard heard);

    /// Does what can be done while the user still speaks: reads the vocabulary, and opens the
    /// connection to the model, if a dictation with this intent will need it.
    [[nodiscard]] asio::awaitable<void> prepare(VoiceIntent intent);

private:
    asio::awaitable<Written> rewrite(std::string cleaned, Heard heard);
    asio::awaitable<Written> tidied(std::string cleaned, Heard heard);
    asio::awaitable<Written> obeyed(std::string cleaned, Heard heard);

    Services services_;
    VocabularyRules vocabulary_;
};

}  // namespace quillet
