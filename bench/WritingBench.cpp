#include <fmt/format.h>

#include <nlohmann/json.hpp>
#include <random>

#include "Figures.h"
#include "base/text/Text.h"
#include "refine/DictationPrompt.h"
#include "refine/LLMReply.h"
#include "refine/RewriteGuards.h"
#include "speech/cleanup/Cleanup.h"
#include "speech/cleanup/RecognitionPrompt.h"
#include "speech/cleanup/SilenceGuards.h"

namespace quillet::bench {

namespace {

constexpr const char* said =
    "嗯我们先把这个 feature 的 bug 修好 , 然后……review 一下代码 , 版本 1.5 明天发布。see docs dot "
    "example dot com slash start 对吧 ? 那个 Word17 和词汇42也要改，谢谢大家。";

/// Mixed speech of this many characters.
std::string speech(std::size_t characters) {
    std::string text;
    while (characterCount(text) < characters)
        text += said;
    return std::string(firstCharacters(text, characters));
}

std::vector<VocabEntry> vocabularyOf(int size) {
    std::vector<VocabEntry> entries;
    entries.reserve(static_cast<std::size_t>(size));
    for (int i = 0; i < size; ++i)
        entries.push_back({i % 2 == 0 ? fmt::format("word{}", i + 1) : fmt::format("词汇{}", i + 1),
                           fmt::format("Term {}", i), i % 7, "manual"});
    return entries;
}

int runsFor(std::size_t characters) {
    constexpr std::size_t long_ = 5'000;
    return characters > long_ ? 50 : 2'000;
}

}  // namespace

void measureWriting(Report& report) {
    const std::vector<Snippet> snippets = {{"1", "我的地址", "1 Main Street"}};
    for (const int entries : {0, 100, 5'000}) {
        const auto vocabulary = vocabularyOf(entries);
        const VocabularyMatcher matcher(vocabulary);
        for (const std::size_t characters : {20U, 200U, 20'000U}) {
            const auto text = speech(characters);
            Figures figures;
            for (int i = 0; i < runsFor(characters); ++i)
                figures.add(timeOf([&] {
                    (void)finishedText(cleanTranscript(text, snippets, matcher).text,
                                       Punctuation::full);
                }));
            report.times(fmt::format("clean-up of {} characters with {} vocabulary entries",
                                     characters, entries),
                         figures, characters == 200 && entries == 5'000 ? "≤ 1 ms" : "");
            if (entries == 5'000) {
                Figures alone;
                for (int i = 0; i < runsFor(characters); ++i)
                    alone.add(timeOf([&] { (void)matcher.apply(text); }));
                report.times(
                    fmt::format("of that, the vocabulary alone ({} characters)", characters), alone,
                    "");
            }
        }
    }
    Figures preparing;
    const auto large = vocabularyOf(5'000);
    for (int i = 0; i < 50; ++i)
        preparing.add(timeOf([&] { const VocabularyMatcher matcher(large); }));
    report.times("vocabulary of 5,000 entries made ready, once after a change", preparing, "");

    const auto text = speech(200);
    Figures silence;
    for (int i = 0; i < 2'000; ++i)
        silence.add(timeOf([&] { (void)isSilence(text, defaultRecognitionPrompt, "mixed"); }));
    report.times("silence guards, 200 characters", silence, "");

    DictationPrompt::Cleanup cleanup;
    cleanup.text = text;
    cleanup.model = "a-model";
    cleanup.vocabulary.assign(50, "Jonathan");
    cleanup.profile = speech(600);
    cleanup.situation = {"Editor", "A window", speech(2'000), {text, text, text}};
    cleanup.beforeCursor = speech(500);
    Figures building;
    for (int i = 0; i < 2'000; ++i)
        building.add(timeOf([&] { (void)DictationPrompt::cleanupRequest(cleanup).dump(); }));
    report.times("smart prompt with everything in it, built and written as JSON", building, "");

    const nlohmann::json response = {
        {"choices", {{{"message", {{"content", text}}}, {"finish_reason", "stop"}}}}};
    const auto body = response.dump();
    Figures judging;
    for (int i = 0; i < 2'000; ++i)
        judging.add(timeOf([&] {
            const auto reply = parseReply(body);
            (void)rejectionReason(text, *reply, DictationPrompt::CleanupStyle::smart);
            (void)answersInstead(text, *reply);
        }));
    report.times("reply read and judged by all guards, 200 characters", judging, "");
}

}  // namespace quillet::bench
