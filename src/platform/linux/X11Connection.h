#pragma once

#include <atomic>
#include <cstdint>
#include <memory>
#include <string>
#include <vector>

// Xlib's own headers define macros such as None and Success, so they stay out of ours.
// NOLINTBEGIN(bugprone-reserved-identifier)
struct _XDisplay;
union _XEvent;
// NOLINTEND(bugprone-reserved-identifier)
struct xcb_connection_t;

namespace quillet {

/// A connection to the X server, used by one thread at a time.
///
/// An X error on it is nothing but a request without effect, and a lost connection a flag: neither
/// ends the process, as Xlib would have it. Where an error matters, the request goes through
/// `xcb()`, whose checked requests tell.
class X11Connection {
public:
    /// An empty name means the display that the environment names. None when it cannot be had.
    [[nodiscard]] static std::unique_ptr<X11Connection> open(const std::string& displayName);
    ~X11Connection();
    X11Connection(const X11Connection&) = delete;
    X11Connection& operator=(const X11Connection&) = delete;

    [[nodiscard]] _XDisplay* display() const { return display_; }
    [[nodiscard]] xcb_connection_t* xcb() const { return xcb_; }
    [[nodiscard]] unsigned root() const { return root_; }
    [[nodiscard]] bool isLost() const;

    /// The id of a name, made known to the server if need be.
    [[nodiscard]] unsigned atom(const std::string& name);
    /// The keys that are down, posted ones included. None on a lost connection.
    [[nodiscard]] std::vector<std::uint8_t> heldKeys();
    /// Takes out and drops the events that came meanwhile.
    void dropEvents();

private:
    explicit X11Connection(_XDisplay* display);

    _XDisplay* display_;
    xcb_connection_t* xcb_;
    unsigned root_;
    std::atomic<bool> lost_ = false;
};

}  // namespace quillet
