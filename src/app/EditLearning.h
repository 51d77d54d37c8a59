#pragma once

#include <asio/awaitable.hpp>
#include <chrono>
#include <functional>
#include <memory>
#include <optional>
#include <string>

#include "app/EditedText.h"
#include "base/async/Event.h"
#include "base/async/InFlight.h"
#include "base/async/Scheduler.h"
#include "base/async/TaskScope.h"
#include "base/log/Log.h"
#include "platform/FocusedField.h"
#include "platform/FrontApplication.h"
#include "platform/Keys.h"
#include "settings/AppSettings.h"
#include "store/VocabularyDB.h"

namespace quillet {

/// Watches what the user makes of a text that was pasted, and has the vocabulary learn the words
/// that were corrected. Only the very field that the paste went into is ever looked at, and only
/// one that is seen to be no password field, in an application that is not excluded.
///
/// The field is read after keys that the user presses, not otherwise: what stood there last before
/// it was sent is what counts. Belongs to the main queue's thread.
class EditLearning {
public:
    static constexpr std::chrono::seconds editLearningWindow{600};

    struct Services {
        Scheduler& scheduler;
        FrontApplication& frontApplication;
        FocusedField& focusedField;
        AppSettings& settings;
        VocabularyDB& vocabDB;
        TaskScope& tasks;  ///< owns what is under way; outlives this
        Log log;
        std::function<void()> watchingChanged;
    };

    explicit EditLearning(Services services);

    /// Before a paste: notes where in this application's field it will go, if that can be told
    /// until `seal`.
    void look(const FrontApp& front);
    /// The same at once, for a paste that will replace the text `standing` just before the caret.
    [[nodiscard]] asio::awaitable<void> lookNow(FrontApp front, std::string standing);
    /// Just before the paste keys are pressed: what is read from now on may hold the paste.
    void seal();
    /// The text was pasted: from now on its edits are watched. `edited` is called once the user has
    /// begun to change it.
    void pasted(std::string text, std::function<void()> edited);
    /// A key that the user pressed.
    void keyDown(KeyChord chord);
    /// The message that holds the text is being sent.
    void sent();
    /// The watch is over, for another dictation begins: what stands in the field now counts.
    void finish();

    [[nodiscard]] bool watching() const { return watch_ != nullptr; }
    /// Waits until nothing is being learned any more.
    [[nodiscard]] asio::awaitable<void> settled() { return underWay_.settled(); }

private:
    struct Look;
    struct Watch;
    using WatchPtr = std::shared_ptr<Watch>;

    asio::awaitable<void> keepLooking(FrontApp front);
    asio::awaitable<void> run(WatchPtr watch, InFlight::Token underWay);
    asio::awaitable<void> followTyping(WatchPtr watch);
    asio::awaitable<bool> takeSnapshot(WatchPtr watch);
    void noticeEditing(Watch& watch);
    asio::awaitable<void> learn(const Watch& watch);
    [[nodiscard]] bool isInFront(const Watch& watch) const;
    void stopWatching(const Watch& watch);

    Services services_;
    std::shared_ptr<Look> look_;  // shared with its task; none before a paste
    TaskHandle looking_;
    WatchPtr watch_;  // shared with its tasks; none when nothing is watched
    InFlight underWay_;
};

}  // namespace quillet
