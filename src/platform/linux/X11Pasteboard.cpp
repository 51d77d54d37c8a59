#include "platform/linux/X11Pasteboard.h"

#include <pthread.h>
#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <atomic>
#include <thread>
#include <variant>

#include "platform/linux/Completion.h"
#include "platform/linux/Latin1.h"
#include "platform/linux/SelectionOffer.h"
#include "platform/linux/SelectionReading.h"
#include "platform/linux/SelectionWindow.h"
#include "platform/linux/ThreadInbox.h"

namespace quillet {

namespace {

constexpr auto handOverBudget = std::chrono::milliseconds(300);
constexpr std::size_t readingProperties = 8;

template <class T>
using Waiting = std::shared_ptr<Completion<T>>;
using Written = std::expected<std::uint64_t, Pasteboard::Error>;

}  // namespace

/// Everything but the first block belongs to the thread.
class X11Pasteboard::Clerk {
public:
    Clerk(const std::string& displayName, Log log);
    ~Clerk();
    Clerk(const Clerk&) = delete;
    Clerk& operator=(const Clerk&) = delete;

    // Any thread.
    void post(std::move_only_function<void()> work) { inbox_.post(std::move(work)); }
    [[nodiscard]] std::uint64_t changeCount() const { return changeCount_; }

    void snapshot(Waiting<PasteboardSnapshot> caller);
    [[nodiscard]] Written writeText(const std::string& text, Lifetime lifetime, Reach reach);
    [[nodiscard]] bool restore(const PasteboardSnapshot& snapshot, std::uint64_t ifCount);
    void forgetFetches();
    void waitUntilFetched(Waiting<std::monostate> caller);

private:
    void run();
    void handle(const xcb_generic_event_t& event);
    void selectionChanged(const xcb_xfixes_selection_notify_event_t& change);
    void endReading();
    void endEverything();
    void handOver();
    [[nodiscard]] bool isLost() const { return !window_ || window_->isLost(); }
    [[nodiscard]] std::optional<ThreadInbox::Deadline> nextDeadline() const;
    [[nodiscard]] SelectionWindow::Time serverTime();
    void drain();

    [[nodiscard]] std::shared_ptr<const SelectionContent> contentOf(const std::string& text,
                                                                    Lifetime lifetime);
    [[nodiscard]] std::shared_ptr<const SelectionContent> contentOf(
        const PasteboardSnapshot& snapshot);
    [[nodiscard]] PasteboardSnapshot snapshotOf(const SelectionContent& content);

    const Log log_;
    ThreadInbox inbox_;
    std::atomic<std::uint64_t> changeCount_ = 0;

    std::unique_ptr<SelectionWindow> window_;
    std::unique_ptr<SelectionOffer> offer_;
    SelectionWindow::Atom clipboard_ = 0;
    SelectionWindow::Atom primary_ = XCB_ATOM_PRIMARY;
    std::uint64_t ownChange_ = 0;  ///< the change count that our last ownership made

    std::vector<SelectionWindow::Atom> readingProperties_;
    std::size_t readings_ = 0;
    std::unique_ptr<SelectionReading> reading_;
    std::vector<Waiting<PasteboardSnapshot>> readers_;
    /// Types that differ from their formats' names, which a snapshot has no place for.
    std::map<std::string, std::string> lastTypes_;

    std::shared_ptr<const SelectionContent> lastText_;
    bool fetched_ = false;
    std::vector<Waiting<std::monostate>> fetchWaiters_;

    bool ending_ = false;
    std::thread thread_;
};

X11Pasteboard::Clerk::Clerk(const std::string& displayName, Log log)
    : log_(std::move(log)), window_(SelectionWindow::open(displayName)) {
    if (window_) {
        clipboard_ = window_->atom("CLIPBOARD");
        for (std::size_t i = 0; i < readingProperties; ++i)
            readingProperties_.push_back(window_->atom("QUILLET_SELECTION_" + std::to_string(i)));
        offer_ =
            std::make_unique<SelectionOffer>(*window_, [this](const SelectionContent& content) {
                if (&content != lastText_.get())
                    return;
                fetched_ = true;
                for (const auto& waiter : std::exchange(fetchWaiters_, {}))
                    waiter->finish({});
            });
    }
    thread_ = std::thread([this] { run(); });
    pthread_setname_np(thread_.native_handle(), "pasteboard");
}

X11Pasteboard::Clerk::~Clerk() {
    inbox_.post([this] { ending_ = true; });
    thread_.join();
}

void X11Pasteboard::Clerk::run() {
    bool wasLost = isLost();
    while (!ending_) {
        inbox_.runAll();
        if (!isLost()) {
            drain();
            if (reading_ && reading_->deadline() <= SelectionReading::Clock::now())
                reading_->giveUp();
            endReading();
            offer_->dropStale(SelectionOffer::Clock::now());
            window_->flush();
        }
        if (isLost() && !wasLost) {
            wasLost = true;
            log_.error("The connection to the X server is lost; there is no clipboard any more.");
            if (reading_)
                reading_->giveUp();
            endReading();
        }
        if (!ending_)
            inbox_.wait(isLost() ? -1 : window_->fd(), nextDeadline());
    }
    if (!isLost())
        handOver();
    endEverything();
}

void X11Pasteboard::Clerk::drain() {
    window_->drain([this](const xcb_generic_event_t& event) { handle(event); });
}

SelectionWindow::Time X11Pasteboard::Clerk::serverTime() {
    return window_->serverTime([this](const xcb_generic_event_t& event) { handle(event); });
}

void X11Pasteboard::Clerk::handle(const xcb_generic_event_t& event) {
    if ((event.response_type & 0x7F) == window_->selectionEvent()) {
        selectionChanged(reinterpret_cast<const xcb_xfixes_selection_notify_event_t&>(event));
        return;
    }
    if (reading_ && reading_->handle(event))
        return;
    if (offer_->handle(event))
        return;
    // An owner that woke up after its reading was given up sends on as long as its pieces are
    // taken.
    if ((event.response_type & 0x7F) == XCB_PROPERTY_NOTIFY) {
        const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        if (change.window == window_->id() && change.state == XCB_PROPERTY_NEW_VALUE)
            xcb_delete_property(window_->xcb(), change.window, change.atom);
    }
}

void X11Pasteboard::Clerk::selectionChanged(const xcb_xfixes_selection_notify_event_t& change) {
    if (change.owner == XCB_WINDOW_NONE)
        return;
    const auto count = ++changeCount_;
    if (change.owner == window_->id())
        ownChange_ = count;
}

std::optional<ThreadInbox::Deadline> X11Pasteboard::Clerk::nextDeadline() const {
    if (isLost())
        return std::nullopt;
    auto deadline = offer_->nextDeadline();
    if (reading_ && (!deadline || reading_->deadline() < *deadline))
        deadline = reading_->deadline();
    return deadline;
}

void X11Pasteboard::Clerk::snapshot(Waiting<PasteboardSnapshot> caller) {
    if (isLost()) {
        caller->finish({});
        return;
    }
    drain();
    if (const auto own = offer_->content(clipboard_)) {
        caller->finish(snapshotOf(*own));
        return;
    }
    readers_.push_back(std::move(caller));
    if (reading_)
        return;
    const auto time = serverTime();
    const auto property = readingProperties_[readings_++ % readingProperties_.size()];
    reading_ = std::make_unique<SelectionReading>(*window_, clipboard_, property, time);
}

void X11Pasteboard::Clerk::endReading() {
    if (!reading_ || !reading_->isDone())
        return;
    lastTypes_ = reading_->types();
    const auto result = std::move(*reading_).result();
    reading_.reset();
    for (const auto& reader : std::exchange(readers_, {}))
        reader->finish(result);
}

Written X11Pasteboard::Clerk::writeText(const std::string& text, Lifetime lifetime, Reach reach) {
    if (isLost())
        return std::unexpected(Error::unavailable);
    const auto content = contentOf(text, lifetime);
    const auto time = serverTime();
    if (!offer_->own(clipboard_, content, time))
        return std::unexpected(isLost() ? Error::unavailable : Error::refused);
    // Without the primary selection the text still can be pasted, so that is no failure.
    if (reach == Reach::clipboardAndPrimary)
        static_cast<void>(offer_->own(primary_, content, time));
    else if (offer_->content(primary_))
        offer_->empty(primary_, time);
    lastText_ = content;
    fetched_ = false;
    drain();
    return ownChange_;
}

bool X11Pasteboard::Clerk::restore(const PasteboardSnapshot& snapshot, std::uint64_t ifCount) {
    if (isLost())
        return false;
    const auto content = contentOf(snapshot);
    // The time is taken before the look at the count: a copy that comes between is later than this
    // time, and the server then keeps it.
    const auto time = serverTime();
    static_cast<void>(window_->owner(clipboard_));
    drain();
    if (changeCount_ != ifCount)
        return false;
    if (offer_->content(primary_))
        offer_->empty(primary_, time);
    if (snapshot.items.empty()) {
        offer_->empty(clipboard_, time);
        return true;
    }
    const bool restored = offer_->own(clipboard_, content, time);
    drain();
    return restored;
}

void X11Pasteboard::Clerk::forgetFetches() {
    fetched_ = false;
}

void X11Pasteboard::Clerk::waitUntilFetched(Waiting<std::monostate> caller) {
    if (fetched_)
        caller->finish({});
    else
        fetchWaiters_.push_back(std::move(caller));
}

std::shared_ptr<const SelectionContent> X11Pasteboard::Clerk::contentOf(const std::string& text,
                                                                        Lifetime lifetime) {
    const auto atoms =
        window_->atoms({"UTF8_STRING", "text/plain;charset=utf-8", "text/plain", "TEXT", "STRING",
                        "org.nspasteboard.TransientType", "x-kde-passwordManagerHint"});
    const auto utf8 = std::make_shared<const std::string>(text);
    const auto latin1 = std::make_shared<const std::string>(Latin1::fromUtf8(text));
    auto content = std::make_shared<SelectionContent>();
    content->formats = {{atoms[0], atoms[0], 8, utf8},
                        {atoms[1], atoms[1], 8, utf8},
                        {atoms[2], atoms[2], 8, utf8},
                        {atoms[3], atoms[0], 8, utf8},
                        {atoms[4], atoms[4], 8, latin1}};
    content->textTargets.assign(atoms.begin(), atoms.begin() + 5);
    if (lifetime == Lifetime::transient) {
        content->isTransient = true;
        content->formats.push_back({atoms[5], atoms[5], 8, std::make_shared<const std::string>()});
        content->formats.push_back(
            {atoms[6], atoms[6], 8, std::make_shared<const std::string>("secret")});
    }
    return content;
}

std::shared_ptr<const SelectionContent> X11Pasteboard::Clerk::contentOf(
    const PasteboardSnapshot& snapshot) {
    auto content = std::make_shared<SelectionContent>();
    for (const auto& item : snapshot.items) {
        const auto target = window_->atom(item.type);
        const auto type = lastTypes_.find(item.type);
        content->formats.push_back(
            {target, type == lastTypes_.end() ? target : window_->atom(type->second), item.unitBits,
             std::make_shared<const std::string>(item.bytes)});
    }
    return content;
}

PasteboardSnapshot X11Pasteboard::Clerk::snapshotOf(const SelectionContent& content) {
    PasteboardSnapshot snapshot;
    snapshot.complete = true;
    lastTypes_.clear();
    for (const auto& format : content.formats) {
        const auto name = window_->name(format.target);
        if (format.type != format.target)
            lastTypes_[name] = window_->name(format.type);
        snapshot.items.push_back({name, *format.bytes, format.unitBits});
    }
    return snapshot;
}

/// What we own goes with us, unless somebody keeps it for the user.
void X11Pasteboard::Clerk::handOver() {
    const auto content = offer_->content(clipboard_);
    const auto atoms =
        window_->atoms({"CLIPBOARD_MANAGER", "SAVE_TARGETS", "QUILLET_SAVE_TARGETS"});
    if (!content || content->isTransient || window_->owner(atoms[0]) == XCB_WINDOW_NONE)
        return;
    std::vector<SelectionWindow::Atom> targets;
    for (const auto& format : content->formats)
        targets.push_back(format.target);
    window_->writeAtoms(window_->id(), atoms[2], targets);
    xcb_convert_selection(window_->xcb(), window_->id(), atoms[0], atoms[1], atoms[2],
                          serverTime());
    window_->flush();

    bool saved = false;
    const auto deadline = std::chrono::steady_clock::now() + handOverBudget;
    while (!saved && !isLost() && std::chrono::steady_clock::now() < deadline) {
        window_->drain([&](const xcb_generic_event_t& event) {
            if ((event.response_type & 0x7F) == XCB_SELECTION_NOTIFY &&
                reinterpret_cast<const xcb_selection_notify_event_t&>(event).target == atoms[1])
                saved = true;
            else
                static_cast<void>(offer_->handle(event));
        });
        window_->flush();
        if (!saved)
            inbox_.wait(window_->fd(), deadline);
    }
    if (!saved)
        log_.info("The clipboard manager did not take the clipboard's content in time.");
}

void X11Pasteboard::Clerk::endEverything() {
    reading_.reset();
    for (const auto& reader : std::exchange(readers_, {}))
        reader->abort();
    for (const auto& waiter : std::exchange(fetchWaiters_, {}))
        waiter->abort();
}

X11Pasteboard::X11Pasteboard(const std::string& displayName, Log log)
    : clerk_(std::make_unique<Clerk>(displayName, std::move(log))) {}

X11Pasteboard::~X11Pasteboard() = default;

asio::awaitable<PasteboardSnapshot> X11Pasteboard::snapshot() {
    return Completion<PasteboardSnapshot>::wait([this](Waiting<PasteboardSnapshot> caller) {
        clerk_->post([clerk = clerk_.get(), caller = std::move(caller)]() mutable {
            clerk->snapshot(std::move(caller));
        });
    });
}

asio::awaitable<Written> X11Pasteboard::writeText(std::string text, Lifetime lifetime,
                                                  Reach reach) {
    return Completion<Written>::wait(
        [this, text = std::move(text), lifetime, reach](Waiting<Written> caller) mutable {
            clerk_->post([clerk = clerk_.get(), caller = std::move(caller), text = std::move(text),
                          lifetime,
                          reach] { caller->finish(clerk->writeText(text, lifetime, reach)); });
        });
}

asio::awaitable<bool> X11Pasteboard::restore(PasteboardSnapshot snapshot, std::uint64_t ifCount) {
    return Completion<bool>::wait(
        [this, snapshot = std::move(snapshot), ifCount](Waiting<bool> caller) mutable {
            clerk_->post([clerk = clerk_.get(), caller = std::move(caller),
                          snapshot = std::move(snapshot),
                          ifCount] { caller->finish(clerk->restore(snapshot, ifCount)); });
        });
}

std::uint64_t X11Pasteboard::changeCount() const {
    return clerk_->changeCount();
}

void X11Pasteboard::forgetFetches() {
    clerk_->post([clerk = clerk_.get()] { clerk->forgetFetches(); });
}

asio::awaitable<void> X11Pasteboard::waitUntilFetched() {
    co_await Completion<std::monostate>::wait([this](Waiting<std::monostate> caller) {
        clerk_->post([clerk = clerk_.get(), caller = std::move(caller)]() mutable {
            clerk->waitUntilFetched(std::move(caller));
        });
    });
}

}  // namespace quillet
