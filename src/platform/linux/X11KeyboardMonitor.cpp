#include "platform/linux/X11KeyboardMonitor.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>
#include <X11/extensions/XInput2.h>
#include <pthread.h>

#include <array>
#include <thread>

#include "base/async/Loop.h"
#include "platform/linux/OwnKeys.h"
#include "platform/linux/ThreadInbox.h"
#include "platform/linux/X11ChordGrabs.h"
#include "platform/linux/X11Connection.h"
#include "platform/linux/X11Keymap.h"

namespace quillet {

namespace {

struct Callbacks {
    KeyboardMonitor::OnEvent onEvent;
    KeyboardMonitor::OnConflict onConflict;
};

/// What is held on one side, the user's or the program's own.
struct Side {
    std::set<OwnKeys::Keycode> held;
    Modifiers modifiers;
};

}  // namespace

class X11KeyboardMonitor::Watcher {
public:
    Watcher(std::string displayName, Loop& loop, Log log, std::shared_ptr<OwnKeys> ownKeys)
        : displayName_(std::move(displayName)),
          loop_(loop),
          log_(std::move(log)),
          ownKeys_(std::move(ownKeys)) {}
    ~Watcher();
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    std::expected<void, Error> start(OnEvent onEvent, OnConflict onConflict);
    void setSwallowed(std::vector<KeyChord> chords);
    void setReportsTyping(bool reports);
    void setFunctionKeys(std::vector<X11Keymap::Symbol> symbols);

private:
    [[nodiscard]] bool selectEvents();
    void run();
    void handle(XEvent& event);
    void handleRaw(int kind, const XIRawEvent& raw);
    void handleHierarchy(const XIHierarchyEvent& change);
    void keyMoved(OwnKeys::Keycode keycode, OwnKeys::Stroke stroke);
    void otherPressed(OwnKeys::Keycode keycode, const Side& side, bool isOwn);
    void reloadKeymap();
    void readHeldKeys();
    [[nodiscard]] bool isWatched(OwnKeys::Keycode keycode) const;
    [[nodiscard]] Modifiers modifiersOf(const std::set<OwnKeys::Keycode>& held) const;
    /// Takes the change of what is held into account before anybody is told of it.
    void updateModifiers();
    void applyGrabs();
    void publish();
    void tell(KeyboardEvent event);

    const std::string displayName_;
    Loop& loop_;
    const Log log_;
    const std::shared_ptr<OwnKeys> ownKeys_;
    std::shared_ptr<Callbacks> callbacks_;  // main queue; others hold it weakly
    std::thread thread_;
    ThreadInbox inbox_;

    // The thread's own, once it runs.
    std::weak_ptr<Callbacks> listener_;
    std::unique_ptr<X11Connection> connection_;
    /// Grabs have a connection of their own: from a client whose grab is in force, the server keeps
    /// the raw events back.
    std::unique_ptr<X11Connection> grabConnection_;
    std::unique_ptr<X11Keymap> keymap_;
    std::unique_ptr<X11ChordGrabs> grabs_;
    int xiOpcode_ = 0;
    bool ending_ = false;
    bool reportsTyping_ = false;
    Side user_;
    Side own_;
};

X11KeyboardMonitor::Watcher::~Watcher() {
    callbacks_.reset();
    if (!thread_.joinable())
        return;
    inbox_.post([this] { ending_ = true; });
    thread_.join();
}

std::expected<void, KeyboardMonitor::Error> X11KeyboardMonitor::Watcher::start(
    OnEvent onEvent, OnConflict onConflict) {
    if (thread_.joinable())
        return std::unexpected(Error::unavailable);
    connection_ = X11Connection::open(displayName_);
    grabConnection_ = X11Connection::open(displayName_);
    if (!connection_ || !grabConnection_ || !selectEvents()) {
        connection_.reset();
        grabConnection_.reset();
        return std::unexpected(Error::unavailable);
    }
    keymap_ = std::make_unique<X11Keymap>(*connection_);
    grabs_ = std::make_unique<X11ChordGrabs>(*grabConnection_, *keymap_);
    callbacks_ = std::make_shared<Callbacks>(std::move(onEvent), std::move(onConflict));
    listener_ = callbacks_;
    readHeldKeys();
    publish();
    thread_ = std::thread([this] { run(); });
    pthread_setname_np(thread_.native_handle(), "keyboard");
    return {};
}

bool X11KeyboardMonitor::Watcher::selectEvents() {
    Display* display = connection_->display();
    int event = 0;
    int error = 0;
    if (!XQueryExtension(display, "XInputExtension", &xiOpcode_, &event, &error))
        return false;
    // Before version 2.2 raw events stop while another program grabs the keyboard.
    int major = 2;
    int minor = 2;
    if (XIQueryVersion(display, &major, &minor) != Success || major * 100 + minor < 202)
        return false;

    std::array<unsigned char, XIMaskLen(XI_LASTEVENT)> keys{};
    XISetMask(keys.data(), XI_RawKeyPress);
    XISetMask(keys.data(), XI_RawKeyRelease);
    std::array<unsigned char, XIMaskLen(XI_LASTEVENT)> devices{};
    XISetMask(devices.data(), XI_HierarchyChanged);
    std::array<XIEventMask, 2> masks{
        {{XIAllMasterDevices, static_cast<int>(keys.size()), keys.data()},
         {XIAllDevices, static_cast<int>(devices.size()), devices.data()}}};
    XISelectEvents(display, connection_->root(), masks.data(), static_cast<int>(masks.size()));
    XkbSetDetectableAutoRepeat(display, True, nullptr);
    XSync(display, False);
    return true;
}

void X11KeyboardMonitor::Watcher::run() {
    while (!ending_) {
        // Work comes first: a chord that was handed over before a key was pressed is in force when
        // the press is told.
        inbox_.runAll();
        if (connection_->isLost()) {
            log_.error("The connection to the X server is lost; keys are no longer seen.");
            ownKeys_->withdraw();
            break;
        }
        if (XPending(connection_->display()) > 0) {
            XEvent event;
            XNextEvent(connection_->display(), &event);
            handle(event);
            continue;
        }
        if (!ending_)
            inbox_.wait(ConnectionNumber(connection_->display()), std::nullopt);
    }
    ownKeys_->withdraw();
}

void X11KeyboardMonitor::Watcher::handle(XEvent& event) {
    if (keymap_->tellsOfChange(event)) {
        if (event.type == MappingNotify)
            XRefreshKeyboardMapping(&event.xmapping);
        reloadKeymap();
        return;
    }
    if (event.type != GenericEvent || event.xcookie.extension != xiOpcode_ ||
        !XGetEventData(connection_->display(), &event.xcookie))
        return;
    if (event.xcookie.evtype == XI_HierarchyChanged)
        handleHierarchy(*static_cast<const XIHierarchyEvent*>(event.xcookie.data));
    else
        handleRaw(event.xcookie.evtype, *static_cast<const XIRawEvent*>(event.xcookie.data));
    XFreeEventData(connection_->display(), &event.xcookie);
}

void X11KeyboardMonitor::Watcher::handleRaw(int kind, const XIRawEvent& raw) {
    if (kind != XI_RawKeyPress && kind != XI_RawKeyRelease)
        return;
    keyMoved(static_cast<OwnKeys::Keycode>(raw.detail),
             kind == XI_RawKeyPress ? OwnKeys::Stroke::press : OwnKeys::Stroke::release);
}

/// Keyboards are switched off while another console is in front, and keys that are released then
/// are never told.
void X11KeyboardMonitor::Watcher::handleHierarchy(const XIHierarchyEvent& change) {
    if ((change.flags & XIDeviceEnabled) == 0)
        return;
    readHeldKeys();
    publish();
    tell({.kind = KeyboardEvent::Kind::interrupted, .modifiers = user_.modifiers});
}

void X11KeyboardMonitor::Watcher::keyMoved(OwnKeys::Keycode keycode, OwnKeys::Stroke stroke) {
    const bool isOwn = ownKeys_->claim(keycode, stroke);
    const bool isPress = stroke == OwnKeys::Stroke::press;
    Side& side = isOwn ? own_ : user_;
    if (!isWatched(keycode)) {
        if (isPress)
            otherPressed(keycode, side, isOwn);
        return;
    }
    const Modifiers before = side.modifiers;
    // The server repeats releases now and then, and tells of a key that two keyboards hold twice.
    const bool changed = isPress ? side.held.insert(keycode).second : side.held.erase(keycode) > 0;
    // A modifier that was lifted and pressed again in the user's place ends with the user's
    // release.
    if (!isOwn && !isPress)
        own_.held.erase(keycode);
    if (!changed)
        return;
    updateModifiers();

    if (keymap_->modifier(keycode)) {
        if (side.modifiers != before)
            tell({.kind = KeyboardEvent::Kind::modifiersChanged,
                  .modifiers = side.modifiers,
                  .isOwn = isOwn});
        return;
    }
    if (!isPress)
        grabConnection_->dropEvents();  // the raw ones say it all
    if (const auto key = keymap_->key(keycode))
        tell({.kind = isPress ? KeyboardEvent::Kind::keyDown : KeyboardEvent::Kind::keyUp,
              .key = *key,
              .modifiers = side.modifiers,
              .isOwn = isOwn});
}

/// Raw events have no repeats that would have to be told from presses, so nothing is kept.
void X11KeyboardMonitor::Watcher::otherPressed(OwnKeys::Keycode keycode, const Side& side,
                                               bool isOwn) {
    if (reportsTyping_ && !keymap_->isModifier(keycode))
        tell({.kind = KeyboardEvent::Kind::keyDown,
              .key = Key::other,
              .modifiers = side.modifiers,
              .isOwn = isOwn});
}

bool X11KeyboardMonitor::Watcher::isWatched(OwnKeys::Keycode keycode) const {
    return keymap_->modifier(keycode) || keymap_->shiftsOthers(keycode) || keymap_->key(keycode);
}

Modifiers X11KeyboardMonitor::Watcher::modifiersOf(const std::set<OwnKeys::Keycode>& held) const {
    Modifiers result;
    for (const auto keycode : held) {
        if (const auto modifier = keymap_->modifier(keycode))
            result.set(*modifier, true);
    }
    return result;
}

void X11KeyboardMonitor::Watcher::updateModifiers() {
    const bool functionBefore = user_.modifiers.contains({Modifier::function});
    user_.modifiers = modifiersOf(user_.held);
    own_.modifiers = modifiersOf(own_.held);
    if (user_.modifiers.contains({Modifier::function}) != functionBefore)
        applyGrabs();
    else
        publish();
}

void X11KeyboardMonitor::Watcher::readHeldKeys() {
    user_ = {};
    own_ = {};
    for (const auto keycode : connection_->heldKeys()) {
        if (isWatched(keycode))
            user_.held.insert(keycode);
    }
    user_.modifiers = modifiersOf(user_.held);
}

void X11KeyboardMonitor::Watcher::reloadKeymap() {
    keymap_->reload();
    user_.modifiers = modifiersOf(user_.held);
    own_.modifiers = modifiersOf(own_.held);
    applyGrabs();
}

void X11KeyboardMonitor::Watcher::setSwallowed(std::vector<KeyChord> chords) {
    inbox_.post([this, chords = std::move(chords)]() mutable {
        grabs_->setChords(std::move(chords));
        applyGrabs();
    });
}

void X11KeyboardMonitor::Watcher::setReportsTyping(bool reports) {
    inbox_.post([this, reports] { reportsTyping_ = reports; });
}

void X11KeyboardMonitor::Watcher::setFunctionKeys(std::vector<X11Keymap::Symbol> symbols) {
    inbox_.post([this, symbols = std::move(symbols)]() mutable {
        keymap_->setFunctionKeys(std::move(symbols));
        updateModifiers();
        applyGrabs();
    });
}

void X11KeyboardMonitor::Watcher::applyGrabs() {
    grabs_->setFunctionHeld(user_.modifiers.contains({Modifier::function}));
    for (auto& conflict : grabs_->apply()) {
        log_.info("{} belongs to another program ({}).", displayName(conflict.chord),
                  conflict.owner.empty() ? "unknown" : conflict.owner);
        loop_.enqueue([weak = listener_, conflict = std::move(conflict)] {
            if (const auto listener = weak.lock(); listener && listener->onConflict)
                listener->onConflict(conflict);
        });
    }
    publish();
}

void X11KeyboardMonitor::Watcher::publish() {
    ownKeys_->publish({user_.held, grabs_->grabbedKeys(), user_.modifiers});
}

void X11KeyboardMonitor::Watcher::tell(KeyboardEvent event) {
    loop_.enqueue([weak = listener_, event] {
        if (const auto listener = weak.lock(); listener && listener->onEvent)
            listener->onEvent(event);
    });
}

X11KeyboardMonitor::X11KeyboardMonitor(std::string displayName, Loop& loop, Log log,
                                       std::shared_ptr<OwnKeys> ownKeys)
    : watcher_(std::make_unique<Watcher>(std::move(displayName), loop, std::move(log),
                                         std::move(ownKeys))) {}

X11KeyboardMonitor::~X11KeyboardMonitor() = default;

std::expected<void, KeyboardMonitor::Error> X11KeyboardMonitor::start(OnEvent onEvent,
                                                                      OnConflict onConflict) {
    return watcher_->start(std::move(onEvent), std::move(onConflict));
}

void X11KeyboardMonitor::setSwallowed(std::vector<KeyChord> chords) {
    watcher_->setSwallowed(std::move(chords));
}

void X11KeyboardMonitor::setReportsTyping(bool reports) {
    watcher_->setReportsTyping(reports);
}

std::vector<std::string> X11KeyboardMonitor::setFunctionKeys(std::vector<std::string> keyNames) {
    std::vector<X11Keymap::Symbol> symbols;
    std::vector<std::string> unknown;
    for (auto& name : keyNames) {
        if (const auto symbol = XStringToKeysym(name.c_str()); symbol != NoSymbol)
            symbols.push_back(symbol);
        else
            unknown.push_back(std::move(name));
    }
    if (keyNames.empty())
        symbols = X11Keymap::defaultFunctionKeys();
    watcher_->setFunctionKeys(std::move(symbols));
    return unknown;
}

}  // namespace quillet
