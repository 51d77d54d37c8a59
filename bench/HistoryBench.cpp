#include <fmt/format.h>

#include "Figures.h"
#include "base/async/CommandLoop.h"
#include "platform/linux/SystemServices.h"
#include "store/SessionStore.h"
#include "world/TemporaryFolder.h"

namespace quillet::bench {

namespace {

constexpr int entryCount = 100'000;
constexpr double secondsApart = 60;
/// People dictate several times in a row into one application.
constexpr int entriesInARow = 10;

}  // namespace

void measureHistory(Report& report) {
    const world::TemporaryFolder folder;
    CommandLoop loop;
    SessionStore store(folder.path() / "sessions.db", {}, std::make_shared<KernelIds>(),
                       Log(makeNullLogSink(), Log::PrivateText::hide), nullptr, nullptr);
    const double now = 1'750'000'000;
    Figures logging;
    for (int i = 0; i < entryCount; ++i) {
        SessionStore::NewEntry entry;
        entry.timestamp = Calendar::UnixTime(
            std::chrono::duration<double>(now - (entryCount - i) * secondsApart));
        entry.rawText = fmt::format("what was said number {} in a sentence of usual length", i);
        entry.finalText = entry.rawText;
        const auto app = fmt::format("org.example.app{}", i / entriesInARow % 20);
        logging.add(timeOf([&] { (void)loop.run(store.log(std::move(entry), app, app)); }));
    }
    report.times("history: log an entry, of 100,000", logging, "");

    Figures searching;
    for (int i = 0; i < 20; ++i) {
        SessionStore::Filter filter;
        filter.text = fmt::format("number {}", i * 4'999);
        filter.limit = 50;
        searching.add(timeOf([&] { (void)loop.run(store.search(std::move(filter))); }));
    }
    report.times("history: search a text in 100,000 entries", searching, "");
    Figures sessions;
    for (int i = 0; i < 10; ++i)
        sessions.add(timeOf([&] { (void)loop.run(store.recentSessions(50)); }));
    report.times("history: the 50 latest sessions of 100,000 entries", sessions, "");
    const auto purge = timeOf([&] {
        (void)loop.run(store.purge(30, Calendar::UnixTime(std::chrono::duration<double>(now))));
    });
    report.figure("history: purge 100,000 entries to 30 days",
                  fmt::format("{:.0f} ms", purge.count()), "");
}

}  // namespace quillet::bench
