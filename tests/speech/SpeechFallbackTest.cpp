#include "speech/SpeechFallback.h"

#include <gtest/gtest.h>

#include <asio/experimental/as_tuple.hpp>
#include <asio/use_awaitable.hpp>

#include "base/async/TaskScope.h"
#include "speech/TranscriptionRequest.h"
#include "world/SimLoop.h"

namespace quillet::world {
namespace {

using namespace std::chrono_literals;
using Duration = Scheduler::Duration;

constexpr Duration delay = 4s;

/// What one contender does when it is asked.
struct Part {
    enum class End { transcript, nothing, failure, never };
    Duration after{};
    End end = End::transcript;
    std::optional<Duration> stumblesAfter =
        std::nullopt;  ///< an attempt fails then, and it goes on
};

struct Seen {
    bool started = false;
    bool cancelled = false;
    Duration startedAt{};
};

/// One race, scripted, on a clock that begins at 0.
class Race {
public:
    Race(Part primary, Part backup) {
        auto run = [this, primary, backup]() -> asio::awaitable<void> {
            SpeechFallback::Primary first = [this, primary](SpeechFallback::Stumbled stumbled) {
                return contend(primary, primarySeen, "primary", std::move(stumbled));
            };
            SpeechFallback::Contender second = [this, backup] {
                return contend(backup, backupSeen, "backup", {});
            };
            finish.emplace(co_await SpeechFallback::race(scheduler, delay, first, second));
            finishedAt = scheduler.now() - start_;
        };
        run_ = run;
        tasks.spawn(run_());
    }

    [[nodiscard]] std::string outcome() const {
        if (!finish)
            return "none";
        if (const auto* value = std::get_if<SpeechFallback::Value>(&finish->outcome))
            return value->transcript + (value->fromBackup ? " of the backup" : " of the primary");
        const auto* exhausted = std::get_if<SpeechFallback::Exhausted>(&finish->outcome);
        return exhausted != nullptr ? exhausted->error.message : "something else";
    }

    SimLoop loop;
    SimScheduler scheduler{loop};
    Seen primarySeen;
    Seen backupSeen;
    std::optional<SpeechFallback::Finish> finish;
    Duration finishedAt{};
    TaskScope tasks{loop};

private:
    asio::awaitable<SpeechFallback::Transcript> contend(Part part, Seen& seen, std::string name,
                                                        SpeechFallback::Stumbled stumbled) {
        seen.started = true;
        seen.startedAt = scheduler.now() - start_;
        if (part.stumblesAfter) {
            co_await scheduler.sleep(*part.stumblesAfter);
            stumbled(STTError::http(500));
            part.after -= *part.stumblesAfter;
        }
        // As the network does it: who is cancelled fails.
        const auto wait = part.end == Part::End::never ? Duration(1h) : part.after;
        const auto [error] = co_await scheduler.asyncSleepUntil(
            scheduler.now() + wait, asio::experimental::as_tuple(asio::use_awaitable));
        seen.cancelled = static_cast<bool>(error);
        if (!error && part.end == Part::End::transcript)
            co_return name;
        if (!error && part.end == Part::End::nothing)
            co_return "";
        co_return std::unexpected(STTError::network(name + " failed"));
    }

    Scheduler::TimePoint start_ = scheduler.now();
    std::function<asio::awaitable<void>()> run_;
};

const std::vector<Duration> moments = {0s, 1s, 4s - 1ns, 4s, 4s + 1ns, 5s, 9s};
const std::vector<Part::End> ends = {Part::End::transcript, Part::End::nothing, Part::End::failure,
                                     Part::End::never};

struct Case {
    Part primary;
    Part backup;
};

/// Every order of events: the primary before, at and after the delay, the backup quick and slow.
std::vector<Case> allCases() {
    std::vector<Case> cases;
    for (const auto primaryEnd : ends) {
        for (const auto primaryAfter : moments) {
            for (const auto backupEnd : ends) {
                for (const auto backupAfter :
                     {Duration(0s), Duration(1ns), Duration(1s), Duration(5s)})
                    cases.push_back({{primaryAfter, primaryEnd}, {backupAfter, backupEnd}});
            }
        }
    }
    return cases;
}

bool answers(const Part& part) {
    return part.end == Part::End::transcript || part.end == Part::End::nothing;
}

/// What is to come of a race, by the rules alone.
struct Expected {
    std::string outcome = "none";
    Duration at{};
    bool primaryFailed = false;  // by then
};

Expected expected(const Part& primary, const Part& backup, Duration backupEnd) {
    const bool heard = backup.end == Part::End::transcript;
    const bool failed = primary.end == Part::End::failure;
    if (answers(primary) && (!heard || primary.after < backupEnd))
        return {primary.end == Part::End::nothing ? " of the primary" : "primary of the primary",
                primary.after, false};
    if (heard)
        return {"backup of the backup", backupEnd, failed && primary.after <= backupEnd};
    const auto bothEnded = std::max(primary.after, backupEnd);
    if (failed && backup.end == Part::End::nothing)
        return {" of the backup", bothEnded, true};
    if (failed && backup.end == Part::End::failure)
        return {"primary failed", bothEnded, true};
    return {};
}

std::string named(const Part& part) {
    static constexpr const char* names[] = {"transcript", "nothing", "failure", "never"};
    return std::string(names[static_cast<int>(part.end)]) + " after " +
           std::to_string(part.after.count()) + " ns";
}

TEST(SpeechFallback, UsesExactlyTheFirstTranscriptWhateverTheOrder) {
    for (const auto& [primary, backup] : allCases()) {
        SCOPED_TRACE("primary: " + named(primary) + ", backup: " + named(backup));
        Race race(primary, backup);
        race.scheduler.advance(30min);

        const auto backupStart =
            primary.end == Part::End::failure ? std::min(delay, primary.after) : delay;
        const auto backupEnd = backupStart + backup.after;
        // The backup's quota is untouched by a server that answers in time.
        if (!answers(primary) || primary.after != delay)
            EXPECT_EQ(race.backupSeen.started, !answers(primary) || primary.after > delay);
        if (race.backupSeen.started)
            EXPECT_EQ(race.backupSeen.startedAt, backupStart);

        const auto wanted = expected(primary, backup, backupEnd);
        const bool tie =
            answers(primary) && backup.end == Part::End::transcript && primary.after == backupEnd;
        EXPECT_EQ(race.finishedAt, wanted.at);
        if (tie) {
            EXPECT_TRUE(race.outcome().ends_with("of the primary") ||
                        race.outcome() == "backup of the backup")
                << "either may have it, but it is had";
            continue;
        }
        EXPECT_EQ(race.outcome(), wanted.outcome);
        if (race.finish)
            EXPECT_EQ(race.finish->primaryError.has_value(), wanted.primaryFailed);
        // Whoever was still running when it was decided is running no more.
        if (race.finish && wanted.at < primary.after)
            EXPECT_TRUE(race.primarySeen.cancelled);
        if (race.finish && race.backupSeen.started && wanted.at < backupEnd)
            EXPECT_TRUE(race.backupSeen.cancelled);
    }
}

TEST(SpeechFallback, StartsTheBackupAsSoonAsTheServerStumbles) {
    Part retried{5s, Part::End::transcript, Duration(100ms)};
    Race won(retried, {Duration(1s), Part::End::transcript});
    won.scheduler.advance(30min);
    EXPECT_EQ(won.backupSeen.startedAt, 100ms);
    EXPECT_EQ(won.outcome(), "backup of the backup");
    EXPECT_EQ(won.finish->primaryError, STTError::http(500));
    Race recovered({Duration(500ms), Part::End::transcript, Duration(100ms)},
                   {Duration(1s), Part::End::transcript});
    recovered.scheduler.advance(30min);
    EXPECT_EQ(recovered.outcome(), "primary of the primary");
}

TEST(SpeechFallback, EndsWithoutAResultWhenItIsCancelledAtAnyMoment) {
    for (const auto& [primary, backup] : allCases()) {
        for (const auto at : {Duration(0), Duration(500ms), delay - 2ns, delay, delay + 2ns,
                              Duration(4500ms), Duration(20s)}) {
            SCOPED_TRACE("primary: " + named(primary) + ", backup: " + named(backup) +
                         ", cancelled at " + std::to_string(at.count()));
            Race race(primary, backup);
            race.scheduler.advance(at);
            const bool ended = race.finish.has_value();
            race.tasks.cancelAll();
            race.scheduler.drain();
            EXPECT_TRUE(race.tasks.empty());
            EXPECT_EQ(race.finish.has_value(), ended);
            EXPECT_EQ(race.scheduler.timerCount(), 0U);
        }
    }
}

TEST(SpeechFallback, WaitsLongerForALongRecordingAndNamesTheReason) {
    EXPECT_EQ(SpeechFallback::delayFor(10), 4s);
    EXPECT_EQ(SpeechFallback::delayFor(60), 11'500ms);
    const std::string own = "http://localhost/v1/audio/transcriptions";
    const auto cloudflare = cloudflareWhisperUrl("0123456789abcdef0123456789abcdef");
    EXPECT_EQ(backupNotice(STTError::network("x"), own, "Mac"),
              "Server unreachable — recognized on this Mac");
    EXPECT_EQ(failureReason(STTError::http(403), own), "Check the API key");
    EXPECT_EQ(failureReason(STTError::http(401), cloudflare),
              "Check the Cloudflare token / account ID");
    EXPECT_EQ(failureReason(STTError::http(429), own), "Server busy");
    EXPECT_EQ(failureReason(STTError::http(429), cloudflare),
              "Cloudflare free quota used up for today");
    EXPECT_EQ(failureReason(STTError::http(500), cloudflare), "Server unreachable");
}

}  // namespace
}  // namespace quillet::world
