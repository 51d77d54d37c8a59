#include "app/EditLearning.h"

#include <asio/experimental/awaitable_operators.hpp>

namespace quillet {

namespace {

using namespace std::chrono_literals;
using namespace asio::experimental::awaitable_operators;

/// From a key to the read: applications show a moment later what was typed.
constexpr auto afterKey = 80ms;
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
    bool sent = false;      // the text has left the field
    Event ended;
    TaskHandle snapshotWork;

    [[nodiscard]] bool isUpToDate() const { return keysRead == keys; }
};

/// Something that is to be waited for before the program ends.
class EditLearning::UnderWay {
public:
    explicit UnderWay(EditLearning& learning) : learning_(learning) {
        ++learning_.underWay_;
        learning_.idle_.reset();
    }
    ~UnderWay() {
        if (--learning_.underWay_ == 0)
            learning_.idle_.set();
    }
    UnderWay(const UnderWay&) = delete;
    UnderWay& operator=(const UnderWay&) = delete;

private:
    EditLearning& learning_;
};

EditLearning::EditLearning(Services services) : services_(std::move(services)) {
    idle_.set();
}

// --- Before the paste ----------------------------------------------------------------------------

void EditLearning::look(const FrontApp& front) {
    looking_.cancel();
    look_.reset();
    looking_ = services_.tasks.spawn(lookNow(front));
}

asio::awaitable<void> EditLearning::lookNow(FrontApp front) {
    const auto look = std::make_shared<Look>();
    look->front = std::move(front);
    look_ = look;
    look->around = co_await services_.focusedField.surroundings(
        look->front.pid, {anchorCharacters, anchorCharacters});
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
    services_.tasks.spawn(run(watch_));
    services_.watchingChanged();
}

asio::awaitable<void> EditLearning::run(WatchPtr watch) {
    const UnderWay underWay(*this);
    co_await (watch->ended.wait() || services_.scheduler.sleep(editLearningWindow));
    stopWatching(watch);
    // What was sent is gone; otherwise what stands there now counts.
    if (!watch->sent)
        co_await takeSnapshot(watch);
    co_await learn(*watch);
}

void EditLearning::finish() {
    if (watch_)
        watch_->ended.set();
    stopWatching(watch_);
}

void EditLearning::sent() {
    if (watch_)
        watch_->sent = true;
    finish();
}

void EditLearning::stopWatching(const WatchPtr& watch) {
    if (!watch || watch != watch_)
        return;
    watch->snapshotWork.cancel();
    watch_.reset();
    services_.watchingChanged();
}

bool EditLearning::isInFront(const Watch& watch) const {
    const auto front = services_.frontApplication.current();
    return front && front->pid == watch.front.pid && front->bundleID == watch.front.bundleID;
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
    }
    if (!watch_->snapshotWork.running())
        watch_->snapshotWork = services_.tasks.spawn(followTyping(watch_));
}

asio::awaitable<void> EditLearning::followTyping(WatchPtr watch) {
    int seen = -1;
    while (seen != watch->keys || watch->returned) {
        co_await services_.scheduler.sleep(afterKey);
        seen = watch->keys;
        co_await takeSnapshot(watch);
    }
}

/// Reads what stands in the place of the paste.
asio::awaitable<void> EditLearning::takeSnapshot(WatchPtr watch) {
    const int keys = watch->keys;
    const bool returned = std::exchange(watch->returned, false);
    std::optional<std::string> text;
    if (isInFront(*watch) && services_.settings.isAllowed(watch->front.bundleID)) {
        const auto now = co_await services_.focusedField.surroundings(watch->front.pid, readExtent);
        if (now && now->field == watch->field)
            text = editedText(now->before + now->after, now->fromStart, now->toEnd, watch->around,
                              watch->pasted);
    }
    if (text && !text->empty()) {
        watch->keysRead = keys;
        watch->editedSnapshot = std::move(text);
        noticeEditing(*watch);
    } else if (returned) {
        // The message has left the field.
        watch->sent = true;
        watch->ended.set();
    }
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
    if (watch.sent && !watch.isUpToDate()) {
        services_.log.info("Sent before the last words were read — skipping learn");
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

asio::awaitable<void> EditLearning::settled() {
    while (!idle_.isSet())
        co_await idle_.wait();
}

}  // namespace quillet
