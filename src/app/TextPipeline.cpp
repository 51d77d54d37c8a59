#include "app/TextPipeline.h"

#include "speech/cleanup/Cleanup.h"

namespace quillet {

TextPipeline::TextPipeline(Services services)
    : services_(std::move(services)), vocabulary_(services_.vocabulary) {}

asio::awaitable<void> TextPipeline::prepare(VoiceIntent intent) {
    const bool raw = services_.settings.record().effectiveOutputMode() == DictationOutputMode::raw;
    if (intent != VoiceIntent::dictate || !raw)
        services_.refiner.prewarm();
    co_await vocabulary_.current();
}

asio::awaitable<TextPipeline::Written> TextPipeline::write(Heard heard) {
    auto& queue = services_.vocabulary.queue();
    auto clean = [raw = heard.raw, snippets = services_.settings.record().snippets,
                  matcher = co_await vocabulary_.current()] {
        return cleanTranscript(raw, snippets, *matcher);
    };
    auto cleaned = co_await queue.run(std::move(clean));
    if (cleaned.isSnippet) {
        services_.log.info("Snippet");
        co_return Written{std::move(cleaned.text), Written::Way::snippet};
    }
    const bool raw = heard.intent == VoiceIntent::dictate &&
                     services_.settings.record().effectiveOutputMode() == DictationOutputMode::raw;
    auto written = co_await rewrite(std::move(cleaned.text), std::move(heard));
    auto finish = [text = std::move(written.text), raw] {
        return finishedText(text, raw ? Punctuation::raw : Punctuation::full);
    };
    written.text = co_await queue.run(std::move(finish));
    co_return written;
}

asio::awaitable<TextPipeline::Written> TextPipeline::rewrite(std::string cleaned, Heard heard) {
    if (heard.intent == VoiceIntent::dictate)
        co_return co_await tidied(std::move(cleaned), std::move(heard));
    co_return co_await obeyed(std::move(cleaned), std::move(heard));
}

/// A dictation as the output mode wants it.
asio::awaitable<TextPipeline::Written> TextPipeline::tidied(std::string cleaned, Heard heard) {
    auto refined = co_await services_.refiner.refine(
        std::move(cleaned), services_.settings.record().effectiveOutputMode(),
        std::move(heard.situation), std::move(heard.beforeCursor), std::move(heard.screenTerms));
    switch (refined.outcome) {
        case LLMRefiner::Outcome::notAsked:
            co_return Written{std::move(refined.text), Written::Way::rules};
        case LLMRefiner::Outcome::rewritten:
        case LLMRefiner::Outcome::rejected:
            co_return Written{std::move(refined.text), Written::Way::model};
        case LLMRefiner::Outcome::failed:
            break;
    }
    services_.log.error("LLM error: {}", refined.why);
    co_return Written{std::move(refined.text), Written::Way::offline};
}

/// A command carried out, or a translation.
asio::awaitable<TextPipeline::Written> TextPipeline::obeyed(std::string cleaned, Heard heard) {
    LLMRefiner::Reply reply;
    if (heard.intent == VoiceIntent::command)
        reply = co_await services_.refiner.command(cleaned, std::move(heard.selection),
                                                   std::move(heard.beforeCursor));
    else
        reply = co_await services_.refiner.translate(cleaned,
                                                     services_.settings.record().translationTarget);
    if (reply)
        co_return Written{std::move(*reply), Written::Way::model};
    services_.log.error("LLM error: {}", reply.error().message);
    co_return Written{std::move(cleaned), Written::Way::offline};
}

}  // namespace quillet
