#pragma once

#include <xcb/xcb.h>

#include <atomic>
#include <cstdint>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace quillet::test {

/// Keycodes of the desktop that the tests run on.
enum : std::uint8_t {
    escapeKey = 9,
    returnKey = 36,
    leftControl = 37,
    aKey = 38,
    vKey = 55,
    bKey = 56,
    leftAlt = 64,
    spaceKey = 65,
    keypadEnter = 104,
    rightControl = 105,
    insertKey = 118,
    menuKey = 135,
};

/// Another program with a focused window, which notes the keys that reach it.
class XPeer {
public:
    struct Press {
        std::uint8_t keycode;
        std::uint16_t modifiers;
        friend bool operator==(const Press&, const Press&) = default;
    };

    /// Returns when the window has the focus.
    XPeer();
    ~XPeer();
    XPeer(const XPeer&) = delete;
    XPeer& operator=(const XPeer&) = delete;

    /// Waits for the press of a key and returns all presses until then. What comes after is kept.
    std::vector<Press> pressesUntil(std::uint8_t keycode, int times = 1);

    void grabKeyboard();
    /// False when another program has this chord.
    bool grabKey(std::uint8_t keycode, std::uint16_t modifiers);

private:
    xcb_generic_event_t* nextEvent();

    xcb_connection_t* xcb_;
    xcb_window_t root_;
    xcb_window_t window_;
};

/// A clipboard manager, which saves the text that a program leaves behind.
class ClipboardManager {
public:
    ClipboardManager();
    ~ClipboardManager();
    ClipboardManager(const ClipboardManager&) = delete;
    ClipboardManager& operator=(const ClipboardManager&) = delete;

    /// What was saved since the last call.
    std::string takeSaved();
    /// Answers nobody from now on.
    void sleep();

private:
    void serve();
    void save(const xcb_selection_request_event_t& request);
    xcb_atom_t atom(const std::string& name);

    xcb_connection_t* xcb_;
    xcb_window_t window_;
    std::atomic<bool> asleep_ = false;
    std::mutex mutex_;
    std::string saved_;  // guarded by mutex_
    std::thread thread_;
};

/// Attaches a further keyboard, which goes again with this object.
class FurtherKeyboard {
public:
    FurtherKeyboard();
    ~FurtherKeyboard();
    FurtherKeyboard(const FurtherKeyboard&) = delete;
    FurtherKeyboard& operator=(const FurtherKeyboard&) = delete;

private:
    void* display_;
};

}  // namespace quillet::test
