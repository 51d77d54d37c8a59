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

/// Gives back what an insert that ends too early has borrowed.
class Inserter::GivingBack {
public:
    explicit GivingBack(Inserter& inserter) : inserter_(inserter) {}
    ~GivingBack() { inserter_.giveBack(); }
    GivingBack(const GivingBack&) = delete;
    GivingBack& operator=(const GivingBack&) = delete;

private:
    Inserter& inserter_;
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
    const GivingBack givingBack(*this);
    co_return co_await paste(std::move(request));
}

void Inserter::giveBack() {
    if (!previousInputSource_.empty() && !inputSourceRestore_.running())
        inputSourceRestore_ = tasks_.spawn(reselectInputSource());
    // What was pasted is on its way back already.
    if (clipboardSnapshot_ && !clipboardRestore_.running())
        clipboardRestore_ = tasks_.spawn(restore());
}

asio::awaitable<Inserter::Outcome> Inserter::copy(std::string text) {
    const Injecting injecting(*this);
    while (!free_.isSet())
        co_await free_.wait();
    const Turn turn(free_);
    const GivingBack givingBack(*this);
    co_return co_await leave(std::move(text), Outcome::copied);
}

asio::awaitable<void> Inserter::untilModifiersReleased() {
    for (int i = 0; i < mostModifierPolls; ++i) {
        if ((services_.keys.heldModifiers() & waitedFor).empty())
            co_return;
        co_await services_.scheduler.sleep(modifierPoll);
    }
}

/// The application that the text is meant for, while it is in front and may be typed into.
std::optional<FrontApp> Inserter::target(const Request& request) const {
    auto front = services_.frontApplication.current();
    const bool isMeant = front && request.bundleID && front->bundleID == *request.bundleID;
    if (!isMeant || (services_.isAllowed && !services_.isAllowed(front->bundleID)))
        return std::nullopt;
    return front;
}

asio::awaitable<bool> Inserter::isSecure(pid_t application) {
    const auto security = co_await services_.focusedField.security(application);
    co_return security == FocusedField::Security::secure;
}

asio::awaitable<Inserter::Outcome> Inserter::paste(Request request) {
    const auto front = target(request);
    if (!front)
        co_return co_await giveUp(request, Outcome::appChanged);
    if (request.begun)
        request.begun(*front);
    if (co_await isSecure(front->pid))
        co_return co_await giveUp(request, Outcome::copied);
    // What was pasted before must have been fetched, or this would be typed in its place.
    if (clipboardRestore_.running())
        co_await fetched();
    co_await takeSnapshot();
    const auto owned = co_await borrowClipboard(request, *front);
    if (!owned)
        co_return Outcome::lost;
    if (services_.pasteboard.changeCount() != ownChangeCount_)
        co_return co_await giveUp(request, Outcome::copied);

    // All of this has taken its time, in which the focus may have moved.
    if (co_await isSecure(front->pid))
        co_return co_await giveUp(request, Outcome::copied);
    if (request.ready && !co_await request.ready(*front))
        co_return co_await giveUp(request, Outcome::copied);
    const auto now = target(request);
    if (!now || !isSameWindow(*now, *front))
        co_return co_await giveUp(request, Outcome::appChanged);
    services_.pasteboard.forgetFetches();
    const auto posted = co_await services_.keys.postPaste(front->pasteStyle);
    if (!posted)
        co_return co_await giveUp(request, Outcome::copied);
    clipboardRestore_ = tasks_.spawn(restoreClipboard());
    co_return Outcome::pasted;
}

/// Puts the text on the clipboard. Whoever copies meanwhile must not find their text typed, nor
/// lose it. False when the clipboard takes nothing.
asio::awaitable<bool> Inserter::borrowClipboard(const Request& request, const FrontApp& front) {
    for (int write = 0; write < mostWrites; ++write) {
        if (write > 0)
            co_await takeForeignCopy(request.text);
        const auto count = co_await own(request.text, front.pasteStyle);
        if (!count)
            co_return false;
        ownChangeCount_ = *count;
        co_await selectAsciiInputSource();
        co_await services_.scheduler.sleep(beforePaste);
        if (services_.pasteboard.changeCount() == ownChangeCount_)
            break;
    }
    co_return true;
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
    co_return Outcome::withheld;
}

asio::awaitable<Inserter::Outcome> Inserter::leave(std::string text, Outcome meaning) {
    if (clipboardRestore_.running())
        co_await fetched();
    std::exchange(clipboardRestore_, {}).cancel();
    const auto written = co_await services_.pasteboard.writeText(
        std::move(text), Pasteboard::Lifetime::kept, Pasteboard::Reach::clipboard);
    if (!written)
        co_return Outcome::lost;
    clipboardSnapshot_.reset();
    co_return meaning;
}

asio::awaitable<void> Inserter::takeSnapshot() {
    std::exchange(clipboardRestore_, {}).cancel();
    // What an earlier paste of ours still holds back is older, and the user's.
    if (clipboardSnapshot_ && services_.pasteboard.changeCount() == ownChangeCount_)
        co_return;
    const auto asked = services_.pasteboard.changeCount();
    clipboardSnapshot_ = co_await services_.pasteboard.snapshot();
    // An owner that hangs may be relieved by somebody who copies meanwhile.
    if (!clipboardSnapshot_->complete && services_.pasteboard.changeCount() != asked)
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
    std::exchange(inputSourceRestore_, {}).cancel();
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
    // Whoever has copied meanwhile will not see our text fetched any more.
    if (services_.pasteboard.changeCount() != ownChangeCount_)
        co_return;
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
