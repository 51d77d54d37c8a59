#include "app/GlobalHotkey.h"

#include <fmt/format.h>

#include "base/text/Translation.h"

namespace quillet {

namespace {

constexpr Modifiers functionControl = {Modifier::function, Modifier::control};
constexpr Modifiers controlOption = {Modifier::control, Modifier::option};
constexpr Modifiers modeModifiers = {Modifier::shift, Modifier::option, Modifier::command};

constexpr KeyChord dictateChord = {controlOption, Key::space};
constexpr KeyChord pasteLastChord = {controlOption, Key::v};
constexpr KeyChord functionChord = {functionControl, Key::none};

bool isCancelling(const KeyChord& chord) {
    return chord.key == Key::escape || chord.key == Key::period;
}

std::string conflictSentence(const KeyboardMonitor::Conflict& conflict) {
    const auto owner = conflict.owner.empty() ? translated("another program") : conflict.owner;
    auto remedy = toTranslate(
        "Free it in that program's keyboard settings, or bind \"quillet toggle\" "
        "to a key of your own.");
    if (conflict.chord == dictateChord)
        remedy = toTranslate(
            "Use Fn+Ctrl (Right Ctrl and Left Ctrl), or free it in that program's keyboard "
            "settings.");
    else if (conflict.chord == pasteLastChord)
        remedy = toTranslate(
            "Use the menu's \"Paste the last result again\", or free it in that program's "
            "keyboard settings.");
    return fmt::format(fmt::runtime(translated("{} belongs to {}. {}")),
                       displayName(conflict.chord), owner, translated(remedy));
}

}  // namespace

GlobalHotkey::GlobalHotkey(KeyboardMonitor& monitor, Scheduler& scheduler, Loop& loop, Log log)
    : monitor_(monitor), scheduler_(scheduler), log_(std::move(log)), tasks_(loop) {}

bool GlobalHotkey::start(Callbacks callbacks) {
    callbacks_ = std::move(callbacks);
    const auto started = monitor_.start(
        [this, alive = std::weak_ptr(alive_)](const KeyboardEvent& event) {
            if (!alive.expired())
                handle(event);
        },
        [this, alive = std::weak_ptr(alive_)](const KeyboardMonitor::Conflict& conflict) {
            // Some are wanted for moments only; that somebody else has them is no news.
            if (!alive.expired() && !isCancelling(conflict.chord))
                callbacks_.onConflict(conflictSentence(conflict));
        });
    if (!started)
        return false;
    log_.info("Installed global Fn key monitor");
    swallow();
    return true;
}

void GlobalHotkey::setCaptured(std::vector<KeyChord> chords) {
    if (chords == captured_)
        return;
    captured_ = std::move(chords);
    swallow();
}

void GlobalHotkey::swallow() {
    std::vector<KeyChord> chords = {dictateChord, pasteLastChord, functionChord};
    chords.insert(chords.end(), captured_.begin(), captured_.end());
    monitor_.setSwallowed(std::move(chords));
}

void GlobalHotkey::handle(const KeyboardEvent& event) {
    if (event.isOwn)
        return;
    switch (event.kind) {
        case KeyboardEvent::Kind::modifiersChanged:
            modifiersChanged(event.modifiers);
            return;
        case KeyboardEvent::Kind::keyDown:
            keyDown(event);
            return;
        case KeyboardEvent::Kind::keyUp:
            if (event.key == Key::space && held_ == Held::controlOptionSpace)
                release();
            return;
        case KeyboardEvent::Kind::interrupted:
            resynchronise(event.modifiers);
            return;
    }
}

void GlobalHotkey::modifiersChanged(Modifiers modifiers) {
    const bool down = modifiers.contains(functionControl);
    if (awaitsRelease_) {
        awaitsRelease_ = down;
        return;
    }
    if (held_ == Held::controlOptionSpace)
        return;
    if (held_ == Held::functionControl) {
        if (!down) {
            release();
            return;
        }
        const auto grown = collected_ | (modifiers & modeModifiers);
        if (grown != collected_) {
            collected_ = grown;
            callbacks_.onModeChange(modeFor(collected_));
        }
        return;
    }
    if (!down)
        return;
    held_ = Held::functionControl;
    collected_ = modifiers & modeModifiers;
    press(modeFor(collected_));
}

void GlobalHotkey::keyDown(const KeyboardEvent& event) {
    const KeyChord chord{event.modifiers, event.key};
    if (chord == dictateChord && held_ == Held::nothing) {
        held_ = Held::controlOptionSpace;
        press(HotkeyMode::dictate);
    } else if (chord == pasteLastChord) {
        callbacks_.onPasteLast();
    } else {
        callbacks_.onKeyDown(chord);
    }
}

void GlobalHotkey::resynchronise(Modifiers modifiers) {
    log_.info("Re-enabled event tap after system disabled it");
    if (held_ == Held::functionControl && !modifiers.contains(functionControl)) {
        log_.info("Fn+Ctrl released while tap was disabled — resynced");
        release();
    } else if (held_ == Held::controlOptionSpace) {
        release();
    }
}

void GlobalHotkey::press(HotkeyMode mode) {
    safetyTimer_ = tasks_.spawn(releaseAfterMaxHold());
    callbacks_.onHotkeyDown(mode);
}

void GlobalHotkey::release() {
    held_ = Held::nothing;
    collected_ = {};
    safetyTimer_.cancel();
    callbacks_.onHotkeyUp();
}

asio::awaitable<void> GlobalHotkey::releaseAfterMaxHold() {
    co_await scheduler_.sleep(maxHoldDuration);
    log_.info("Safety timer fired after {:f}s — auto-releasing",
              std::chrono::duration<double>(maxHoldDuration).count());
    awaitsRelease_ = held_ == Held::functionControl;
    release();
}

HotkeyMode GlobalHotkey::modeFor(Modifiers modifiers) {
    if (modifiers.contains({Modifier::shift, Modifier::option}))
        return HotkeyMode::amend;
    if (modifiers.contains({Modifier::command}))
        return HotkeyMode::live;
    if (modifiers.contains({Modifier::shift}))
        return HotkeyMode::command;
    if (modifiers.contains({Modifier::option}))
        return HotkeyMode::translate;
    return HotkeyMode::dictate;
}

}  // namespace quillet
