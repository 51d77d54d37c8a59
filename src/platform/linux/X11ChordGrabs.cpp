#include "platform/linux/X11ChordGrabs.h"

#include <xcb/xcb.h>

#include <array>
#include <cstdlib>
#include <memory>
#include <optional>

#include "platform/linux/X11Connection.h"
#include "platform/linux/X11Keymap.h"
#include "platform/linux/X11Properties.h"

namespace quillet {

namespace {

constexpr std::array menuModifiers{Modifier::control, Modifier::shift, Modifier::option,
                                   Modifier::command};

/// Every set of modifiers, Fn aside, that holds at least those given.
std::vector<Modifiers> supersets(Modifiers least) {
    std::vector<Modifiers> result{least.without({Modifier::function})};
    for (const auto one : menuModifiers) {
        if (least.contains({one}))
            continue;
        const auto count = result.size();
        for (std::size_t i = 0; i < count; ++i)
            result.push_back(result[i] | Modifiers{one});
    }
    return result;
}

}  // namespace

void X11ChordGrabs::addWanted(std::map<Grab, KeyChord>& grabs, const KeyChord& chord) const {
    const unsigned numLock = keymap_.numLockMask();
    const auto addLockVariants = [&](std::uint8_t keycode, unsigned mask) {
        for (const unsigned locks :
             {0U, unsigned{XCB_MOD_MASK_LOCK}, numLock, XCB_MOD_MASK_LOCK | numLock})
            grabs.try_emplace({keycode, static_cast<std::uint16_t>(mask | locks)}, chord);
    };
    const bool withFunction = chord.modifiers.contains({Modifier::function});
    if (chord.key == Key::none) {
        if (!withFunction)
            return;  // modifiers do nothing by themselves that would have to be kept back
        for (const auto keycode : keymap_.functionKeycodesThatType())
            for (const auto modifiers : supersets(chord.modifiers))
                addLockVariants(keycode, keymap_.mask(modifiers));
        return;
    }
    if (withFunction && !functionHeld_)
        return;
    const unsigned mask = keymap_.mask(chord.modifiers);
    for (const auto keycode : keymap_.keycodesOf(chord.key)) {
        addLockVariants(keycode, mask);
        // The right Control key remains a Control key to the server when it stands for Fn.
        if (withFunction)
            addLockVariants(keycode, mask | XCB_MOD_MASK_CONTROL);
    }
}

std::map<X11ChordGrabs::Grab, KeyChord> X11ChordGrabs::wanted() const {
    std::map<Grab, KeyChord> grabs;
    for (const auto& chord : chords_)
        addWanted(grabs, chord);
    return grabs;
}

std::vector<KeyboardMonitor::Conflict> X11ChordGrabs::apply() {
    const auto grabs = wanted();
    auto* xcb = connection_.xcb();
    std::erase_if(granted_, [&](const Grab& grab) {
        if (grabs.contains(grab))
            return false;
        xcb_ungrab_key(xcb, grab.keycode, connection_.root(), grab.mask);
        return true;
    });

    std::vector<std::pair<Grab, xcb_void_cookie_t>> asked;
    for (const auto& [grab, chord] : grabs) {
        if (!granted_.contains(grab))
            asked.emplace_back(
                grab, xcb_grab_key_checked(xcb, 0, connection_.root(), grab.mask, grab.keycode,
                                           XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC));
    }
    std::set<KeyChord> refused;
    for (const auto& [grab, cookie] : asked) {
        const std::unique_ptr<xcb_generic_error_t, decltype(&std::free)> error(
            xcb_request_check(xcb, cookie), &std::free);
        if (!error)
            granted_.insert(grab);
        else if (error->error_code == XCB_ACCESS)
            refused.insert(grabs.at(grab));
    }
    xcb_flush(xcb);

    std::vector<KeyboardMonitor::Conflict> fresh;
    for (const auto& chord : refused) {
        if (!conflicts_.contains(chord))
            fresh.push_back({chord, likelyOwner()});
    }
    // A chord of Fn is not asked for all the time; only one that left the list is forgotten.
    std::erase_if(conflicts_, [&](const KeyChord& chord) {
        return std::ranges::find(chords_, chord) == chords_.end();
    });
    conflicts_.merge(refused);
    return fresh;
}

std::set<std::uint8_t> X11ChordGrabs::grabbedKeys() const {
    std::set<std::uint8_t> keys;
    for (const auto& grab : granted_)
        keys.insert(grab.keycode);
    return keys;
}

/// The server does not tell whose grab it is. In practice it is the window manager's.
std::string X11ChordGrabs::likelyOwner() const {
    const auto manager =
        X11Properties::window(connection_, connection_.root(), "_NET_SUPPORTING_WM_CHECK");
    if (!manager)
        return {};
    return X11Properties::text(connection_, *manager, "_NET_WM_NAME").value_or("");
}

}  // namespace quillet
