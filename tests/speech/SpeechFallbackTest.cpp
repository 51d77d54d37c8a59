#include "speech/SpeechFallback.h"

#include <gtest/gtest.h>

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
            SpeechFallback::Contender first = [this, primary] {
                return contend(primary, primarySeen, "primary");
            };
            SpeechFallback::Contender second = [this, backup] {
                return contend(backup, backupSeen, "backup");
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
    asio::awaitable<SpeechFallback::Transcript> contend(Part part, Seen& seen, std::string name) {
        seen.started = true;
        seen.startedAt = scheduler.now() - start_;
        try {
            co_await scheduler.sleep(part.end == Part::End::never ? Duration(1h) : part.after);
        } catch (const std::exception&) {
            seen.cancelled = true;
            throw;
        }
        switch (part.end) {
            case Part::End::transcript:
                co_return name;
            case Part::End::nothing:
                co_return "";
            case Part::End::failure:
            case Part::End::never:
                break;
        }
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

        const bool primaryEnds = primary.end != Part::End::never;
        const auto backupStart =
            primary.end == Part::End::failure ? std::min(delay, primary.after) : delay;
        const auto backupEnd = backupStart + backup.after;
        const bool primaryFirst =
            answers(primary) && (!answers(backup) || primary.after <= backupEnd);
        // The backup's quota is untouched by a server that answers in time.
        if (!answers(primary) || primary.after != delay)
            EXPECT_EQ(race.backupSeen.started, !answers(primary) || primary.after > delay);
        if (race.backupSeen.started)
            EXPECT_EQ(race.backupSeen.startedAt, backupStart);

        const bool tie = answers(primary) && answers(backup) && primary.after == backupEnd;
        if (tie) {
            // Either may have it, but it is had once and at once.
            EXPECT_TRUE(race.finish.has_value());
            EXPECT_EQ(race.finishedAt, backupEnd);
        } else if (primaryFirst) {
            EXPECT_EQ(race.outcome(), primary.end == Part::End::nothing ? " of the primary"
                                                                        : "primary of the primary");
            EXPECT_EQ(race.finishedAt, primary.after);
            EXPECT_EQ(race.backupSeen.cancelled,
                      race.backupSeen.started &&
                          !(backup.end == Part::End::failure && backupEnd < primary.after));
        } else if (answers(backup)) {
            EXPECT_EQ(race.outcome(),
                      backup.end == Part::End::nothing ? " of the backup" : "backup of the backup");
            EXPECT_EQ(race.finishedAt, backupEnd);
            EXPECT_EQ(race.primarySeen.cancelled,
                      !(primary.end == Part::End::failure && primary.after <= backupEnd));
            EXPECT_EQ(race.finish->primaryError.has_value(),
                      primary.end == Part::End::failure && primary.after <= backupEnd);
        } else if (primaryEnds && backup.end == Part::End::failure) {
            EXPECT_EQ(race.outcome(), "primary failed");
            EXPECT_EQ(race.finishedAt, std::max(primary.after, backupEnd));
        } else {
            EXPECT_EQ(race.outcome(), "none") << "somebody hangs";
        }
    }
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
