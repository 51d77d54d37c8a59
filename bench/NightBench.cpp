#include <fmt/format.h>

#include <fstream>

#include <nlohmann/json.hpp>

#include "Figures.h"
#include "WatchedLoop.h"
#include "memory/KnowledgeKeeper.h"
#include "memory/NightlyReviewer.h"
#include "platform/absent/AbsentKeychain.h"
#include "platform/absent/MemoryUserDefaults.h"
#include "platform/linux/SteadyScheduler.h"
#include "platform/linux/SystemServices.h"
#include "world/TemporaryFolder.h"

namespace quillet::bench {

namespace {

using nlohmann::json;

constexpr int dictations = 2'000;
constexpr int items = 20'000;
constexpr double mebibyte = 1 << 20;

/// A language model that answers at once, always the same.
class InstantModel final : public HttpClient {
public:
    explicit InstantModel(const std::string& content) {
        answer_.status = 200;
        answer_.body =
            json{{"choices", json::array({{{"message", {{"content", content}}}}})}}.dump();
    }
    asio::awaitable<Result> perform(HttpRequest request) override {
        ++requests;
        bytes += static_cast<double>(request.body->size());
        co_return answer_;
    }
    void prewarm(std::string_view) override {}

    int requests = 0;
    double bytes = 0;

private:
    HttpResponse answer_;
};

class SilentSink final : public LogSink {
    void write(LogLevel, std::string_view, std::string_view) override {}
};

/// Stores, review and knowledge base as in the application, with threads of their own.
struct Machine {
    explicit Machine(const std::string& reply) : model(reply) {
        settings.change([](QuilletSettings& record) {
            record.llmEnabled = true;
            record.llmBaseURL = "https://llm.example.org/v1";
            record.llmModel = "a-model";
        });
    }

    world::TemporaryFolder folder;
    Log log{std::make_shared<SilentSink>(), Log::PrivateText::hide};
    WatchedLoop loop;
    SteadyScheduler scheduler{loop};
    SystemCalendar calendar;
    std::shared_ptr<KernelIds> ids = std::make_shared<KernelIds>();
    NotificationCenter notifications;
    MemoryUserDefaults defaults;
    AbsentKeychain keychain;
    AppSettings settings{defaults, keychain, notifications, log};
    InstantModel model;
    std::shared_ptr<SerialQueue> queue = std::make_shared<SerialQueue>("memory");
    SessionStore history{folder.path() / "sessions.db", {}, ids, log, nullptr, nullptr};
    VocabularyDB vocabulary{
        {folder.path() / "vocabulary.db", folder.path() / "old.json"}, log, nullptr};
    RecordingArchive archive{folder.path() / "Recordings", calendar, log, nullptr};
    SpeechClient speech{model, scheduler, *ids, log};
    LLMRefiner refiner{
        {model, settings,
         [](int) -> asio::awaitable<LLMRefiner::Memory> { co_return LLMRefiner::Memory{}; }, log}};
    MeetingLibrary meetings{folder.path() / "meetings", queue};
    NightlyReviewer reviewer{{loop,
                              calendar,
                              *ids,
                              notifications,
                              settings,
                              history,
                              vocabulary,
                              archive,
                              speech,
                              refiner,
                              {folder.path() / "review.json", folder.path() / "progress.json"},
                              folder.path() / "phone.json",
                              queue,
                              log}};
    KnowledgeKeeper keeper{{loop, calendar, ids, notifications, settings, history, meetings,
                            refiner, folder.path() / "knowledge.json", folder.path() / "phone.json",
                            queue, log}};
};

asio::awaitable<bool> logDay(Machine& machine, int count) {
    const auto now = machine.calendar.now();
    for (int i = 0; i < count; ++i) {
        SessionStore::NewEntry entry;
        entry.timestamp = now - std::chrono::seconds(count - i);
        entry.finalText = fmt::format(
            "今天和 Anna 讨论了第 {} 个 offer，the price stays as it is，下周再看 get hub "
            "上的反馈。",
            i);
        entry.rawText = "嗯 " + entry.finalText;
        if (!co_await machine.history.log(std::move(entry), "org.example.mail", "Mail"))
            co_return false;
    }
    co_return true;
}

void reportOn(Report& report, const std::string& what, const Machine& machine,
              std::chrono::duration<double, std::milli> took, double memory) {
    report.figure(what + ": time, the model's own taken out",
                  fmt::format("{:.2f} s", took.count() / 1'000), "");
    report.figure(what + ": sent",
                  fmt::format("{} requests, {:.2f} MiB", machine.model.requests,
                              machine.model.bytes / mebibyte),
                  "");
    report.figure(what + ": most memory beyond the rest", fmt::format("{:.1f} MiB", memory), "");
    report.figure(
        what + ": longest work on the main queue",
        fmt::format("{:.2f} ms, {:.2f} of the processor (p99 {:.2f})", machine.loop.longest,
                    machine.loop.itsProcessorTime, machine.loop.pieces.percentile(99)),
        "5 ms");
}

void measureReview(Report& report) {
    Machine machine(
        R"({"terms": [{"heard": "get hub", "written": "GitHub", "ids": [1, 2], "confidence": 0.9,)"
        R"( "reason": "a name"}], "fixes": [], "memory": {"profile": "Sells.", "terms": []}})");
    auto prepare = [](Machine& m) -> asio::awaitable<bool> {
        for (int i = 0; i < 300; ++i) {
            if (!co_await m.vocabulary.learn(fmt::format("误听{}号", i), fmt::format("Name{}", i),
                                             1.0, "manual"))
                co_return false;
        }
        co_return co_await logDay(m, dictations);
    };
    if (!machine.loop.run(prepare(machine)))
        return report.skipped("night of 2,000 dictations", "the history cannot be written");
    machine.loop.longest = 0;
    machine.loop.pieces = {};
    const double before = residentMemory();
    forgetPeak();
    NightlyReviewer::Reviewed run;
    const auto took = timeOf([&] { run = machine.loop.run(machine.reviewer.run()); });
    if (!run || !*run || (*run)->reviewed != dictations)
        return report.skipped("night of 2,000 dictations", "the review failed");
    reportOn(report, "review of 2,000 dictations", machine, took, peakMemory() - before);
}

KnowledgeKeeper::State largeBase() {
    KnowledgeKeeper::State state;
    const auto& categories = Knowledge::builtInCategories();
    for (int i = 0; i < items; ++i) {
        Knowledge::Item item;
        item.id = KernelIds().uuid();
        item.category = categories[static_cast<std::size_t>(i) % categories.size()].id;
        item.title = fmt::format("Offer {} to customer {}", i, i % 977);
        item.takeaway =
            fmt::format("Customer {} takes offer {} when delivery is included.", i % 977, i);
        item.examples.push_back({fmt::format("delivery must be included in offer {}", i),
                                 Calendar::UnixTime(std::chrono::duration<double>(1.75e9 + i)),
                                 "Mail", "org.example.mail"});
        item.lastSeen = item.firstSeen = item.examples.front().date;
        item.mentions = 1;
        state.store.items.push_back(std::move(item));
    }
    return state;
}

void measureKnowledge(Report& report) {
    Machine machine(
        R"({"ops": [{"op": "add", "category": "sales", "title": "Price", "takeaway": "It stays.",)"
        R"( "entry": 1, "quote": "the price stays as it is", "confidence": 0.9}]})");
    const auto text = encodedText(largeBase());
    std::ofstream(machine.folder.path() / "knowledge.json") << text;
    if (!machine.loop.run(logDay(machine, 400)))
        return report.skipped("knowledge of 20,000 items", "the history cannot be written");
    machine.loop.longest = 0;
    machine.loop.pieces = {};
    const double before = residentMemory();
    forgetPeak();
    auto load = [](Machine& m) -> asio::awaitable<bool> {
        co_return (co_await m.keeper.state())->store.items.size() == items;
    };
    bool loaded = false;
    const auto loading = timeOf([&] { loaded = machine.loop.run(load(machine)); });
    const double held = residentMemory() - before;
    KnowledgeKeeper::Distilled run;
    const auto took = timeOf([&] { run = machine.loop.run(machine.keeper.run()); });
    if (!loaded || !run)
        return report.skipped("knowledge of 20,000 items", "it failed");
    report.figure(
        "knowledge of 20,000 items: file, time to read it, memory that it holds",
        fmt::format("{:.1f} MiB, {:.2f} s, {:.0f} MiB", static_cast<double>(text.size()) / mebibyte,
                    loading.count() / 1'000, held),
        "");
    reportOn(report, "400 dictations into 20,000 items", machine, took, peakMemory() - before);
}

}  // namespace

void measureNight(Report& report) {
    measureReview(report);
    measureKnowledge(report);
}

}  // namespace quillet::bench
