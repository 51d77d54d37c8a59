#pragma once

#include <asio/awaitable.hpp>
#include <functional>
#include <optional>
#include <string>
#include <string_view>

#include "app/EditLearning.h"
#include "app/HistoryWriter.h"
#include "app/Inserter.h"
#include "app/PreSendController.h"
#include "app/RecentDictations.h"
#include "app/SelectionCapture.h"
#include "app/TextPipeline.h"
#include "app/Utterance.h"
#include "memory/DeletedDictations.h"
#include "platform/IdSource.h"

namespace quillet {

/// From what was heard to text in the application in front and a row in the history, with all that
/// follows: the message is sent by itself where that is wanted, and the user's edits are learned
/// from. Belongs to the main queue's thread.
class Delivery {
public:
    struct Services {
        Scheduler& scheduler;
        Calendar& calendar;
        IdSource& ids;
        AppSettings& settings;
        AppProfileStore& profiles;
        LLMRefiner& llmRefiner;
        VocabularyDB& vocabDB;
        SessionStore& history;
        FloatingPanel& panel;
        Inserter::Services inserting;
        SelectionCapture& selection;
        TaskScope& tasks;  ///< owns what is under way beside a delivery
        Log log;
        /// What is in flight, or which keys are wanted, has changed.
        std::function<void()> changed;
    };

    explicit Delivery(Services services);

    /// Does what can be done while the user still speaks.
    void prepare(VoiceIntent intent);

    /// Writes what was recognised as it should be written, types it, and keeps it in the history.
    /// Returns what the user is to be told; empty when the text itself says enough. The utterance
    /// must stay.
    [[nodiscard]] asio::awaitable<std::string_view> deliver(Utterance& utterance, std::string raw);
    /// The same for a text that is returned instead of typed.
    [[nodiscard]] asio::awaitable<std::string> deliverToAgent(Utterance& utterance,
                                                              std::string raw);

    /// How a piece of speech is to be written, with nothing done about it.
    [[nodiscard]] asio::awaitable<TextPipeline::Written> write(const Utterance& utterance,
                                                               std::string raw);
    /// Lets the language model know later what it wrote here.
    void remember(const Utterance& utterance, const TextPipeline::Written& written);
    /// Keeps a dictation in the history; returns its entry's id, none when no history is kept.
    std::optional<std::string> writeDown(HistoryWriter::Dictation dictation);

    /// Types something that is no dictation.
    [[nodiscard]] asio::awaitable<Inserter::Outcome> type(Inserter::Request request);
    /// Another dictation begins, or something else is typed: no message is sent by itself any more,
    /// and what became of the last paste is learned from.
    void beginAnew();

    void keyDown(KeyChord chord);
    /// Whether keys that the user types are wanted.
    [[nodiscard]] bool wantsTyping() const { return preSend_.pending() || edits_.watching(); }
    /// The message that is about to be sent by itself is not.
    void cancelSend() { preSend_.cancelForUser(); }
    [[nodiscard]] bool sendPending() const { return preSend_.pending(); }

    [[nodiscard]] Inserter& inserter() { return inserter_; }
    [[nodiscard]] const Inserter& inserter() const { return inserter_; }
    [[nodiscard]] const std::optional<std::string>& lastOutput() const { return lastOutput_; }
    void setLastOutput(std::string text) { lastOutput_ = std::move(text); }
    [[nodiscard]] const std::optional<LastPaste>& lastPaste() const { return lastPaste_; }
    void forgetLastPaste() { lastPaste_.reset(); }
    /// Lets go of what the user deleted.
    void forget(const DeletedDictations& deleted);

    /// Waits for what is being written down and learned, and gives the clipboard back.
    [[nodiscard]] asio::awaitable<void> settled();

private:
    using Way = TextPipeline::Written::Way;

    /// Where a text has come to.
    struct Placed {
        Inserter::Outcome outcome = Inserter::Outcome::lost;
        std::string_view notice;  ///< what is to be said of it; may be empty
    };

    [[nodiscard]] TextPipeline::Heard heard(const Utterance& utterance, std::string raw) const;
    asio::awaitable<Placed> place(const Utterance& utterance, const TextPipeline::Written& written);
    asio::awaitable<Placed> copy(std::string text, std::string_view notice);
    asio::awaitable<Placed> paste(const Utterance& utterance, const std::string& text);
    asio::awaitable<Placed> amend(const Utterance& utterance, const std::string& text);
    void pasted(Utterance& utterance, const TextPipeline::Written& written, int returnsBefore);
    void watchEdits();
    void autoSend(const Utterance& utterance, Way way, int returnsBefore);

    Services services_;
    Inserter inserter_;
    TextPipeline pipeline_;
    RecentDictations recent_;
    HistoryWriter history_;
    PreSendController preSend_;
    EditLearning edits_;
    FrontApp typedInto_;  // what the last text went into
    std::optional<std::string> lastOutput_;
    std::optional<LastPaste> lastPaste_;
};

}  // namespace quillet
