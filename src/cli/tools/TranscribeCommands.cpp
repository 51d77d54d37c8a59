#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <nlohmann/json.hpp>

#include "audio/AudioFile.h"
#include "cli/TranscribeOptions.h"
#include "cli/tools/ToolCommands.h"
#include "platform/linux/SteadyScheduler.h"
#include "platform/linux/SystemServices.h"
#include "settings/AppSettings.h"
#include "speech/SpeechClient.h"
#include "speech/SpeechSession.h"
#include "speech/VoskTranscriber.h"

namespace quillet {

namespace {

using nlohmann::json;

constexpr double samplesPerSecond = 16'000;

/// Recognises one file after another with one engine.
class Transcribing {
public:
    explicit Transcribing(CommandContext& context)
        : context_(context),
          scheduler_(context.loop),
          client_(context.http(ServicePurpose::speech), scheduler_, ids_, context.log),
          onDevice_(
              {context.paths.engineFolders, context.paths.models(), context.paths.systemModels},
              context.loop, scheduler_, context.log),
          tasks_(context.loop) {}

    std::expected<std::string, std::string> transcribe(std::vector<std::int16_t> samples) {
        const auto pcm = std::make_shared<const std::vector<std::int16_t>>(std::move(samples));
        SpeechSession session(
            {onDevice_, client_, context_.settings(), scheduler_, tasks_, context_.log, {}},
            SpeechSession::Source::recording, nullptr);
        auto text = context_.loop.run(session.finish(pcm));
        if (!text)
            return std::unexpected(
                fmt::format("{} failed: {}", session.engineName(), text.error().longText()));
        return std::move(text->text);
    }

private:
    CommandContext& context_;
    SteadyScheduler scheduler_;
    KernelIds ids_;
    SpeechClient client_;
    VoskTranscriber onDevice_;
    TaskScope tasks_;
};

ExitCode transcribe(CommandContext& context, const TranscribeOptions& choice) {
    Transcribing transcribing(context);
    json all = json::array();
    ExitCode worst = ExitCode::success;
    for (const auto& file : choice.files) {
        auto samples = readAudioFile(file);
        if (!samples) {
            worst = context.fail(samples.error());
            continue;
        }
        const double seconds = static_cast<double>(samples->size()) / samplesPerSecond;
        const auto text = transcribing.transcribe(std::move(*samples));
        if (!text) {
            worst = context.fail(fmt::format("{}: {}", file, text.error()));
            continue;
        }
        if (context.json)
            all.push_back({{"file", file}, {"seconds", seconds}, {"text", *text}});
        else if (choice.files.size() > 1)
            context.say(fmt::format("{}: {}", file, *text));
        else
            context.say(*text);
    }
    if (context.json)
        context.print(all);
    return worst;
}

std::function<ExitCode()> configure(CLI::App& parser, CommandContext& context) {
    const auto choice = std::make_shared<TranscribeOptions>();
    choice->addTo(parser);
    return [&context, choice] {
        // Only for this command: nothing is saved.
        auto edited = context.settings().record();
        if (!choice->engine.empty())
            edited.sttEngineType = choice->engine == storedName(STTEngineType::cloud)
                                       ? STTEngineType::cloud
                                       : STTEngineType::apple;
        if (!choice->language.empty())
            edited.selectedLanguage = choice->language;
        context.settings().use(std::move(edited));
        return transcribe(context, *choice);
    };
}

}  // namespace

Command transcribeCommand() {
    return {"", "transcribe", "Write down what is said in audio files", configure};
}

}  // namespace quillet
