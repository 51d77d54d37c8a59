#include "app/Delivery.h"

#include <asio/experimental/awaitable_operators.hpp>

#include "app/Messages.h"
#include "base/async/Checkpoint.h"

namespace quillet {

namespace {

using namespace asio::experimental::awaitable_operators;

constexpr std::chrono::milliseconds longestLastLook{300};

std::string_view nameOf(FocusedField::Selecting outcome) {
    switch (outcome) {
        case FocusedField::Selecting::selected:
            return "selected";
        case FocusedField::Selecting::atCaret:
            return "atCaret";
        case FocusedField::Selecting::notThere:
            return "notThere";
        case FocusedField::Selecting::unreadable:
            return "unreadable";
    }
    return {};
}

/// The same, for an inserter that types into no excluded application and tells the user of one that
/// does not take its text.
Inserter::Services withRules(Inserter::Services services, const AppSettings& settings,
                             FloatingPanel& panel) {
    services.isAllowed = [&settings](const std::string& bundleID) {
        return settings.isAllowed(bundleID);
    };
    services.notTaken = [&panel] { panel.showNotice(std::string(messages::notTaken)); };
    return services;
}

bool rewritesSelection(const Utterance& utterance) {
    return utterance.intent == VoiceIntent::command && !utterance.amend &&
           utterance.selection.kind == FocusedField::Selection::Kind::text;
}

}  // namespace

Delivery::Delivery(Services services)
    : services_(std::move(services)),
      inserter_(withRules(services_.inserting, services_.settings, services_.panel),
                [this](int) { services_.changed(); }),
      pipeline_({services_.settings, services_.vocabDB, services_.llmRefiner, services_.log}),
      history_({services_.calendar, services_.settings, services_.history, services_.tasks}),
      preSend_({services_.scheduler, services_.inserting.frontApplication,
                services_.inserting.focusedField, services_.inserting.keys, services_.panel,
                services_.tasks, services_.log, services_.changed, [this] { edits_.sent(); },
                [this] { return inserter_.taken(); }}),
      edits_({services_.scheduler, services_.inserting.frontApplication,
              services_.inserting.focusedField, services_.settings, services_.vocabDB,
              services_.tasks, services_.log, services_.changed}) {}

void Delivery::prepare(VoiceIntent intent) {
    services_.tasks.spawn(pipeline_.prepare(intent));
}

void Delivery::beginAnew() {
    preSend_.cancel();
    edits_.finish();
}

void Delivery::keyDown(KeyChord chord) {
    preSend_.keyDown(chord);
    edits_.keyDown(chord);
}

// --- Writing -------------------------------------------------------------------------------------

TextPipeline::Heard Delivery::heard(const Utterance& utterance, std::string raw) const {
    TextPipeline::Heard heard;
    heard.raw = std::move(raw);
    heard.intent = utterance.intent;
    if (utterance.amend)
        heard.selection = utterance.amended.text;
    else if (rewritesSelection(utterance))
        heard.selection = utterance.selection.text;
    heard.situation.app = utterance.appName.value_or("");
    heard.situation.window = utterance.windowTitle;
    heard.situation.screen = utterance.screenText;
    heard.situation.recent = recent_.before(utterance.bundleID, services_.scheduler.now());
    heard.screenTerms = utterance.screenTerms;
    heard.beforeCursor = utterance.context;
    return heard;
}

asio::awaitable<TextPipeline::Written> Delivery::write(const Utterance& utterance,
                                                       std::string raw) {
    co_return co_await pipeline_.write(heard(utterance, std::move(raw)));
}

void Delivery::remember(const Utterance& utterance, const TextPipeline::Written& written) {
    if (written.way == Way::model)
        recent_.add(utterance.bundleID, written.text, services_.scheduler.now());
}

void Delivery::forget(const DeletedDictations& deleted) {
    recent_.clear();
    const auto isLast = [this](const TranscriptEntry& entry) {
        return entry.finalText == lastOutput_ || entry.rawText == lastOutput_;
    };
    if (deleted.all || std::ranges::any_of(deleted.entries, isLast))
        lastOutput_.reset();
    if (lastPaste_ && (deleted.all || deleted.hasID(lastPaste_->entryID.value_or(""))))
        lastPaste_.reset();
}

asio::awaitable<std::string_view> Delivery::deliver(Utterance& utterance, std::string raw) {
    using Kind = FocusedField::Selection::Kind;
    if (utterance.intent == VoiceIntent::command && !utterance.amend)
        utterance.selection = co_await services_.selection.finished();
    co_await checkpoint();
    if (utterance.intent == VoiceIntent::command && utterance.selection.kind == Kind::tooLong) {
        lastOutput_ = std::move(raw);
        co_return messages::selectionTooLong;
    }
    const auto written = co_await write(utterance, raw);
    co_await checkpoint();
    utterance.processedText = written.text;
    utterance.commitAt = services_.scheduler.now();
    // From here on the words can be had again, whatever happens to the paste.
    lastOutput_ = written.text;
    const int returnsBefore = preSend_.manualReturns();
    const auto placed = co_await place(utterance, written);
    utterance.entryID = writeDown(
        {utterance.historyID.value_or(services_.ids.uuid()), std::move(raw), written.text,
         utterance.bundleID, utterance.appName, EntryKind::dictation,
         utterance.amend && written.way != Way::offline ? utterance.amended.entryID : std::nullopt,
         false});
    if (placed.outcome == Inserter::Outcome::pasted)
        pasted(utterance, written, returnsBefore);
    else if (placed.outcome == Inserter::Outcome::appChanged)
        services_.log.info("Frontmost app changed during refine — copying instead of pasting");
    services_.log.info("Commit: {}", services_.log.hidden(written.text));
    if (placed.notice.empty() && written.way == Way::offline)
        co_return messages::sentAsHeard;
    co_return placed.notice;
}

asio::awaitable<std::string> Delivery::deliverToAgent(Utterance& utterance, std::string raw) {
    auto written = co_await write(utterance, raw);
    co_await checkpoint();
    utterance.processedText = written.text;
    utterance.commitAt = services_.scheduler.now();
    lastOutput_ = written.text;
    // It went into no application, whichever was in front.
    utterance.entryID =
        writeDown({utterance.historyID.value_or(services_.ids.uuid()), std::move(raw), written.text,
                   std::nullopt, std::nullopt, EntryKind::dictation, std::nullopt, false});
    co_return std::move(written.text);
}

std::optional<std::string> Delivery::writeDown(HistoryWriter::Dictation dictation) {
    if (!history_.keeps(dictation.bundleID))
        return std::nullopt;
    auto id = dictation.entryID;
    // The next dictation does not wait for the history of this one.
    history_.write(std::move(dictation), [this](const std::string& failed) {
        if (lastPaste_ && lastPaste_->entryID == failed)
            lastPaste_->entryID.reset();
        services_.panel.showNotice(std::string(messages::historyNotSaved));
    });
    return id;
}

// --- Typing --------------------------------------------------------------------------------------

/// Types the text, unless that would replace something that it is not meant for.
asio::awaitable<Delivery::Placed> Delivery::place(const Utterance& utterance,
                                                  const TextPipeline::Written& written) {
    using Kind = FocusedField::Selection::Kind;
    const bool offline = written.way == Way::offline;
    if (utterance.amend) {
        if (offline)
            co_return co_await copy(written.text, messages::amendedTextKept);
        co_return co_await amend(utterance, written.text);
    }
    if (utterance.intent == VoiceIntent::command) {
        const auto kind = utterance.selection.kind;
        // An instruction typed over the text that it was meant for would destroy that.
        if (offline && kind != Kind::nothing)
            co_return co_await copy(written.text, messages::selectionKept);
        if (kind == Kind::text && !co_await services_.selection.stands())
            co_return co_await copy(written.text, messages::selectionChanged);
    }
    co_return co_await paste(utterance, written.text);
}

asio::awaitable<Delivery::Placed> Delivery::copy(std::string text, std::string_view notice) {
    const auto outcome = co_await inserter_.copy(std::move(text));
    co_return Placed{outcome,
                     outcome == Inserter::Outcome::lost ? messages::noticeFor(outcome) : notice};
}

asio::awaitable<Delivery::Placed> Delivery::paste(const Utterance& utterance,
                                                  const std::string& text) {
    Inserter::Request request{text, utterance.bundleID};
    request.begun = [this](const FrontApp& front) {
        typedInto_ = front;
        edits_.look(front);
    };
    request.ready = [this](FrontApp) -> asio::awaitable<bool> {
        edits_.seal();
        co_return true;
    };
    const auto outcome = co_await inserter_.insert(std::move(request));
    co_return Placed{outcome, messages::noticeFor(outcome)};
}

/// Pastes over the last dictation, where that still stands before the caret.
asio::awaitable<Delivery::Placed> Delivery::amend(const Utterance& utterance,
                                                  const std::string& text) {
    std::optional<FocusedField::Selecting> selecting;
    Inserter::Request request{text, utterance.bundleID};
    request.ready = [&](FrontApp front) -> asio::awaitable<bool> {
        typedInto_ = front;
        // Selecting comes last: a key that the user presses then would replace the text.
        co_await edits_.lookNow(front, utterance.amended.text);
        selecting =
            co_await services_.inserting.focusedField.select(front.pid, utterance.amended.text);
        co_return selecting == FocusedField::Selecting::selected;
    };
    const auto outcome = co_await inserter_.insert(std::move(request));
    if (outcome == Inserter::Outcome::copied && selecting &&
        selecting != FocusedField::Selecting::selected) {
        services_.log.info("amend failed: {}", nameOf(*selecting));
        co_return Placed{outcome, messages::amendNotFound};
    }
    co_return Placed{outcome, messages::noticeFor(outcome)};
}

void Delivery::pasted(Utterance& utterance, const TextPipeline::Written& written,
                      int returnsBefore) {
    utterance.pastedText = written.text;
    lastPaste_ = {written.text, utterance.bundleID, services_.scheduler.now(), false,
                  utterance.entryID};
    remember(utterance, written);
    watchEdits();
    autoSend(utterance, written.way, returnsBefore);
}

void Delivery::watchEdits() {
    edits_.pasted(lastPaste_->text, [this, at = lastPaste_->at] {
        if (lastPaste_ && lastPaste_->at == at)
            lastPaste_->touched = true;
    });
}

void Delivery::autoSend(const Utterance& utterance, Way way, int returnsBefore) {
    const auto plan =
        sendPlanFor(utterance.bundleID, services_.profiles, services_.settings.record());
    // Who rewrites a part of what is written is not through with it. What is not what the user
    // meant, or is followed by something else already, must not leave by itself either.
    const bool isMeant = !rewritesSelection(utterance) && !utterance.brokenOff &&
                         (way != Way::offline || utterance.intent == VoiceIntent::dictate) &&
                         inserter_.injectingCount() == 0;
    if (!plan || !isMeant)
        services_.log.info("Auto-send skipped (app={})", utterance.bundleID.value_or("none"));
    else if (preSend_.manualReturns() != returnsBefore)
        services_.log.info("manual Enter observed");
    else
        preSend_.schedule(*plan, typedInto_);
}

asio::awaitable<Inserter::Outcome> Delivery::type(Inserter::Request request) {
    beginAnew();
    // The field is read a last time before something else stands in it; for what was typed only
    // just now nobody waits.
    co_await (edits_.settled() || services_.scheduler.sleep(longestLastLook));
    request.begun = [this](const FrontApp&) {
        preSend_.cancel();
        edits_.sent();
    };
    co_return co_await inserter_.insert(std::move(request));
}

asio::awaitable<void> Delivery::settled() {
    co_await history_.settled();
    co_await edits_.settled();
    co_await inserter_.restoreNow();
}

}  // namespace quillet
