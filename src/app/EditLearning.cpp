#include "app/EditLearning.h"

#include <asio/experimental/awaitable_operators.hpp>

#include "base/text/Text.h"

namespace quillet {

namespace {

using namespace std::chrono_literals;
using namespace asio::experimental::awaitable_operators;

/// From a key to the read: applications show a moment later what was typed.
constexpr auto afterKey = 80ms;
/// A field that does not tell, as under a grabbed keyboard, is asked again so soon and so often.
constexpr auto nextLook = 30ms;
constexpr int mostLooks = 10;
/// A place that holds less than this part of the paste was emptied: the message was sent, or taken
/// back.
constexpr std::size_t emptiedPart = 4;
/// How much of a field is read on either side of the caret.
constexpr FocusedField::Extent readExtent{10'000, 10'000};
/// A learned pair may be wrong; one that the user added by hand never is.
constexpr double editConfidence = 0.8;

std::string_view reasonAgainst(EditLesson::Verdict verdict) {
    switch (verdict) {
        case EditLesson::Verdict::noEdit:
            return "No edit seen — nothing to learn";
        case EditLesson::Verdict::suspicious:
            return "Suspicious edit shape — skipping learn (newline/oversize/repetition)";
        case EditLesson::Verdict::muchLonger:
            return "Captured text is much longer than pasted — treating as rewrite, skipping learn";
        case EditLesson::Verdict::muchShorter:
            return "Captured text is much shorter than pasted — treating as mid-edit, skipping "
                   "learn";
        case EditLesson::Verdict::edited:
            break;
    }
    return {};
}

}  // namespace

/// Where the next paste will go.
struct EditLearning::Look {
    FrontApp front;
    std::optional<FocusedField::Surroundings> around;
};

struct EditLearning::Watch {
    std::string pasted;
    FrontApp front;
    std::string field;
    InsertionAround around;
    std::function<void()> edited;

    std::optional<std::string> editedSnapshot;  // what stood last in the place of the paste
    bool userEditing = false;
    int keys = 0;           // that the user has pressed, Return left out
    int keysRead = 0;       // of those, what the snapshot shows
    bool returned = false;  // Return was pressed since the last read
    bool stale = false;     // with keys before it that the snapshot does not show
    bool sent = false;      // the text has left the field
    Event ended;
    TaskHandle snapshotWork;

    [[nodiscard]] bool isUpToDate() const { return keysRead == keys; }
};

EditLearning::EditLearning(Services services) : services_(std::move(services)) {}

// --- Before the paste ----------------------------------------------------------------------------

void EditLearning::look(const FrontApp& front) {
    looking_.cancel();
    look_.reset();
    looking_ = services_.tasks.spawn(keepLooking(front));
}

asio::awaitable<void> EditLearning::keepLooking(FrontApp front) {
    for (int look = 0; look < mostLooks; ++look) {
        co_await lookNow(front, {});
        if (!look_ || look_->around)
            co_return;
        co_await services_.scheduler.sleep(nextLook);
    }
}

asio::awaitable<void> EditLearning::lookNow(FrontApp front, std::string standing) {
    const auto look = std::make_shared<Look>();
    look->front = std::move(front);
    look_ = look;
    const FocusedField::Extent extent{anchorCharacters + characterCount(standing),
                                      anchorCharacters};
    auto around = co_await services_.focusedField.surroundings(look->front.pid, extent);
    if (!around || !around->before.ends_with(standing))
        co_return;
    around->before.resize(around->before.size() - standing.size());
    look->around = std::move(around);
}

void EditLearning::seal() {
    looking_.cancel();
}

// --- Watching ------------------------------------------------------------------------------------

void EditLearning::pasted(std::string text, std::function<void()> edited) {
    seal();
    finish();
    const auto look = std::exchange(look_, nullptr);
    if (!look || !services_.settings.isAllowed(look->front.bundleID))
        return;
    if (!look->around) {
        services_.log.info("Paste not located in the field — not learning from this edit");
        return;
    }
    auto& around = *look->around;
    watch_ = std::make_shared<Watch>();
    watch_->pasted = std::move(text);
    watch_->front = look->front;
    watch_->field = around.field;
    watch_->around = {around.before, around.after, around.fromStart, around.toEnd};
    watch_->edited = std::move(edited);
    services_.tasks.spawn(run(watch_, underWay_.begin()));
    services_.watchingChanged();
}

asio::awaitable<void> EditLearning::run(WatchPtr watch, InFlight::Token /*underWay*/) {
    co_await (watch->ended.wait() || services_.scheduler.sleep(editLearningWindow));
    stopWatching(*watch);
    // What was sent is gone; otherwise what stands there now counts.
    for (int look = 0; look < mostLooks && !watch->sent && isInFront(*watch); ++look) {
        if (look > 0)
            co_await services_.scheduler.sleep(nextLook);
        if (co_await takeSnapshot(watch))
            break;
    }
    co_await learn(*watch);
}

void EditLearning::finish() {
    looking_.cancel();
    if (!watch_)
        return;
    watch_->ended.set();
    stopWatching(*watch_);
}

void EditLearning::sent() {
    if (watch_)
        watch_->sent = true;
    finish();
}

void EditLearning::stopWatching(const Watch& watch) {
    if (watch_.get() != &watch)
        return;
    const auto ended = std::exchange(watch_, nullptr);
    ended->snapshotWork.cancel();
    services_.watchingChanged();
}

bool EditLearning::isInFront(const Watch& watch) const {
    const auto front = services_.frontApplication.current();
    return front && isSameWindow(*front, watch.front);
}

void EditLearning::keyDown(KeyChord chord) {
    if (!watch_ || !isInFront(*watch_))
        return;
    if (chord.key != Key::returnKey) {
        ++watch_->keys;
    } else if (watch_->userEditing && watch_->isUpToDate()) {
        sent();
        return;
    } else {
        watch_->returned = true;
        watch_->stale = watch_->stale || !watch_->isUpToDate();
    }
    if (!watch_->snapshotWork.running())
        watch_->snapshotWork = services_.tasks.spawn(followTyping(watch_));
}

asio::awaitable<void> EditLearning::followTyping(WatchPtr watch) {
    int seen = -1;
    for (int look = 0; look < mostLooks && (seen != watch->keys || watch->returned); ++look) {
        co_await services_.scheduler.sleep(afterKey);
        const int keys = watch->keys;
        if (co_await takeSnapshot(watch)) {
            seen = keys;
            look = 0;
        }
    }
}

/// Reads what stands in the place of the paste. False when the field did not tell.
asio::awaitable<bool> EditLearning::takeSnapshot(WatchPtr watch) {
    if (!isInFront(*watch) || !services_.settings.isAllowed(watch->front.bundleID))
        co_return false;
    const int keys = watch->keys;
    const auto now = co_await services_.focusedField.surroundings(watch->front.pid, readExtent);
    if (!now || now->field != watch->field)
        co_return false;
    const bool returned = std::exchange(watch->returned, false);
    auto text = editedText(now->before + now->after, now->fromStart, now->toEnd, watch->around,
                           watch->pasted);
    if (text ? text->size() * emptiedPart <= watch->pasted.size() : returned) {
        // The message has left the field.
        watch->sent = true;
        watch->ended.set();
    } else if (text) {
        watch->keysRead = keys;
        watch->stale = false;
        watch->editedSnapshot = std::move(text);
        noticeEditing(*watch);
    }
    co_return true;
}

void EditLearning::noticeEditing(Watch& watch) {
    if (watch.userEditing || watch.editedSnapshot == watch.pasted)
        return;
    watch.userEditing = true;
    services_.log.info("User started editing pasted text");
    watch.edited();
}

// --- Learning ------------------------------------------------------------------------------------

asio::awaitable<void> EditLearning::learn(const Watch& watch) {
    if (!watch.editedSnapshot && watch.keys > 0) {
        services_.log.info("Paste not located in the field — not learning from this edit");
        co_return;
    }
    // A word that is half typed is none to learn.
    if (watch.sent ? watch.stale : watch.editedSnapshot && !watch.isUpToDate()) {
        services_.log.info("The last words were not read — skipping learn");
        co_return;
    }
    auto compare = [pasted = watch.pasted, edited = watch.editedSnapshot.value_or(watch.pasted)] {
        return lessonOf(pasted, edited);
    };
    const auto lesson = co_await services_.vocabDB.queue().run(std::move(compare));
    if (lesson.verdict != EditLesson::Verdict::edited) {
        services_.log.info("{}", reasonAgainst(lesson.verdict));
        co_return;
    }
    services_.log.info("User edited before send: {} -> {}", services_.log.hidden(watch.pasted),
                       services_.log.hidden(*watch.editedSnapshot));
    for (const auto& pair : lesson.pairs) {
        if (!co_await services_.vocabDB.learn(pair.original, pair.corrected, editConfidence,
                                              std::string(vocabulary_source::edit)))
            services_.log.error("What was corrected could not be learned");
    }
}

}  // namespace quillet
