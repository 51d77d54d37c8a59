#include <fmt/format.h>
#include <CLI/CLI.hpp>
#include <iostream>
#include <iterator>
#include <nlohmann/json.hpp>

#include "base/text/Text.h"
#include "cli/Command.h"
#include "platform/linux/SteadyScheduler.h"
#include "platform/linux/SystemServices.h"
#include "refine/LLMRefiner.h"
#include "settings/AppSettings.h"
#include "settings/CloudflareAccount.h"
#include "speech/SpeechClient.h"
#include "speech/SpeechServer.h"
#include "speech/cleanup/Punctuation.h"
#include "store/VocabularyDB.h"

namespace quillet {

namespace {

// --- Connections ---------------------------------------------------------------------------------

SpeechClient::ConnectionReport testSpeech(CommandContext& context) {
    auto& settings = context.settings();
    const auto& record = settings.record();
    if (record.sttEndpoint.empty())
        return {false, "No speech server is set. Enter its address as sttEndpoint."};
    const auto address =
        resolvedAddress(record.sttEndpoint, record.cloudflareAccount).value_or(record.sttEndpoint);
    const auto key =
        context.loop.run(settings.secretFor(std::string(speechKeyName(address)), address));
    SteadyScheduler scheduler(context.loop);
    KernelIds ids;
    SpeechClient client(context.http(ServicePurpose::speech), scheduler, ids, context.log);
    auto report = context.loop.run(client.testConnection(address, key.value_or("")));
    // A server that needs no key answers all the same.
    if (!report.reachable && !key)
        report.sentence += fmt::format(" ({})", explanation(key.error()));
    return report;
}

LLMRefiner::ConnectionReport testLanguageModel(CommandContext& context) {
    LLMRefiner refiner(
        {context.http(ServicePurpose::languageModel), context.settings(), {}, context.log});
    return context.loop.run(refiner.testConnection());
}

ExitCode tell(CommandContext& context, bool reachable, const std::string& sentence) {
    if (context.json)
        context.print({{"reachable", reachable}, {"sentence", sentence}});
    else if (reachable)
        context.say(sentence);
    else
        context.fail(sentence);
    return reachable ? ExitCode::success : ExitCode::failed;
}

std::function<ExitCode()> configureTest(CLI::App& parser, CommandContext& context) {
    const auto service = std::make_shared<std::string>();
    parser.add_option("service", *service, "stt (the speech server) or llm (the language model)")
        ->required()
        ->check(CLI::IsMember({"stt", "llm"}));
    return [&context, service] {
        if (*service == "stt") {
            const auto report = testSpeech(context);
            return tell(context, report.reachable, report.sentence);
        }
        const auto report = testLanguageModel(context);
        return tell(context, report.reachable, report.sentence);
    };
}

// --- The filter ----------------------------------------------------------------------------------

struct Job {
    std::string mode;  ///< empty: as the settings say
    bool translates = false;
    std::string language;  ///< of the translation; empty: as the settings say
    std::optional<std::string> instruction;
};

/// A text that may always be printed, and why it is not the model's.
struct Answer {
    std::string text;
    std::string why;
};

Answer answerOf(LLMRefiner::Reply reply, const std::string& input) {
    if (reply)
        return {std::move(*reply), ""};
    const auto advice = remedy(reply.error());
    return {input, advice.empty() ? reply.error().message
                                  : fmt::format("{}: {}", reply.error().message, advice)};
}

Answer tidied(CommandContext& context, LLMRefiner& refiner, const Job& job,
              const std::string& input) {
    auto mode = context.settings().record().effectiveOutputMode();
    if (!job.mode.empty())
        mode = job.mode == storedName(DictationOutputMode::polish) ? DictationOutputMode::polish
                                                                   : DictationOutputMode::smart;
    if (mode == DictationOutputMode::raw)
        return {input,
                "The output mode is raw, which leaves words as they are. Give --mode smart or "
                "--mode polish."};
    if (!refiner.isConfigured())
        return answerOf(std::unexpected(LLMError::notConfigured()), input);
    auto refined = context.loop.run(refiner.refine(input, mode, {}, ""));
    if (refined.outcome == LLMRefiner::Outcome::rejected)
        refined.why = "The rewrite was refused: " + refined.why;
    return {std::move(refined.text), std::move(refined.why)};
}

Answer answered(CommandContext& context, const Job& job, const std::string& input) {
    VocabularyDB vocabulary({context.paths.vocabularyDatabase(), context.paths.legacyDictionary()},
                            context.log, nullptr);
    auto remember = [&vocabulary](int limit) -> asio::awaitable<LLMRefiner::Memory> {
        auto terms = co_await vocabulary.topCorrected(limit);
        co_return LLMRefiner::Memory{std::move(terms), {}};
    };
    LLMRefiner refiner({context.http(ServicePurpose::languageModel), context.settings(),
                        std::move(remember), context.log});
    const bool blank = trimmed(input).empty();
    if (job.instruction) {
        const auto selection = blank ? std::nullopt : std::optional(input);
        return answerOf(context.loop.run(refiner.command(*job.instruction, selection, "")), input);
    }
    if (blank)
        return {input, ""};
    if (!job.translates)
        return tidied(context, refiner, job, input);
    const auto language =
        job.language.empty() ? context.settings().record().translationTarget : job.language;
    return answerOf(context.loop.run(refiner.translate(trimmed(input), language)), input);
}

ExitCode filter(CommandContext& context, const Job& job) {
    const std::string input(std::istreambuf_iterator<char>(std::cin), {});
    auto answer = answered(context, job, input);
    const bool good = answer.why.empty();
    if (good && answer.text != input)
        answer.text = withoutControls(answer.text);
    if (context.json)
        context.print({{"text", answer.text}, {"done", good}, {"why", answer.why}});
    else if (good && answer.text != input)
        context.say(answer.text);
    else
        context.write(answer.text);
    return good ? ExitCode::success : context.fail(answer.why);
}

std::function<ExitCode()> configureRefine(CLI::App& parser, CommandContext& context) {
    const auto job = std::make_shared<Job>();
    auto* mode = parser.add_option("--mode", job->mode, "smart or polish; default: the setting")
                     ->check(CLI::IsMember({"smart", "polish"}));
    auto* translate =
        parser
            .add_option("--translate", job->language, "Translate, by default as the setting says")
            ->expected(0, 1)
            ->type_name("[LANGUAGE]")
            ->excludes(mode);
    parser.add_option("--command", job->instruction, "Do this with the text")
        ->type_name("INSTRUCTION")
        ->excludes(mode)
        ->excludes(translate);
    return [&context, job, translate] {
        if (job->instruction && trimmed(*job->instruction).empty())
            return context.fail("Say what is to be done: --command INSTRUCTION", ExitCode::usage);
        job->translates = translate->count() > 0;
        return filter(context, *job);
    };
}

constexpr Command commands[] = {
    {"", "refine", "Rewrite standard input as a dictation, to standard output", configureRefine},
    {"", "test-connection", "Whether the speech server or the language model answers",
     configureTest},
};

}  // namespace

std::span<const Command> languageModelCommands() {
    return commands;
}

}  // namespace quillet
