#include "app/Inserter.h"

#include <asio/experimental/awaitable_operators.hpp>

namespace quillet {

namespace {

using namespace std::chrono_literals;
using namespace asio::experimental::awaitable_operators;

constexpr auto modifierPoll = 50ms;
constexpr int mostModifierPolls = 20;
constexpr auto beforePaste = 50ms;
constexpr auto afterInputSource = 50ms;
constexpr auto inputSourceReturns = 300ms;
constexpr auto clipboardReturns = 600ms;
/// A slow application that has not fetched the text by then is not waited for any longer.
constexpr auto longestFetch = 3s;
/// Somebody else may copy between our write and our paste; then it is written once more.
constexpr int mostWrites = 2;
constexpr Modifiers waitedFor = {Modifier::function, Modifier::control, Modifier::option,
                                 Modifier::shift};

}  // namespace

class Inserter::Injecting {
public:
    explicit Injecting(Inserter& inserter) : inserter_(inserter) {
        inserter_.injectingChanged_(++inserter_.injectingCount_);
    }
    ~Injecting() { inserter_.injectingChanged_(--inserter_.injectingCount_); }
    Injecting(const Injecting&) = delete;
    Injecting& operator=(const Injecting&) = delete;

private:
    Inserter& inserter_;
};

/// Holds the inserter for one insert.
class Inserter::Turn {
public:
    explicit Turn(Event& free) : free_(free) { free_.reset(); }
    ~Turn() { free_.set(); }
    Turn(const Turn&) = delete;
    Turn& operator=(const Turn&) = delete;

private:
    Event& free_;
};

/// Whether a snapshot holds this very text, as it does when a clipboard manager took it over.
bool Inserter::holds(const PasteboardSnapshot& snapshot, const std::string& text) {
    return std::ranges::find(snapshot.items, text, &PasteboardItem::bytes) != snapshot.items.end();
}

Inserter::Inserter(Services services, std::function<void(int)> injectingChanged)
    : services_(std::move(services)),
      injectingChanged_(std::move(injectingChanged)),
      tasks_(services_.loop) {
    free_.set();
}

asio::awaitable<Inserter::Outcome> Inserter::insert(Request request) {
    const Injecting injecting(*this);
    while (!free_.isSet())
        co_await free_.wait();
    const Turn turn(free_);
    co_await untilModifiersReleased();
    const auto outcome = co_await paste(std::move(request));
    if (!previousInputSource_.empty())
        inputSourceRestore_ = tasks_.spawn(reselectInputSource());
    co_return outcome;
}

asio::awaitable<Inserter::Outcome> Inserter::copy(std::string text) {
    const Injecting injecting(*this);
    while (!free_.isSet())
        co_await free_.wait();
    const Turn turn(free_);
    co_return co_await leave(std::move(text), Outcome::copied);
}

asio::awaitable<void> Inserter::untilModifiersReleased() {
    for (int i = 0; i < mostModifierPolls; ++i) {
        if ((services_.keys.heldModifiers() & waitedFor).empty())
            co_return;
        co_await services_.scheduler.sleep(modifierPoll);
    }
}

std::optional<FrontApp> Inserter::target(const std::optional<std::string>& bundleID) {
    auto front = services_.frontApplication.current();
    if (front && bundleID && front->bundleID != *bundleID)
        return std::nullopt;
    return front;
}

asio::awaitable<Inserter::Outcome> Inserter::paste(Request request) {
    const auto& text = request.text;
    auto front = target(request.bundleID);
    if (!front)
        co_return co_await giveUp(request, Outcome::appChanged);
    if (co_await services_.focusedField.security(front->pid) == FocusedField::Security::secure)
        co_return co_await giveUp(request, Outcome::copied);
    // What was pasted before must have been fetched, or this would be typed in its place.
    if (clipboardRestore_.running())
        co_await fetched();
    co_await takeSnapshot();

    // Whoever copies meanwhile must not find their text typed, nor lose it.
    bool ours = false;
    for (int write = 0; write < mostWrites && !ours; ++write) {
        if (write > 0)
            co_await takeForeignCopy(text);
        const auto count = co_await own(text, front->pasteStyle);
        if (!count)
            co_return Outcome::lost;
        ownChangeCount_ = *count;
        co_await selectAsciiInputSource();
        co_await services_.scheduler.sleep(beforePaste);
        ours = services_.pasteboard.changeCount() == ownChangeCount_;
    }
    if (!ours)
        co_return co_await giveUp(request, Outcome::copied);

    front = target(request.bundleID);
    if (!front)
        co_return co_await giveUp(request, Outcome::appChanged);
    if (request.ready && !co_await request.ready(*front))
        co_return co_await giveUp(request, Outcome::copied);
    // Looking at the field may have taken a moment.
    if (request.ready && !target(request.bundleID))
        co_return co_await giveUp(request, Outcome::appChanged);
    services_.pasteboard.forgetFetches();
    const auto posted = co_await services_.keys.postPaste(front->pasteStyle);
    if (!posted)
        co_return co_await giveUp(request, Outcome::copied);
    clipboardRestore_ = tasks_.spawn(restoreClipboard());
    co_return Outcome::pasted;
}

asio::awaitable<void> Inserter::takeForeignCopy(const std::string& text) {
    auto copied = co_await services_.pasteboard.snapshot();
    if (!holds(copied, text))
        clipboardSnapshot_ = std::move(copied);
}

/// What was to be pasted cannot be: it is left for the user, or the clipboard is given back.
asio::awaitable<Inserter::Outcome> Inserter::giveUp(const Request& request, Outcome meaning) {
    if (request.otherwise == Request::Otherwise::copy)
        co_return co_await leave(request.text, meaning);
    // Where nothing was written yet, an earlier paste still gives the clipboard back by itself.
    if (!clipboardRestore_.running())
        co_await restore();
    co_return Outcome::withheld;
}

asio::awaitable<Inserter::Outcome> Inserter::leave(std::string text, Outcome meaning) {
    clipboardRestore_.cancel();
    clipboardSnapshot_.reset();
    const auto written = co_await services_.pasteboard.writeText(
        std::move(text), Pasteboard::Lifetime::kept, Pasteboard::Reach::clipboard);
    co_return written ? meaning : Outcome::lost;
}

asio::awaitable<void> Inserter::takeSnapshot() {
    clipboardRestore_.cancel();
    // What an earlier paste of ours still holds back is older, and the user's.
    if (clipboardSnapshot_ && services_.pasteboard.changeCount() == ownChangeCount_)
        co_return;
    clipboardSnapshot_ = co_await services_.pasteboard.snapshot();
}

asio::awaitable<std::optional<std::uint64_t>> Inserter::own(const std::string& text,
                                                            PasteStyle style) {
    const auto reach = style == PasteStyle::terminal ? Pasteboard::Reach::clipboardAndPrimary
                                                     : Pasteboard::Reach::clipboard;
    const auto written =
        co_await services_.pasteboard.writeText(text, Pasteboard::Lifetime::transient, reach);
    if (!written)
        co_return std::nullopt;
    co_return *written;
}

asio::awaitable<void> Inserter::selectAsciiInputSource() {
    inputSourceRestore_.cancel();
    if (services_.inputSource.canTypeAscii())
        co_return;
    if (previousInputSource_.empty())
        previousInputSource_ = services_.inputSource.current();
    if (services_.inputSource.select(abcInputSource) || services_.inputSource.select(usInputSource))
        co_await services_.scheduler.sleep(afterInputSource);
}

asio::awaitable<void> Inserter::reselectInputSource() {
    co_await services_.scheduler.sleep(inputSourceReturns);
    services_.inputSource.select(std::exchange(previousInputSource_, {}));
}

asio::awaitable<void> Inserter::restoreClipboard() {
    co_await services_.scheduler.sleep(clipboardReturns);
    co_await fetched();
    co_await restore();
}

asio::awaitable<void> Inserter::fetched() {
    co_await (services_.pasteboard.waitUntilFetched() || services_.scheduler.sleep(longestFetch));
}

asio::awaitable<void> Inserter::restore() {
    auto snapshot = std::exchange(clipboardSnapshot_, std::nullopt);
    if (!snapshot)
        co_return;
    if (!snapshot->complete) {
        services_.log.info("The clipboard could not be read whole and is not restored");
        co_return;
    }
    if (!co_await services_.pasteboard.restore(std::move(*snapshot), ownChangeCount_))
        services_.log.info("Somebody copied meanwhile; the clipboard is left alone");
}

asio::awaitable<void> Inserter::restoreNow() {
    while (!free_.isSet())
        co_await free_.wait();
    const bool due = clipboardRestore_.running();
    clipboardRestore_.cancel();
    inputSourceRestore_.cancel();
    if (const auto previous = std::exchange(previousInputSource_, {}); !previous.empty())
        services_.inputSource.select(previous);
    if (due)
        co_await fetched();
    co_await restore();
}

}  // namespace quillet
