#include <algorithm>
#include <cstdlib>
#include <utility>

#include "platform/DesktopFixture.h"
#include "platform/XPeer.h"

namespace quillet::test {

namespace {

using Kind = KeyboardEvent::Kind;
using Press = XPeer::Press;

constexpr Modifiers controlAlt{Modifier::control, Modifier::option};
constexpr KeyChord dictate{controlAlt, Key::space};

std::size_t countOf(const std::vector<Press>& presses, std::uint8_t keycode) {
    return static_cast<std::size_t>(
        std::ranges::count(presses, keycode, [](const Press& one) { return one.keycode; }));
}

class X11Keyboard : public DesktopFixture {
protected:
    /// On a busy machine a key that is tapped may be down for long enough to repeat.
    X11Keyboard() { shell("xset r off"); }
    ~X11Keyboard() override {
        std::system(
            "xdotool keyup Control_L keyup Alt_L keyup space keyup Menu keyup Control_R; "
            "setxkbmap us");
    }
};

TEST_F(X11Keyboard, SeesAChordWhateverHasTheFocusOrGrabsTheKeyboard) {
    watchKeyboard();
    XPeer peer;
    const auto expectChord = [&] {
        shell("xdotool key ctrl+alt+space");
        const auto down = waitFor(Kind::keyDown, Key::space);
        EXPECT_EQ(down.modifiers, controlAlt);
        EXPECT_FALSE(down.isOwn);
        waitFor(Kind::keyUp, Key::space);
        settleKeyboard();
        EXPECT_EQ(desktop->keyPoster().heldModifiers(), Modifiers());
        events.clear();
    };
    expectChord();
    peer.grabKeyboard();
    expectChord();
}

TEST_F(X11Keyboard, LeavesOutRepeatsAndOtherKeys) {
    watchKeyboard();
    XPeer peer;
    shell("xset r on r rate 50 100 && xdotool key b keydown space");
    peer.pressesUntil(spaceKey, 4);
    shell("xdotool keyup space");
    until([&] { return !events.empty() && events.back().kind == Kind::keyUp; });
    ASSERT_EQ(events.size(), 2U);
    EXPECT_EQ(events[0].kind, Kind::keyDown);
}

TEST_F(X11Keyboard, TellsOfTypingOnlyWhileThatIsAskedForAndNotOfWhichKey) {
    watchKeyboard();
    XPeer peer;
    // The events until now, of keys that have no name.
    const auto others = [this] {
        shell("xdotool key Return");
        until([this] {
            return !events.empty() && events.back().kind == Kind::keyUp &&
                   events.back().key == Key::returnKey;
        });
        auto all = std::exchange(events, {});
        std::erase_if(all, [](const KeyboardEvent& event) { return event.key != Key::other; });
        return all;
    };
    shell("xdotool key b");
    EXPECT_TRUE(others().empty()) << "nobody asked";

    desktop->keyboardMonitor().setReportsTyping(true);
    settleKeyboard();
    shell("xdotool key b key shift+b");
    const auto typed = others();
    ASSERT_EQ(typed.size(), 2U);
    EXPECT_EQ(typed[0].kind, Kind::keyDown);
    EXPECT_EQ(typed[1].modifiers, Modifiers({Modifier::shift}));
    EXPECT_FALSE(typed[1].isOwn);
    peer.pressesUntil(bKey, 2);

    shell("xset r on r rate 50 100 && xdotool keydown b");
    peer.pressesUntil(bKey, 5);
    shell("xdotool keyup b && xset r off");
    EXPECT_EQ(others().size(), 1U) << "neither its repeats nor its release";
    shell("xdotool key Caps_Lock key Caps_Lock key Num_Lock key Num_Lock key space key v");
    EXPECT_TRUE(others().empty()) << "modifiers, and keys that have a name";

    shell("setxkbmap ru");
    EXPECT_TRUE(run(desktop->keyPoster().postPaste(PasteStyle::clipboard)));
    EXPECT_TRUE(waitFor(Kind::keyDown, Key::other).isOwn) << "Insert, where no key gives a v";
    desktop->keyboardMonitor().setReportsTyping(false);
    settleKeyboard();
    shell("xdotool key b");
    EXPECT_TRUE(others().empty());
}

TEST_F(X11Keyboard, TakesEveryEnterKeyForReturn) {
    watchKeyboard();
    const auto isReturn = [this] {
        shell("xdotool key " + std::to_string(keypadEnter));
        waitFor(Kind::keyUp, Key::returnKey);
    };
    isReturn();
    shell("xmodmap -e 'keycode 104 = ISO_Enter'");
    isReturn();
}

TEST_F(X11Keyboard, KeepsASwallowedChordFromTheFocusedWindowUntilItIsReleased) {
    watchKeyboard();
    desktop->keyboardMonitor().setSwallowed({dictate, {{}, Key::escape}});
    settleKeyboard();
    XPeer peer;
    shell("xdotool key ctrl+alt+space key Escape key a");
    auto presses = peer.pressesUntil(aKey);
    EXPECT_EQ(countOf(presses, spaceKey), 0U);
    EXPECT_EQ(countOf(presses, escapeKey), 0U);
    EXPECT_EQ(countOf(presses, leftControl), 1U) << "modifiers go on to the window";
    EXPECT_EQ(waitFor(Kind::keyDown, Key::space).modifiers, controlAlt);
    waitFor(Kind::keyUp, Key::space);
    waitFor(Kind::keyUp, Key::escape);
    EXPECT_EQ(desktop->keyPoster().heldModifiers(), Modifiers()) << "releases are seen too";

    shell(
        "xdotool key Caps_Lock key Num_Lock key ctrl+alt+space key Escape key Caps_Lock "
        "key Num_Lock key space key a");
    presses = peer.pressesUntil(aKey);
    EXPECT_EQ(countOf(presses, escapeKey), 0U);
    EXPECT_EQ(countOf(presses, spaceKey), 1U) << "only the plain space";

    desktop->keyboardMonitor().setSwallowed({{{}, Key::escape}});
    settleKeyboard();
    shell("xdotool key ctrl+alt+space key Escape key a");
    presses = peer.pressesUntil(aKey);
    EXPECT_EQ(countOf(presses, spaceKey), 1U);
    EXPECT_EQ(countOf(presses, escapeKey), 0U);
}

TEST_F(X11Keyboard, TellsOfAChordThatBelongsToSomebodyElse) {
    watchKeyboard();
    XPeer peer;
    ASSERT_TRUE(peer.grabKey(spaceKey, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1));
    desktop->keyboardMonitor().setSwallowed({dictate});
    until([&] { return !conflicts.empty(); });
    EXPECT_EQ(conflicts[0].chord, dictate);
    EXPECT_EQ(conflicts[0].owner, "Openbox");
    shell("xdotool key ctrl+alt+space");
    EXPECT_EQ(waitFor(Kind::keyDown, Key::space).modifiers, controlAlt);
    EXPECT_EQ(conflicts.size(), 1U);
}

TEST_F(X11Keyboard, TellsItsOwnKeysFromThoseOfOtherPrograms) {
    watchKeyboard();
    XPeer peer;
    EXPECT_TRUE(run(desktop->keyPoster().postKey({{Modifier::shift}, Key::escape})));
    const auto own = waitFor(Kind::keyDown, Key::escape);
    EXPECT_TRUE(own.isOwn);
    EXPECT_EQ(own.modifiers, Modifiers({Modifier::shift}));
    waitFor(Kind::keyUp, Key::escape);
    shell("xdotool key Escape");
    EXPECT_FALSE(waitFor(Kind::keyDown, Key::escape).isOwn);
    EXPECT_EQ(peer.pressesUntil(escapeKey).back(), (Press{escapeKey, XCB_MOD_MASK_SHIFT}));
    EXPECT_EQ(run(desktop->keyPoster().postKey({{Modifier::function}, Key::escape})),
              std::unexpected(KeyPoster::Error::noSuchKey));
}

TEST_F(X11Keyboard, PostsThePasteKeysWhileTheUserHoldsTheWholeChord) {
    watchKeyboard();
    desktop->keyboardMonitor().setSwallowed({dictate});
    settleKeyboard();
    XPeer peer;
    shell("xdotool keydown Control_L keydown Alt_L keydown space");
    waitFor(Kind::keyDown, Key::space);
    EXPECT_EQ(desktop->keyPoster().heldModifiers(), controlAlt);

    EXPECT_TRUE(run(desktop->keyPoster().postPaste(PasteStyle::clipboard)));
    EXPECT_EQ(peer.pressesUntil(vKey).back(), (Press{vKey, XCB_MOD_MASK_CONTROL}));
    EXPECT_EQ(desktop->keyPoster().heldModifiers(), controlAlt);
    shell("xdotool key a");
    EXPECT_EQ(peer.pressesUntil(aKey).back(), (Press{aKey, XCB_MOD_MASK_CONTROL | XCB_MOD_MASK_1}))
        << "the modifiers were put back";

    shell("xdotool keyup space keyup Alt_L keyup Control_L key a");
    EXPECT_EQ(peer.pressesUntil(aKey).back(), (Press{aKey, 0})) << "and nothing stays down";
    EXPECT_EQ(desktop->keyPoster().heldModifiers(), Modifiers());
}

TEST_F(X11Keyboard, TakesTheRightControlKeyAndMenuForFn) {
    watchKeyboard();
    XPeer peer;
    shell("xdotool key " + std::to_string(rightControl));
    EXPECT_EQ(waitFor(Kind::modifiersChanged).modifiers, Modifiers({Modifier::function}));
    EXPECT_EQ(waitFor(Kind::modifiersChanged).modifiers, Modifiers());

    const auto unknown = desktop->keyboardMonitor().setFunctionKeys({"Menu", "NoSuchKey"});
    EXPECT_EQ(unknown, std::vector<std::string>{"NoSuchKey"});
    desktop->keyboardMonitor().setSwallowed(
        {{{Modifier::function, Modifier::control}, Key::none}, {{Modifier::function}, Key::space}});
    settleKeyboard();
    shell("xdotool key " + std::to_string(rightControl));
    EXPECT_EQ(waitFor(Kind::modifiersChanged).modifiers, Modifiers({Modifier::control}));
    shell("xdotool key Menu key ctrl+Menu key a");
    EXPECT_EQ(countOf(peer.pressesUntil(aKey), menuKey), 1U) << "with Control it opens no menu";

    // Space is kept back for as long as Fn is held, and only for so long.
    events.clear();
    shell("xdotool key space keydown Menu");
    EXPECT_EQ(waitFor(Kind::keyDown, Key::space).modifiers, Modifiers());
    waitFor(Kind::modifiersChanged);
    shell("xdotool key space keyup Menu");
    EXPECT_EQ(waitFor(Kind::keyDown, Key::space).modifiers, Modifiers({Modifier::function}));
    waitFor(Kind::modifiersChanged);
    shell("xdotool key a");
    EXPECT_EQ(countOf(peer.pressesUntil(aKey), spaceKey), 1U);
}

TEST_F(X11Keyboard, WorksWithLayoutsThatHaveNoLatinLetters) {
    watchKeyboard();
    desktop->keyboardMonitor().setSwallowed({dictate});
    XPeer peer;
    auto& source = desktop->inputSource();
    shell("setxkbmap ru,us");
    EXPECT_EQ(source.current(), "xkb:ru");
    EXPECT_FALSE(source.canTypeAscii());
    settleKeyboard();
    shell("xdotool key " + std::to_string(vKey) + " key ctrl+alt+space");
    EXPECT_EQ(waitFor(Kind::keyDown).key, Key::v);
    EXPECT_EQ(waitFor(Kind::keyDown, Key::space).modifiers, controlAlt);
    EXPECT_TRUE(run(desktop->keyPoster().postPaste(PasteStyle::clipboard)));
    EXPECT_EQ(countOf(peer.pressesUntil(vKey, 2), spaceKey), 0U);

    EXPECT_TRUE(source.select(abcInputSource));
    EXPECT_EQ(source.current(), "xkb:us");
    EXPECT_TRUE(source.canTypeAscii());
    settleKeyboard();
    shell("xdotool key ctrl+alt+space key 38");
    EXPECT_EQ(countOf(peer.pressesUntil(aKey), spaceKey), 0U)
        << "swallowed in the second layout too";
    EXPECT_TRUE(source.select("xkb:ru"));
    EXPECT_EQ(source.current(), "xkb:ru");
    EXPECT_FALSE(source.select("xkb:fr"));

    shell("setxkbmap ru");
    EXPECT_FALSE(source.select(usInputSource));
    EXPECT_TRUE(run(desktop->keyPoster().postPaste(PasteStyle::clipboard)));
    EXPECT_EQ(peer.pressesUntil(insertKey).back().modifiers & 0xFF, XCB_MOD_MASK_SHIFT);

    shell("setxkbmap us,us -variant dvorak,");
    EXPECT_EQ(source.current(), "xkb:us(dvorak)");
    EXPECT_TRUE(run(desktop->keyPoster().postPaste(PasteStyle::clipboard)));
    EXPECT_EQ(countOf(peer.pressesUntil(60), vKey), 0U) << "v is on another key there";
}

TEST_F(X11Keyboard, TellsOfAnInterruption) {
    watchKeyboard();
    shell("xdotool keydown Control_L");
    waitFor(Kind::modifiersChanged);
    const FurtherKeyboard plugged;
    EXPECT_EQ(waitFor(Kind::interrupted).modifiers, Modifiers({Modifier::control}));
}

}  // namespace

}  // namespace quillet::test
