#include "platform/linux/X11KeyPoster.h"

#include <X11/Xlib.h>
#include <X11/extensions/XTest.h>
#include <X11/keysym.h>

#include <algorithm>
#include <ranges>

#include "base/async/SerialQueue.h"
#include "platform/linux/OwnKeys.h"
#include "platform/linux/X11Connection.h"
#include "platform/linux/X11Keymap.h"

namespace quillet {

namespace {

using Keycode = X11Keymap::Keycode;
using Symbol = X11Keymap::Symbol;

/// The symbols to press for a chord, modifiers first.
std::vector<Symbol> symbolsOf(const KeyChord& chord) {
    std::vector<Symbol> symbols;
    if (chord.modifiers.contains({Modifier::control}))
        symbols.push_back(XK_Control_L);
    if (chord.modifiers.contains({Modifier::shift}))
        symbols.push_back(XK_Shift_L);
    if (chord.modifiers.contains({Modifier::option}))
        symbols.push_back(XK_Alt_L);
    if (chord.modifiers.contains({Modifier::command}))
        symbols.push_back(XK_Super_L);
    switch (chord.key) {
        case Key::v:
            symbols.push_back(XK_v);
            break;
        case Key::returnKey:
            symbols.push_back(XK_Return);
            break;
        case Key::period:
            symbols.push_back(XK_period);
            break;
        case Key::space:
            symbols.push_back(XK_space);
            break;
        case Key::escape:
            symbols.push_back(XK_Escape);
            break;
        case Key::other:
        case Key::none:
            break;
    }
    return symbols;
}

}  // namespace

class X11KeyPoster::Hands {
public:
    Hands(const std::string& displayName, Log log, std::shared_ptr<OwnKeys> ownKeys)
        : log_(std::move(log)),
          ownKeys_(std::move(ownKeys)),
          connection_(X11Connection::open(displayName)),
          glance_(X11Connection::open(displayName)),
          queue_("key poster") {
        int unused = 0;
        if (connection_ &&
            XTestQueryExtension(connection_->display(), &unused, &unused, &unused, &unused))
            keymap_ = std::make_unique<X11Keymap>(*connection_);
        if (glance_)
            glanceKeymap_ = std::make_unique<X11Keymap>(*glance_);
    }

    Modifiers heldModifiers();
    asio::awaitable<std::expected<void, Error>> paste(PasteStyle style);
    asio::awaitable<std::expected<void, Error>> press(KeyChord chord);

private:
    // On the queue.
    std::expected<void, Error> pressSymbols(const std::vector<Symbol>& symbols);
    [[nodiscard]] bool isReady();
    std::vector<Keycode> liftHeldKeys();
    void putBack(const std::vector<Keycode>& lifted);
    void post(Keycode keycode, OwnKeys::Stroke stroke);

    const Log log_;
    const std::shared_ptr<OwnKeys> ownKeys_;

    // The queue's own.
    std::unique_ptr<X11Connection> connection_;
    std::unique_ptr<X11Keymap> keymap_;  // none where keys cannot be posted

    // The main queue's own: it must not wait for the other.
    std::unique_ptr<X11Connection> glance_;
    std::unique_ptr<X11Keymap> glanceKeymap_;

    SerialQueue queue_;
};

Modifiers X11KeyPoster::Hands::heldModifiers() {
    if (const auto user = ownKeys_->user())
        return user->modifiers;
    Modifiers held;
    if (!glance_ || glance_->isLost())
        return held;
    glance_->dropEvents();
    for (const auto keycode : glance_->heldKeys()) {
        if (const auto modifier = glanceKeymap_->modifier(keycode))
            held.set(*modifier, true);
    }
    return held;
}

asio::awaitable<std::expected<void, KeyPoster::Error>> X11KeyPoster::Hands::paste(
    PasteStyle style) {
    co_return co_await queue_.run([this, style]() -> std::expected<void, Error> {
        if (!isReady())
            return std::unexpected(Error::unavailable);
        if (style == PasteStyle::clipboard && keymap_->keycodeFor(XK_v))
            return pressSymbols({XK_Control_L, XK_v});
        return pressSymbols({XK_Shift_L, XK_Insert});
    });
}

asio::awaitable<std::expected<void, KeyPoster::Error>> X11KeyPoster::Hands::press(KeyChord chord) {
    co_return co_await queue_.run([this, chord]() -> std::expected<void, Error> {
        if (!isReady())
            return std::unexpected(Error::unavailable);
        if (chord.key == Key::none || chord.modifiers.contains({Modifier::function}))
            return std::unexpected(Error::noSuchKey);
        return pressSymbols(symbolsOf(chord));
    });
}

bool X11KeyPoster::Hands::isReady() {
    if (!keymap_ || connection_->isLost())
        return false;
    bool changed = false;
    while (!connection_->isLost() && XPending(connection_->display()) > 0) {
        XEvent event;
        XNextEvent(connection_->display(), &event);
        changed = keymap_->tellsOfChange(event) || changed;
    }
    if (changed)
        keymap_->reload();
    return !connection_->isLost();
}

std::expected<void, KeyPoster::Error> X11KeyPoster::Hands::pressSymbols(
    const std::vector<Symbol>& symbols) {
    std::vector<Keycode> keycodes;
    for (const auto symbol : symbols) {
        const auto keycode = keymap_->keycodeFor(symbol);
        if (!keycode)
            return std::unexpected(Error::noSuchKey);
        keycodes.push_back(*keycode);
    }
    const auto lifted = liftHeldKeys();
    for (const auto keycode : keycodes)
        post(keycode, OwnKeys::Stroke::press);
    for (const auto keycode : keycodes | std::views::reverse)
        post(keycode, OwnKeys::Stroke::release);
    XSync(connection_->display(), False);
    putBack(lifted);
    if (connection_->isLost()) {
        log_.error("The connection to the X server is lost; no keys can be posted.");
        return std::unexpected(Error::unavailable);
    }
    return {};
}

/// Returns the modifiers among them. A swallowed key is lifted for good: as long as it is down, all
/// keys go to the one who swallows it, and the posted ones would never reach the application.
std::vector<Keycode> X11KeyPoster::Hands::liftHeldKeys() {
    const auto user = ownKeys_->user();
    std::vector<Keycode> modifiers;
    for (const auto keycode : connection_->heldKeys()) {
        const bool isModifier = keymap_->shiftsOthers(keycode);
        if (!isModifier && !(user && user->swallowed.contains(keycode)))
            continue;
        post(keycode, OwnKeys::Stroke::release);
        if (isModifier)
            modifiers.push_back(keycode);
    }
    return modifiers;
}

void X11KeyPoster::Hands::putBack(const std::vector<Keycode>& lifted) {
    if (lifted.empty())
        return;
    const auto stillHeld = [](const std::optional<OwnKeys::User>& user, Keycode keycode) {
        return !user || user->held.contains(keycode);
    };
    const auto before = ownKeys_->user();
    std::vector<Keycode> pressed;
    for (const auto keycode : lifted) {
        if (!stillHeld(before, keycode))
            continue;
        post(keycode, OwnKeys::Stroke::press);
        pressed.push_back(keycode);
    }
    XSync(connection_->display(), False);
    // What the user let go of meanwhile would stay down for ever.
    const auto after = ownKeys_->user();
    for (const auto keycode : pressed) {
        if (!stillHeld(after, keycode))
            post(keycode, OwnKeys::Stroke::release);
    }
    XFlush(connection_->display());
}

void X11KeyPoster::Hands::post(Keycode keycode, OwnKeys::Stroke stroke) {
    ownKeys_->expect(keycode, stroke);
    XTestFakeKeyEvent(connection_->display(), keycode, stroke == OwnKeys::Stroke::press ? 1 : 0,
                      CurrentTime);
}

X11KeyPoster::X11KeyPoster(const std::string& displayName, Log log,
                           std::shared_ptr<OwnKeys> ownKeys)
    : hands_(std::make_unique<Hands>(displayName, std::move(log), std::move(ownKeys))) {}

X11KeyPoster::~X11KeyPoster() = default;

Modifiers X11KeyPoster::heldModifiers() {
    return hands_->heldModifiers();
}

asio::awaitable<std::expected<void, KeyPoster::Error>> X11KeyPoster::postPaste(PasteStyle style) {
    return hands_->paste(style);
}

asio::awaitable<std::expected<void, KeyPoster::Error>> X11KeyPoster::postReturn(ReturnStyle style) {
    const Modifiers shortcut = {Modifier::control};
    return hands_->press({style == ReturnStyle::alone ? Modifiers() : shortcut, Key::returnKey});
}

asio::awaitable<std::expected<void, KeyPoster::Error>> X11KeyPoster::postKey(KeyChord chord) {
    return hands_->press(chord);
}

}  // namespace quillet
