#pragma once

#include <QWidget>
#include <functional>
#include <string>

#include "ui/history/RecordingPlayer.h"

class QKeySequence;
class QPushButton;

namespace quillet {

class EntryList;
class MessageBar;

/// What can be done with the dictations that are chosen in a list, as a row of buttons and as keys
/// in the list.
class EntryActions : public QWidget {
public:
    struct Services {
        Loop& loop;
        RecordingArchive& archive;
        AudioPlayer& player;
        std::function<void(std::string text)> typeAgain;  ///< none: it is not offered
    };

    EntryActions(Services services, EntryList& list, MessageBar& messages);

    /// Those that are chosen are to be deleted.
    std::function<void()> wantsDeleted;

    /// Offers what is possible now.
    void update();
    void stopPlaying() { recordings_.stop(); }

private:
    void layOut();
    void connectButtons();
    void copy();
    void typeAgain();
    void playOrStop();

    Services services_;
    EntryList& list_;
    MessageBar& messages_;
    QPushButton* play_;
    QPushButton* copy_;
    QPushButton* typeAgain_;
    QPushButton* delete_;
    RecordingPlayer recordings_;
};

}  // namespace quillet
