#pragma once

#include <QWidget>
#include <functional>
#include <optional>
#include <string>

#include "base/notification/NotificationCenter.h"
#include "meetings/MeetingLibrary.h"
#include "meetings/MeetingTranscriber.h"
#include "ui/meetings/MeetingPlayer.h"

class QLabel;
class QPushButton;

namespace quillet {

class NoteView;
class PlayBar;

/// One meeting's note, its audio as long as it is kept, and what can be done with them.
class MeetingNotePane : public QWidget {
public:
    struct Services {
        Loop& loop;
        const MeetingTranscriber& meetings;
        MeetingArchive& archive;
        MeetingLibrary& notes;
        const Calendar& calendar;
        NotificationCenter& notifications;
        AudioPlayer& player;
    };
    struct Listener {
        std::function<void(const QString& sentence)> told;
        std::function<void(const QString& sentence)> failed;
        std::function<void(std::string note)> wantsSummary;
        std::function<void()> deleted;
    };

    MeetingNotePane(Services services, Listener listener);
    ~MeetingNotePane() override;

    /// Shows a note; the same one again only where it has changed.
    void showNote(MeetingLibrary::Entry note);
    /// Another phase allows other things.
    void showActions();
    /// Has the keys of a list act on the note: Copy, Delete, and Space to play.
    void listenTo(QWidget& list);

private:
    /// What there is beside the note.
    struct Kept {
        std::string id;
        MeetingRecord::Stage stage = MeetingRecord::Stage::open;
        Calendar::UnixTime started;
        std::optional<MeetingPlayer::Position> audio;  ///< how long it is
        friend bool operator==(const Kept&, const Kept&) = default;
    };

    [[nodiscard]] QWidget* makeActions();
    asio::awaitable<void> load(MeetingLibrary::Entry note);
    asio::awaitable<std::optional<Kept>> whatIsKept(std::string note);
    void showText();
    [[nodiscard]] QString audioSentence() const;
    [[nodiscard]] bool hasAudio() const { return kept_ && kept_->audio; }
    /// Whether the note still changes by itself.
    [[nodiscard]] bool isBeingWritten() const;

    void play(MeetingPlayer::Position from);
    void playOrStop();
    void heard(MeetingPlayer::Position position);
    void showPlaying();
    void copy();
    void openInEditor();
    void showInFolder();
    void askToDelete();
    asio::awaitable<void> remove(std::string name);

    Services services_;
    Listener listener_;
    bool isGoing_ = false;  // the listener may be gone
    NoteView* view_;
    PlayBar* playBar_;
    QLabel* audioLine_;
    QPushButton* summarise_;
    QPushButton* copy_;
    QPushButton* open_;
    QPushButton* folder_;
    QPushButton* delete_;
    MeetingLibrary::Entry note_;
    std::string markdown_;
    std::optional<Kept> kept_;
    MeetingPlayer player_;
    TaskHandle loading_;
    TaskScope tasks_;
};

}  // namespace quillet
