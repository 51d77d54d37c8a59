#include "app/TextPipeline.h"

#include "speech/cleanup/Cleanup.h"

namespace quillet {

TextPipeline::TextPipeline(Services services)
    : services_(std::move(services)), vocabulary_(services_.vocabulary) {}

void TextPipeline::prepare(VoiceIntent intent) {
    const bool raw = services_.settings.record().effectiveOutputMode() == DictationOutputMode::raw;
    if (intent != VoiceIntent::dictate || !raw)
        services_.refiner.prewarm();
}

asio::awaitable<TextPipeline::Written> TextPipeline::write(Heard heard) {
    const auto matcher = co_await vocabulary_.current();
    auto cleaned = cleanTranscript(heard.raw, services_.settings.record().snippets, *matcher);
    if (cleaned.isSnippet) {
        services_.log.info("Snippet");
        co_return Written{std::move(cleaned.text), Written::Way::cleaned};
    }
    const bool raw = heard.intent == VoiceIntent::dictate &&
                     services_.settings.record().effectiveOutputMode() == DictationOutputMode::raw;
    auto written = co_await rewrite(std::move(cleaned.text), std::move(heard));
    written.text = finishedText(written.text, raw ? Punctuation::raw : Punctuation::full);
    co_return written;
}

asio::awaitable<TextPipeline::Written> TextPipeline::rewrite(std::string cleaned, Heard heard) {
    const auto& record = services_.settings.record();
    if (heard.intent == VoiceIntent::dictate) {
        auto refined = co_await services_.refiner.refine(cleaned, record.effectiveOutputMode(),
                                                         std::move(heard.situation),
                                                         std::move(heard.beforeCursor));
        if (refined.outcome == LLMRefiner::Outcome::failed)
            services_.log.error("LLM error: {}", refined.why);
        co_return Written{std::move(refined.text), refined.outcome == LLMRefiner::Outcome::failed
                                                       ? Written::Way::offline
                                                       : Written::Way::cleaned};
    }
    LLMRefiner::Reply reply;
    const bool replaces = heard.intent == VoiceIntent::command && heard.selection.has_value();
    if (heard.intent == VoiceIntent::command)
        reply = co_await services_.refiner.command(cleaned, std::move(heard.selection),
                                                   std::move(heard.beforeCursor));
    else
        reply = co_await services_.refiner.translate(cleaned, record.translationTarget);
    if (reply)
        co_return Written{std::move(*reply), Written::Way::cleaned};
    services_.log.error("LLM error: {}", reply.error().message);
    // An instruction typed over the text that it was meant for would destroy that.
    co_return Written{std::move(cleaned),
                      replaces ? Written::Way::notOverIt : Written::Way::offline};
}

}  // namespace quillet
