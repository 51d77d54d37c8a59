#include "audio/DictationEngine.h"

#include <gtest/gtest.h>

#include "audio/OutputMuter.h"
#include "world/World.h"

namespace quillet::world {
namespace {

/// An engine alone, fed buffer by buffer.
class Recording : public ::testing::Test {
protected:
    void begin() {
        engine.start("one", "en");
        scheduler.drain();
    }
    void sound(std::chrono::milliseconds duration, std::int16_t loudness) {
        std::vector<std::int16_t> buffer(160);
        for (auto passed = 0ms; passed < duration; passed += 10ms) {
            for (auto& sample : buffer) {
                sample = static_cast<std::int16_t>(next_ % 2 == 0 ? loudness : -loudness);
                ++next_;
            }
            heard.insert(heard.end(), buffer.begin(), buffer.end());
            microphone.hear(buffer);
            scheduler.advance(10ms);
        }
    }
    void voice(std::chrono::milliseconds duration) { sound(duration, 3'000); }
    void pause(std::chrono::milliseconds duration) { sound(duration, 10); }

    TemporaryFolder folder;
    SimLoop loop;
    SimScheduler scheduler{loop};
    SimCalendar calendar{scheduler};
    Log log{makeNullLogSink(), Log::PrivateText::hide};
    ScriptedMicrophone microphone{scheduler};
    RecordingArchive archive{folder.path() / "Recordings", calendar, log,
                             std::make_shared<SerialQueue>(loop.executor())};
    DictationEngine engine{microphone, archive, loop};
    PcmSamples heard;

private:
    int next_ = 0;
};

TEST_F(Recording, IsCutAtPausesByTheRequiredNumbers) {
    begin();
    voice(5s);
    pause(2'890ms);
    EXPECT_FALSE(engine.takeSegment("next"));  // 7.89 s, whatever its pause
    pause(110ms);
    EXPECT_TRUE(engine.takeSegment("next"));

    voice(8s);
    pause(2'490ms);
    EXPECT_FALSE(engine.takeSegment("next"));
    pause(10ms);
    EXPECT_TRUE(engine.takeSegment("next"));

    voice(59'290ms);
    pause(700ms);
    EXPECT_FALSE(engine.takeSegment("next"));  // 59.99 s: still the long pause
    pause(10ms);
    EXPECT_TRUE(engine.takeSegment("next"));

    // Speech without a pause; a level that never dips would be taken for noise.
    for (int i = 0; i < 240; ++i) {
        EXPECT_FALSE(engine.takeSegment("next"));
        voice(480ms);
        pause(20ms);
    }
    const auto forced = engine.takeSegment("next");
    ASSERT_TRUE(forced);
    EXPECT_EQ(forced->pcm->size(), 120U * 16'000U);
    pause(30s);
    EXPECT_FALSE(
        engine.takeSegment("next"));  // silence alone is never a segment before two minutes
    engine.abort();
}

TEST_F(Recording, LosesNoSampleBetweenItsSegments) {
    begin();
    PcmSamples pieces;
    for (int i = 0; i < 30; ++i) {
        voice(std::chrono::milliseconds(3'000 + 170 * i));
        pause(2'600ms);
        if (auto segment = engine.takeSegment("next"))
            pieces.insert(pieces.end(), segment->pcm->begin(), segment->pcm->end());
    }
    std::optional<StoppedRecording> stopped;
    TaskScope tasks(loop);
    auto stop = [&]() -> asio::awaitable<void> { stopped.emplace(co_await engine.stop()); };
    tasks.spawn(stop());
    scheduler.advance(1s);
    ASSERT_TRUE(stopped);
    pieces.insert(pieces.end(), stopped->pcm->begin(), stopped->pcm->end());
    EXPECT_EQ(pieces, heard);
}

TEST_F(Recording, AnArchiveKeepsForSevenDaysAndRecoversWhatACrashLeft) {
    auto spool = archive.beginSpool("kept", "en");
    spool->append(std::vector<std::int16_t>(16'000, 5));
    TaskScope tasks(loop);
    bool kept = false;
    auto keep = [&]() -> asio::awaitable<void> { kept = co_await spool->keep(); };
    tasks.spawn(keep());
    scheduler.drain();
    EXPECT_TRUE(kept);
    ASSERT_EQ(archive.items().size(), 1U);
    EXPECT_DOUBLE_EQ(archive.items()[0].seconds, 1.0);
    EXPECT_EQ(archive.samples("kept")->size(), 16'000U);
    EXPECT_FALSE(archive.samples("../../etc/passwd").has_value());

    scheduler.advance(std::chrono::days(7));
    const auto deleteExpired = [&] {
        tasks.spawn(archive.deleteExpired());
        scheduler.drain();
    };
    deleteExpired();
    EXPECT_EQ(archive.items().size(), 1U);
    scheduler.advance(1s);
    deleteExpired();
    EXPECT_TRUE(archive.items().empty());

    // A kill leaves what was handed to the disk; an empty file is no recording.
    auto killed = archive.beginSpool("killed", "en");
    killed->append(std::vector<std::int16_t>(8'000, 5));
    auto empty = archive.beginSpool("empty", "en");
    killed->abandon();
    empty->abandon();
    scheduler.drain();
    EXPECT_EQ(archive.recoverInterrupted(), 1U);
    ASSERT_EQ(archive.items().size(), 1U);
    EXPECT_EQ(archive.items()[0].id, "killed");
    EXPECT_EQ(archive.samples("killed")->size(), 8'000U);
    EXPECT_EQ(archive.recoverInterrupted(), 0U);
}

TEST_F(Recording, WhatWasTakenOutIsPutBackAsItWas) {
    auto spool = archive.beginSpool("kept", "en");
    spool->append(std::vector<std::int16_t>(16'000, 5));
    TaskScope tasks(loop);
    std::optional<RecordingArchive::Taken> taken;
    std::optional<RecordingArchive::Taken> none;
    auto take = [&]() -> asio::awaitable<void> {
        EXPECT_TRUE(co_await spool->keep("words"));
        none = co_await archive.take("../kept");
        taken = co_await archive.take("kept");
    };
    tasks.spawn(take());
    scheduler.drain();
    EXPECT_FALSE(none);
    ASSERT_TRUE(taken);
    EXPECT_TRUE(std::filesystem::is_empty(folder.path() / "Recordings"));
    const auto date = taken->item.date;
    scheduler.advance(1h);
    bool isBack = false;
    auto putBack = [&]() -> asio::awaitable<void> {
        isBack = co_await archive.putBack(std::move(*taken));
    };
    tasks.spawn(putBack());
    scheduler.drain();
    EXPECT_TRUE(isBack);
    ASSERT_EQ(archive.items().size(), 1U);
    EXPECT_EQ(archive.items()[0].date, date);
    EXPECT_EQ(archive.items()[0].text, "words");
    EXPECT_EQ(archive.samples("kept")->size(), 16'000U);
}

TEST_F(Recording, MutingIsUndoneExactlyAndByTheLastWish) {
    ScriptedOutput output(scheduler);
    output.delay = 20ms;
    const auto marker = folder.path() / "muted.json";
    {
        OutputMuter muter(output, marker, loop, log);
        muter.mute();
        muter.restore();  // before the server has answered
        scheduler.advance(1s);
        EXPECT_FALSE(output.muted);

        output.muted = true;  // by the user
        muter.mute();
        scheduler.advance(1s);
        muter.restore();
        scheduler.advance(1s);
        EXPECT_TRUE(output.muted);

        output.muted = false;
        muter.mute();
        scheduler.advance(1s);
        EXPECT_TRUE(output.muted);
        EXPECT_TRUE(std::filesystem::exists(marker));
    }  // killed
    OutputMuter next(output, marker, loop, log);
    next.recover();
    scheduler.advance(1s);
    EXPECT_FALSE(output.muted);
    EXPECT_FALSE(std::filesystem::exists(marker));
}

}  // namespace
}  // namespace quillet::world
