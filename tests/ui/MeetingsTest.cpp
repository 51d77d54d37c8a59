#include <gtest/gtest.h>

#include <QApplication>
#include <QClipboard>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QMessageBox>
#include <QPushButton>
#include <QTextBlock>
#include <QTextDocument>

#include "meetings/MeetingNote.h"
#include "ui/kit/UiText.h"
#include "ui/meetings/MeetingPlayer.h"
#include "ui/meetings/MeetingsWindow.h"
#include "ui/meetings/NoteSearch.h"
#include "ui/meetings/NoteText.h"
#include "ui/meetings/NoteView.h"
#include "world/MeetingRoom.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using world::MeetingRoom;

// --- The text of a note --------------------------------------------------------------------------

TEST(NoteText, IsReadAsItIsWritten) {
    const MeetingRoom room;
    MeetingNote note;
    note.summary.title = "Budget";
    note.summary.summary = "- [09:00] is when it begins\n## 转写\n- twice";
    note.lines = {{0s, 4s, "Me", "Good morning."},
                  {3599s, 3600s, std::nullopt, "[00:01] said in brackets"},
                  {3661s, 3670s, "Other side", "**Bye**"}};
    auto markdown = quillet::markdown(note, room.calendar);
    markdown += "\n[whenever] a remark of the user's\n";
    const auto read = readNoteText(markdown);
    EXPECT_TRUE(read.body.starts_with("# Budget\n"));
    EXPECT_NE(read.body.find("- twice"), std::string::npos) << "only the heading ends the body";
    const std::vector<NoteText::Line> expected = {
        {0s, "[00:00]", "Me: Good morning."},
        {3599s, "[59:59]", "[00:01] said in brackets"},
        {3661s, "[1:01:01]", "Other side: **Bye**"},
        {std::nullopt, "", "[whenever] a remark of the user's"}};
    EXPECT_EQ(read.lines, expected);
}

TEST(NoteText, TheLineThatIsHeardIsTheOneThatBeganLast) {
    const std::vector<NoteText::Line> lines = {{2s, "[00:02]", "one"},
                                               {10s, "[00:10]", "two"},
                                               {8s, "[00:08]", "into it"},
                                               {std::nullopt, "", "remark"}};
    EXPECT_FALSE(lineAt(lines, 1999ms));
    EXPECT_EQ(lineAt(lines, 2s), 0U);
    EXPECT_EQ(lineAt(lines, 9s), 2U);
    EXPECT_EQ(lineAt(lines, 1h), 1U);
}

TEST(NoteText, OnlyADateIsTakenOutOfAName) {
    EXPECT_EQ(titleInName("2026-11-21 14.30 Budget.md"), "Budget");
    EXPECT_EQ(titleInName("2026 in numbers.md"), "2026 in numbers");
    EXPECT_EQ(titleInName("2026-11-21 14.30.md"), "2026-11-21 14.30") << "it has no other";
}

TEST(NoteSearch, EveryWordIsInTheNameOrTheText) {
    MeetingRoom room;
    (void)room.await(room.noteStore->write("2026-11-20 09.00 Budget.md", "# B\n\nÜber Kosten"));
    (void)room.await(room.noteStore->write("2026-11-21 09.00 Hiring.md", "# H\n\nbudget"));
    const auto found = [&](std::string query, std::stop_token stop = {}) {
        return room.await(notesWith(*room.noteStore, std::move(query), std::move(stop))).size();
    };
    EXPECT_EQ(found("BUDGET"), 2U);
    EXPECT_EQ(found("budget über"), 1U);
    EXPECT_EQ(found("budget nowhere"), 0U);
    EXPECT_EQ(found("  "), 2U);
    std::stop_source stop;
    stop.request_stop();
    EXPECT_EQ(found("budget", stop.get_token()), 0U);
}

TEST(NoteView, ALineThatIsHeardIsMarkedAndTheTextIsAsBeforeAfterwards) {
    NoteView view;
    view.showNote({"# Title\n\n- [ ] **A**：task\n\n## 转写\n",
                   {{1s, "[00:01]", "a"}, {2s, "[00:02]", "b *c*"}}},
                  NoteView::Times::links);
    const auto before = view.toPlainText();
    EXPECT_TRUE(before.endsWith(QStringLiteral("\n[00:01] a\n[00:02] b *c*")));
    view.markHeard(1);
    EXPECT_EQ(view.document()->lastBlock().text(), QStringLiteral("▶ [00:02] b *c*"));
    view.markHeard(0);
    EXPECT_EQ(view.document()->lastBlock().text(), QStringLiteral("[00:02] b *c*"));
    view.markHeard(std::nullopt);
    EXPECT_EQ(view.toPlainText(), before);
    EXPECT_TRUE(view.extraSelections().isEmpty());
}

// --- The audio -----------------------------------------------------------------------------------

/// Plays what it is given for as long as the story says.
class ScriptedPlayer final : public AudioPlayer {
public:
    std::unique_ptr<Playback> play(Sound sound, std::chrono::milliseconds /*from*/,
                                   Listener listener) override {
        lengths.push_back(sound.length());
        listener_ = std::move(listener);
        return std::make_unique<ScriptedPlayback>(*this);
    }
    void move(std::chrono::milliseconds position) { listener_->moved(position); }
    void end(std::optional<Error> error = {}) { listener_->ended(error); }
    [[nodiscard]] bool isPlaying() const { return listener_.has_value(); }

    std::vector<std::chrono::milliseconds> lengths;

private:
    class ScriptedPlayback final : public Playback {
    public:
        explicit ScriptedPlayback(ScriptedPlayer& owner) : owner_(owner) { ++owner_.playbacks_; }
        ~ScriptedPlayback() override {
            if (--owner_.playbacks_ == 0)
                owner_.listener_.reset();
        }
        void pause() override {}
        void resume() override {}

    private:
        ScriptedPlayer& owner_;
    };
    std::optional<Listener> listener_;
    int playbacks_ = 0;
};

/// A meeting's audio of this length, without a word.
void keepAudio(MeetingRoom& room, const std::string& id, std::chrono::seconds length) {
    auto audio = room.await(room.archive->begin(id));
    const std::vector<std::int16_t> second(16'000, 100);
    for (auto i = 0s; i < length; ++i)
        audio->append(second, second);
    EXPECT_TRUE(room.await(audio->close()));
}

struct Playing {
    explicit Playing(MeetingRoom& room)
        : meeting({room.loop, *room.archive, player, *room.queue},
                  {[] {}, [this](auto at) { position = at; },
                   [this](const QString& sentence) { failures << sentence; }}) {}

    ScriptedPlayer player;
    std::chrono::milliseconds position{};
    QStringList failures;
    MeetingPlayer meeting;
};

TEST(MeetingPlayer, PlaysStretchAfterStretchFromWhereItWasAsked) {
    MeetingRoom room;
    keepAudio(room, "m", 200s);
    EXPECT_EQ(room.await(room.archive->length("m")), 200 * 16'000);
    EXPECT_FALSE(room.await(room.archive->length("other")));
    Playing playing(room);
    playing.meeting.play("m", 30s, 200s);
    room.pass(1s);
    playing.player.move(1s);
    EXPECT_EQ(playing.position, 31s);
    playing.player.end();
    room.pass(1s);
    playing.player.move(2s);
    EXPECT_EQ(playing.position, 152s);
    EXPECT_EQ(playing.player.lengths, (std::vector<std::chrono::milliseconds>{120s, 50s}));
    playing.player.end();
    room.pass(1s);
    EXPECT_FALSE(playing.meeting.isPlaying());
    EXPECT_TRUE(playing.failures.isEmpty());
}

TEST(MeetingPlayer, StopsAtOnceAndTellsOfWhatCannotBePlayed) {
    MeetingRoom room;
    keepAudio(room, "m", 200s);
    Playing playing(room);
    playing.meeting.play("m", 0s, 200s);
    room.pass(1s);
    playing.meeting.play("m", 150s, 200s);
    EXPECT_FALSE(playing.player.isPlaying());
    room.pass(1s);
    EXPECT_EQ(playing.player.lengths.back(), 50s);
    playing.meeting.stop();
    EXPECT_FALSE(playing.player.isPlaying());
    EXPECT_TRUE(playing.failures.isEmpty());

    playing.meeting.play("m", 0s, 200s);
    room.pass(1s);
    playing.player.end(AudioPlayer::Error::serverLost);
    room.pass(1s);
    EXPECT_EQ(playing.failures.size(), 1);
    EXPECT_FALSE(playing.meeting.isPlaying());

    playing.meeting.play("gone", 0s, 200s);
    room.pass(1s);
    EXPECT_EQ(playing.failures.size(), 2);
    EXPECT_FALSE(playing.meeting.isPlaying());
}

// --- The window ----------------------------------------------------------------------------------

class MeetingsWindowStory : public ::testing::Test {
protected:
    MeetingRoom room;
    ScriptedPlayer player;
    std::unique_ptr<MeetingsWindow> window;

    ~MeetingsWindowStory() override { window.reset(); }
    void open() {
        window = std::make_unique<MeetingsWindow>(
            MeetingsWindow::Services{room.loop, *room.meetings, *room.archive, *room.noteStore,
                                     room.calendar, room.notifications, player});
        window->show();
        room.pass(1s);
    }
    /// The button that reads so, shown or not.
    QPushButton* button(std::string_view english) const {
        for (auto* one : window->findChildren<QPushButton*>()) {
            if (one->text() == label(english))
                return one;
        }
        return nullptr;
    }
    void press(std::string_view english) {
        auto* one = button(english);
        ASSERT_TRUE(one != nullptr && one->isVisible() && one->isEnabled()) << english;
        one->click();
        room.pass(3s);
    }
    [[nodiscard]] QString shown() const { return window->findChild<NoteView*>()->toPlainText(); }
    [[nodiscard]] int rows() const { return window->findChild<QListView*>()->model()->rowCount(); }
};

TEST_F(MeetingsWindowStory, AMeetingFromItsStartToItsDeletion) {
    open();
    EXPECT_EQ(rows(), 0);
    press("Start Meeting");
    if (auto* reminder = window->findChild<QMessageBox*>())
        reminder->accept();
    EXPECT_TRUE(room.meetings->isRecording());
    room.say(MeetingRoom::me, "we begin", 5s);
    room.silence(2s);
    press("Stop — Write the Notes");
    room.pass(60s);
    ASSERT_EQ(rows(), 1);
    EXPECT_TRUE(shown().contains(QStringLiteral("we begin")));
    EXPECT_TRUE(button("&Summarise Again")->isVisible()) << "there is no model";

    press("&Play");
    EXPECT_TRUE(player.isPlaying());
    player.move(4s);
    EXPECT_TRUE(shown().contains(QStringLiteral("▶ [00:0"))) << toText(shown());
    press("&Copy");
    EXPECT_TRUE(QApplication::clipboard()->text().startsWith(QStringLiteral("# ")));

    button("&Delete…")->click();
    for (auto* one : window->findChildren<QPushButton*>()) {
        if (one->text() == label("Delete"))
            one->click();
    }
    room.pass(1s);
    EXPECT_FALSE(player.isPlaying());
    EXPECT_EQ(rows(), 0);
    EXPECT_TRUE(room.notes().empty());
    EXPECT_TRUE(room.await(room.noteStore->index()).meetings.empty());
    EXPECT_TRUE(std::filesystem::is_empty(room.folder.path() / "meeting-audio"));
}

TEST_F(MeetingsWindowStory, ADeletionGoesOnWhenTheWindowIsClosed) {
    ASSERT_TRUE(room.start());
    room.say(MeetingRoom::me, "we begin", 5s);
    (void)room.stop();
    open();
    ASSERT_EQ(rows(), 1);
    ASSERT_FALSE(std::filesystem::is_empty(room.folder.path() / "meeting-audio"));
    const auto note = room.await(room.noteStore->entries()).front().url;
    button("&Delete…")->click();
    for (auto* one : window->findChildren<QPushButton*>()) {
        if (one->text() == label("Delete"))
            one->click();
    }
    while (std::filesystem::exists(note))
        room.scheduler.step();
    window.reset();
    room.pass(1s);
    EXPECT_TRUE(std::filesystem::is_empty(room.folder.path() / "meeting-audio"));
}

TEST_F(MeetingsWindowStory, ASummaryIsAskedForAgainAndTheNoteStaysChosen) {
    ASSERT_TRUE(room.start());
    room.say(MeetingRoom::me, "we begin", 5s);
    (void)room.stop();
    (void)room.await(room.noteStore->write("2020-01-01 09.00 Old.md", "# Old\n"));
    open();
    ASSERT_EQ(rows(), 2);
    room.useModel();
    room.llm.delay = 20s;
    press("&Summarise Again");
    EXPECT_FALSE(button("&Summarise Again")->isEnabled());
    press("Cancel");
    EXPECT_TRUE(room.llm.requests.size() == 1);
    EXPECT_TRUE(button("&Summarise Again")->isEnabled());
    room.llm.say(R"({"title": "Beginnings", "summary": "- It began.", "decisions": [],
                     "todos": [], "questions": [], "follow_up": ""})");
    press("&Summarise Again");
    room.pass(30s);
    EXPECT_TRUE(shown().startsWith(QStringLiteral("Beginnings"))) << toText(shown());
    EXPECT_FALSE(button("&Summarise Again")->isVisible());
    EXPECT_FALSE(button("Cancel")->isVisible());
    EXPECT_EQ(rows(), 2);
}

TEST_F(MeetingsWindowStory, NothingIsPlayedOrDeletedThatIsBeingRecorded) {
    ASSERT_TRUE(room.start());
    room.say(MeetingRoom::me, "we begin", 40s);
    room.silence(30s);
    open();
    ASSERT_EQ(rows(), 1) << "the draft";
    EXPECT_FALSE(button("&Play")->isEnabled());
    EXPECT_FALSE(button("&Delete…")->isEnabled());
    EXPECT_FALSE(button("Start Meeting")->isVisible());
    window->findChild<NoteView*>()->timeChosen(0s);
    room.pass(1s);
    EXPECT_FALSE(player.isPlaying());
}

}  // namespace
}  // namespace quillet
