#include <fmt/format.h>

#include "Figures.h"
#include "base/async/CommandLoop.h"
#include "base/text/CaselessWord.h"
#include "platform/linux/SystemServices.h"
#include "store/SessionStore.h"
#include "world/TemporaryFolder.h"

namespace quillet::bench {

namespace {

constexpr int entryCount = 100'000;
constexpr double secondsApart = 60;
/// People dictate several times in a row into one application.
constexpr int entriesInARow = 10;
constexpr double now = 1'750'000'000;

Calendar::UnixTime at(double seconds) {
    return Calendar::UnixTime(std::chrono::duration<double>(seconds));
}

/// A third of what is said is written as it was heard.
SessionStore::NewEntry entryNumber(int i) {
    SessionStore::NewEntry entry;
    entry.timestamp = at(now - (entryCount - i) * secondsApart);
    entry.rawText = fmt::format("what was said number {} in a sentence of usual length", i);
    entry.finalText =
        i % 3 == 0 ? entry.rawText
                   : fmt::format("What was said: number {}, in a sentence of usual length.", i);
    return entry;
}

void fill(CommandLoop& loop, SessionStore& store, Report& report) {
    Figures logging;
    for (int i = 0; i < entryCount; ++i) {
        const auto app = fmt::format("org.example.app{}", i / entriesInARow % 20);
        logging.add(timeOf([&] { (void)loop.run(store.log(entryNumber(i), app, app)); }));
    }
    report.times("history: log an entry, of 100,000", logging, "");
}

/// A page for each query, as the history's window asks for it.
Figures pages(CommandLoop& loop, SessionStore& store, const std::vector<std::string>& queries) {
    Figures figures;
    for (const auto& query : queries) {
        SessionStore::Filter filter;
        filter.words = queryWords(query);
        figures.add(timeOf([&] { (void)loop.run(store.search(std::move(filter))); }));
    }
    return figures;
}

void search(CommandLoop& loop, SessionStore& store, Report& report) {
    Figures literal;
    for (int i = 0; i < 20; ++i) {
        SessionStore::Filter filter;
        filter.text = fmt::format("number {}", i * 4'999);
        filter.limit = 50;
        literal.add(timeOf([&] { (void)loop.run(store.search(std::move(filter))); }));
    }
    report.times("history: search a text in 100,000 entries", literal, "");

    const std::vector<std::string> common(50, "usual sentence");
    report.times("history: a page of common words", pages(loop, store, common), "< 5 ms");
    std::vector<std::string> absent;
    for (int i = 0; i < 5; ++i)
        absent.insert(absent.end(), {"zebra", "Unheard", "quiz", "ÜBERMUT", "会议", "kiosk"});
    report.times("history: a word that nobody said, of 100,000 entries", pages(loop, store, absent),
                 "< 60 ms");
    const std::string typed = "number 49990 usual";
    std::vector<std::string> keystrokes;
    for (std::size_t size = 1; size <= typed.size(); ++size)
        keystrokes.push_back(typed.substr(0, size));
    report.times("history: a keystroke in the search field, of 100,000 entries",
                 pages(loop, store, keystrokes), "");
}

}  // namespace

void measureHistory(Report& report) {
    const world::TemporaryFolder folder;
    CommandLoop loop;
    SessionStore store(folder.path() / "sessions.db", {}, std::make_shared<KernelIds>(),
                       Log(makeNullLogSink(), Log::PrivateText::hide), nullptr, nullptr);
    fill(loop, store, report);
    search(loop, store, report);
    Figures sessions;
    for (int i = 0; i < 10; ++i)
        sessions.add(timeOf([&] { (void)loop.run(store.recentSessions(50)); }));
    report.times("history: the 50 latest sessions of 100,000 entries", sessions, "");

    Figures deleting;
    for (int i = 0; i < 20; ++i) {
        SessionStore::Filter filter;
        filter.limit = 1;
        auto latest = loop.run(store.search(std::move(filter)));
        deleting.add(
            timeOf([&] { (void)loop.run(store.deleteEntries({std::move(latest.front().id)})); }));
    }
    report.times("history: delete an entry for good, of 100,000", deleting, "");
    const auto purge = timeOf([&] { (void)loop.run(store.purge(30, at(now))); });
    report.figure("history: purge 100,000 entries to 30 days",
                  fmt::format("{:.0f} ms", purge.count()), "");
}

}  // namespace quillet::bench
