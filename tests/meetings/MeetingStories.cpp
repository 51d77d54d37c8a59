#include <gtest/gtest.h>

#include <fstream>

#include "meetings/MeetingMessages.h"
#include "world/FullDisk.h"
#include "world/MeetingRoom.h"

namespace quillet::world {
namespace {

using State = CallAudioSink::State;
namespace messages = meeting_messages;

class Meeting : public ::testing::Test {
protected:
    static constexpr auto me = MeetingRoom::me;
    static constexpr auto them = MeetingRoom::them;

    /// Something said on either side within one piece.
    void talk() {
        room.say(me, "shall we raise the price", 3s);
        room.silence(2s);
        room.say(them, "only for new customers", 3s);
        room.silence(2s);
    }
    static std::string summary(const std::string& title) {
        return R"({"title": ")" + title +
               R"(", "summary": "- price", "decisions": [], "todos": [], "questions": [],)"
               R"( "follow_up": ""})";
    }
    std::string noteAfterStop() {
        const auto finished = room.stop();
        EXPECT_TRUE(finished) << (finished ? "" : finished.error());
        return finished && *finished ? room.note(**finished) : "";
    }

    MeetingRoom room;
};

TEST_F(Meeting, WritesANoteWithBothSides) {
    room.useServer();
    room.useModel();
    room.profile = "Runs a bakery.";
    room.llm.say(summary("The price: up/down?"));
    ASSERT_TRUE(room.start());
    EXPECT_TRUE(room.wasTold(messages::started));
    talk();
    const auto note = noteAfterStop();
    EXPECT_NE(note.find("# The price: up/down?\n"), std::string::npos) << note;
    EXPECT_NE(note.find("[00:00] Me: shall we raise the price\n"), std::string::npos) << note;
    EXPECT_NE(note.find("[00:05] Other side: only for new customers\n"), std::string::npos) << note;
    EXPECT_EQ(room.notes().size(), 1U) << "the draft is gone";
    EXPECT_EQ(room.notes().front().find_first_of(":?/"), std::string::npos);
    const auto body = room.llm.lastBody();
    EXPECT_NE(body["messages"][0]["content"].get<std::string>().find("Runs a bakery."),
              std::string::npos);
    for (const auto& request : room.server.requests)
        EXPECT_NE(request.body->find("filename=\"meeting.wav\""), std::string::npos);
    EXPECT_TRUE(std::holds_alternative<MeetingTranscriber::Idle>(room.meetings->phase()));
    EXPECT_FALSE(room.audio.capturing());
}

TEST_F(Meeting, TakesTheServersOwnParts) {
    room.useServer();
    room.server.answer(200, R"({"text": "Hello. Hi.", "segments": [
        {"start": 0.0, "end": 2.5, "text": "Hello.", "speaker": "SPEAKER_01"},
        {"start": 5.0, "end": 7.0, "text": "Hi.", "speaker": "SPEAKER_00"}]})");
    ASSERT_TRUE(room.start());
    talk();
    const auto note = noteAfterStop();
    EXPECT_NE(note.find("[00:00] 说话人 A: Hello.\n"), std::string::npos) << note;
    EXPECT_NE(note.find("[00:05] 说话人 B: Hi.\n"), std::string::npos) << note;
    EXPECT_EQ(room.server.requests.size(), 1U);
}

TEST_F(Meeting, PiecesAreSentOneAfterAnotherWhileItGoesOn) {
    room.useServer();
    room.server.delay = 50s;
    ASSERT_TRUE(room.start());
    int most = 0;
    room.scheduler.afterTurn = [&] { most = std::max(most, room.server.underWay); };
    for (int minute = 0; minute < 4; ++minute) {
        room.say(me, "part " + std::to_string(minute), 35s);
        room.silence(5s);
    }
    ASSERT_EQ(room.notes().size(), 1U);
    EXPECT_NE(room.notes().front().find("会议（进行中）"), std::string::npos);
    room.scheduler.afterTurn = nullptr;
    const auto note = noteAfterStop();
    EXPECT_EQ(most, 1);
    std::size_t at = 0;
    for (int minute = 0; minute < 4; ++minute) {
        at = note.find("part " + std::to_string(minute), at);
        ASSERT_NE(at, std::string::npos) << note;
    }
    EXPECT_EQ(note.find("Me"), std::string::npos) << "one microphone may stand in a full room";
}

TEST_F(Meeting, AServerThatIsAwayForMinutesLosesNothing) {
    room.useServer();
    ASSERT_TRUE(room.start());
    for (int i = 0; i < 30; ++i)
        room.server.fail(HttpError::Kind::unreachable);
    for (int part = 0; part < 8; ++part) {
        room.say(me, "part " + std::to_string(part), 40s);
        room.silence(2s);
    }
    EXPECT_EQ(std::ranges::count(room.told, messages::notTranscribing,
                                 &std::pair<std::string, std::string>::first),
              1);
    room.server.replies.clear();
    const auto note = noteAfterStop();
    for (int part = 0; part < 8; ++part)
        EXPECT_NE(note.find("part " + std::to_string(part)), std::string::npos) << note;
}

TEST_F(Meeting, AServerThatNeverAnswersLeavesTheMeetingToBeRecovered) {
    room.useServer();
    room.useModel();
    room.transcriber.languages.clear();
    ASSERT_TRUE(room.start());
    talk();
    for (int i = 0; i < 100; ++i)
        room.server.fail(HttpError::Kind::unreachable);
    const auto finished = room.stop();
    ASSERT_FALSE(finished);
    EXPECT_TRUE(room.wasTold(messages::notFinished));
    room.server.replies.clear();
    room.llm.say(summary("Price"));
    const auto recovered = room.await(room.meetings->recover());
    ASSERT_TRUE(recovered && *recovered);
    EXPECT_NE(room.note(**recovered).find("only for new customers"), std::string::npos);
    EXPECT_FALSE(room.await(room.meetings->recover())) << "there is nothing more to recover";
}

TEST_F(Meeting, TheDeviceStandsInWhereThereIsNoServerOrItFails) {
    ASSERT_TRUE(room.start()) << "without a server";
    talk();
    EXPECT_NE(noteAfterStop().find("Other side: only for new customers"), std::string::npos);
    EXPECT_TRUE(room.server.requests.empty());

    room.useServer();
    for (int i = 0; i < 100; ++i)
        room.server.fail(HttpError::Kind::unreachable);
    ASSERT_TRUE(room.start());
    talk();
    EXPECT_NE(noteAfterStop().find("only for new customers"), std::string::npos);
}

TEST_F(Meeting, ACrashAtAnyMomentLosesASecondAtMost) {
    for (const auto moment : {4s, 33s, 47s, 95s}) {
        MeetingRoom crashed;
        crashed.useServer();
        crashed.useModel();
        ASSERT_TRUE(crashed.start());
        crashed.say(me, std::string(static_cast<std::size_t>(moment.count()) * 10, 'x'), moment);
        const auto asked = crashed.server.requests.size();
        crashed.crashAndRestart();
        EXPECT_EQ(crashed.await(crashed.meetings->unfinished()).size(), 1U);
        crashed.llm.say(summary("x"));
        const auto before = crashed.server.requests.size();
        const auto recovered = crashed.await(crashed.meetings->recover());
        ASSERT_TRUE(recovered && *recovered) << moment.count();
        const auto note = crashed.note(**recovered);
        EXPECT_GE(std::ranges::count(note, 'x'), (moment.count() - 1) * 10) << moment.count();
        EXPECT_LE(crashed.server.requests.size() - before + asked,
                  static_cast<std::size_t>(moment.count() / 60 + 2))
            << "what was transcribed is not sent again";
        EXPECT_EQ(crashed.notes().size(), 1U);
    }
}

TEST_F(Meeting, TheUserIsToldTheTruthAboutWhatIsHeard) {
    room.audio.states = {State::running, State::muted};
    ASSERT_TRUE(room.start());
    ASSERT_TRUE(room.wasTold(messages::microphoneOnly));
    EXPECT_EQ(room.told.back().second, messages::speakersMuted);
    room.told.clear();
    room.audio.become(them, State::running);
    room.audio.become(them, State::noDevice);
    room.pass(1s);
    room.audio.become(them, State::running);
    room.pass(5s);
    EXPECT_TRUE(room.told.empty()) << "a headset that is changed is nothing to tell";
    room.audio.become(them, State::noServer);
    room.pass(5s);
    EXPECT_TRUE(room.wasTold(messages::microphoneOnly));

    room.silence(32s);
    EXPECT_TRUE(room.wasTold(messages::almostNothing));
    EXPECT_TRUE(room.meetings->isQuiet());
    room.say(me, "here I am", 1s);
    EXPECT_FALSE(room.meetings->isQuiet());
    (void)room.stop();

    room.audio.states = {State::noDevice, State::unsupported};
    room.told.clear();
    const auto failed = room.start();
    ASSERT_FALSE(failed);
    EXPECT_TRUE(room.wasTold(messages::cannotStart));
    EXPECT_FALSE(room.audio.capturing());
    EXPECT_TRUE(room.await(room.meetings->unfinished()).empty()) << "nothing is left of it";
}

TEST_F(Meeting, NothingHeardWritesNoNote) {
    ASSERT_TRUE(room.start());
    room.silence(40s);
    const auto finished = room.stop();
    ASSERT_TRUE(finished);
    EXPECT_EQ(*finished, std::nullopt);
    EXPECT_TRUE(room.wasTold(messages::nothingHeard));
    EXPECT_TRUE(room.notes().empty());
    EXPECT_TRUE(room.await(room.meetings->unfinished()).empty());
}

TEST_F(Meeting, ANoteWithoutASummaryCanHaveItLater) {
    room.useModel();
    room.llm.say("I cannot do that.");
    ASSERT_TRUE(room.start());
    talk();
    auto note = noteAfterStop();
    EXPECT_TRUE(note.starts_with("# 会议\n")) << note;
    EXPECT_NE(note.find("only for new customers"), std::string::npos);
    EXPECT_TRUE(room.wasTold(messages::written));
    room.llm.say("```json\n" + summary("Price") + "\n```");
    const auto again = room.await(room.meetings->summarise(""));
    ASSERT_TRUE(again && *again);
    note = room.note(**again);
    EXPECT_TRUE(note.starts_with("# Price\n")) << note;
    EXPECT_EQ(room.notes().size(), 1U);
    EXPECT_FALSE(room.await(room.meetings->summarise("")));
}

TEST_F(Meeting, ASummaryThatIsCancelledCanBeAskedForAgain) {
    room.useModel();
    room.llm.say("I cannot do that.");
    ASSERT_TRUE(room.start());
    talk();
    const auto note = noteAfterStop();
    const auto name = room.notes().front();
    room.llm.delay = 60s;
    const auto cancelled = room.begin(room.meetings->summarise(""));
    room.pass(5s);
    EXPECT_TRUE(room.meetings->isSummarising());
    room.meetings->cancelSummary();
    room.pass(1s);
    ASSERT_TRUE(cancelled->has_value());
    EXPECT_FALSE(cancelled->value());
    EXPECT_EQ(room.note(name), note);
    room.llm.say(summary("Price"));
    EXPECT_TRUE(room.await(room.meetings->summarise("")));
    EXPECT_EQ(room.notes().size(), 1U);
    EXPECT_NE(room.notes().front(), name);
}

TEST_F(Meeting, ADiskThatIsFullAtAnyWriteLosesNoWord) {
    // Before the meeting: it does not begin, and says why.
    const auto audio = room.folder.path() / "meeting-audio";
    std::ofstream(audio) << "in the way";
    EXPECT_FALSE(room.start());
    std::filesystem::remove(audio);
    // Notes that cannot be written are finished later.
    room.useModel();
    const auto folder = room.folder.path() / "meetings";
    std::ofstream(folder) << "in the way";
    ASSERT_TRUE(room.start());
    talk();
    EXPECT_FALSE(room.stop());
    EXPECT_TRUE(room.wasTold(messages::notFinished));
    std::filesystem::remove(folder);
    room.llm.say(summary("Price"));
    const auto recovered = room.await(room.meetings->recover());
    ASSERT_TRUE(recovered && *recovered);
    EXPECT_NE(room.note(**recovered).find("only for new customers"), std::string::npos);
}

TEST_F(Meeting, ADiskThatBecomesFullInTheMiddleIsToldAndNothingSaidIsLost) {
    room.useServer();
    ASSERT_TRUE(room.start());
    {
        // Room for three seconds of audio, and for notes.
        const FullDisk full(200'000);
        for (int part = 0; part < 8; ++part) {
            room.say(me, "part " + std::to_string(part), 40s);
            room.silence(2s);
        }
        EXPECT_TRUE(room.wasTold(messages::diskFailed));
        const auto note = noteAfterStop();
        for (int part = 0; part < 8; ++part)
            EXPECT_NE(note.find("part " + std::to_string(part)), std::string::npos) << note;
    }
    EXPECT_EQ(std::ranges::count(room.told, messages::diskFailed,
                                 &std::pair<std::string, std::string>::first),
              1);
}

TEST_F(Meeting, TheLastWordsBeforeTheStopAreTranscribedInTheirOrder) {
    room.useServer();
    room.transcriber.languages.clear();
    room.audio.states = {State::running,
                         State::noDevice};  // the last half second comes at the stop
    ASSERT_TRUE(room.start());
    room.say(me, "what was said", 35s);
    room.silence(1s);
    for (int i = 0; i < 100; ++i)
        room.server.fail(HttpError::Kind::unreachable);
    EXPECT_FALSE(room.stop());
    room.server.replies.clear();
    const auto recovered = room.await(room.meetings->recover());
    ASSERT_TRUE(recovered && *recovered);
    EXPECT_NE(room.note(**recovered).find("what was said"), std::string::npos)
        << room.note(**recovered);
}

TEST_F(Meeting, WhatTheFullDiskDidNotTakeIsWrittenWhenThereIsSpaceAgain) {
    room.useServer();
    room.transcriber.languages.clear();
    ASSERT_TRUE(room.start());
    for (int i = 0; i < 200; ++i)
        room.server.fail(HttpError::Kind::unreachable);
    {
        const FullDisk full(200'000);
        for (int part = 0; part < 4; ++part) {
            room.say(me, "part " + std::to_string(part), 40s);
            room.silence(2s);
        }
    }
    EXPECT_FALSE(room.stop());
    EXPECT_NE(room.told.back().second.find(messages::audioIsKept), std::string::npos);
    room.server.replies.clear();
    const auto recovered = room.await(room.meetings->recover());
    ASSERT_TRUE(recovered && *recovered);
    for (int part = 0; part < 4; ++part)
        EXPECT_NE(room.note(**recovered).find("part " + std::to_string(part)), std::string::npos)
            << room.note(**recovered);
}

TEST_F(Meeting, APieceThatTheServerRefusesLeavesAGapAndNoMore) {
    room.useServer();
    room.transcriber.languages.clear();
    room.server.respond = [this](const HttpRequest& request) {
        const auto samples =
            decodeOwnWav(std::string_view(*request.body).substr(request.body->find("RIFF")));
        const auto text = samples ? room.words.transcript(*samples) : "";
        return ScriptedServer::Scripted{100ms, text.contains("part 1") ? 400 : 200,
                                        R"({"text": ")" + text + "\"}"};
    };
    ASSERT_TRUE(room.start());
    for (int part = 0; part < 3; ++part) {
        room.say(me, "part " + std::to_string(part), 40s);
        room.silence(2s);
    }
    const auto note = noteAfterStop();
    EXPECT_NE(note.find("part 0"), std::string::npos) << note;
    EXPECT_NE(note.find("[…]"), std::string::npos) << note;
    EXPECT_NE(note.find("part 2"), std::string::npos) << note;
}

TEST_F(Meeting, NothingElseEndsAMeetingThatHasJustBegun) {
    room.useModel();
    room.llm.say("no summary");
    ASSERT_TRUE(room.start());
    talk();
    (void)noteAfterStop();
    room.llm.say(summary("Price"));
    const auto summarised = room.begin(room.meetings->summarise(""));
    const auto started = room.begin(room.meetings->start());
    room.pass(5s);
    ASSERT_TRUE(summarised->has_value() && started->has_value());
    EXPECT_NE(summarised->value().has_value(), started->value().has_value()) << "one of the two";
    EXPECT_EQ(room.meetings->isRecording(), started->value().has_value());
    EXPECT_EQ(room.audio.capturing(), room.meetings->isRecording());
}

TEST_F(Meeting, ANoteThatTheUserChangedIsTheUsers) {
    room.useModel();
    room.llm.say("no summary");
    ASSERT_TRUE(room.start());
    talk();
    (void)noteAfterStop();
    const auto mine = room.folder.path() / "meetings" / room.notes().front();
    std::ofstream(mine, std::ios::app) << "Call Anna.\n";
    room.llm.say(summary("Price"));
    ASSERT_TRUE(room.await(room.meetings->summarise("")));
    EXPECT_EQ(room.notes().size(), 2U);
    EXPECT_TRUE(std::filesystem::exists(mine));
}

TEST_F(Meeting, AStopWhileTheProgramEndsIsRefused) {
    ASSERT_TRUE(room.start());
    talk();
    const auto ended = room.begin([](MeetingTranscriber& meetings) -> asio::awaitable<bool> {
        co_await meetings.shutDown();
        co_return true;
    }(*room.meetings));
    EXPECT_FALSE(room.await(room.meetings->stop()));
    room.pass(1s);
    EXPECT_TRUE(ended->value_or(false));
    EXPECT_FALSE(room.await(room.meetings->stop()));
    EXPECT_EQ(room.await(room.meetings->unfinished()).size(), 1U);
    EXPECT_TRUE(room.await(room.meetings->discard()));
    EXPECT_TRUE(room.await(room.meetings->unfinished()).empty());
}

TEST_F(Meeting, OneAtATimeAndNoneWithoutARecogniser) {
    EXPECT_FALSE(room.stop());
    ASSERT_TRUE(room.start());
    EXPECT_FALSE(room.start());
    EXPECT_FALSE(room.await(room.meetings->recover()));
    room.silence(1s);
    (void)room.stop();
    room.transcriber.languages.clear();
    const auto without = room.start();
    ASSERT_FALSE(without);
    EXPECT_NE(without.error().find("on-device"), std::string::npos) << without.error();
}

TEST_F(Meeting, AnOrderlyEndKeepsTheMeetingForTheNextStart) {
    room.useModel();
    ASSERT_TRUE(room.start());
    talk();
    auto ended = room.begin([](MeetingTranscriber& meetings) -> asio::awaitable<bool> {
        co_await meetings.shutDown();
        co_return true;
    }(*room.meetings));
    room.pass(1s);
    EXPECT_TRUE(ended->value_or(false));
    room.crashAndRestart();
    room.llm.say(summary("Price"));
    const auto recovered = room.await(room.meetings->recover());
    ASSERT_TRUE(recovered && *recovered);
    EXPECT_NE(room.note(**recovered).find("only for new customers"), std::string::npos);
}

}  // namespace
}  // namespace quillet::world
