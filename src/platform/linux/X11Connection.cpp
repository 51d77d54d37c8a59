#include "platform/linux/X11Connection.h"

#include <X11/Xlib-xcb.h>
#include <X11/Xlib.h>
#include <poll.h>
#include <xcb/xcb.h>

#include <cstdlib>

#include "platform/linux/XErrors.h"

namespace quillet {

std::unique_ptr<X11Connection> X11Connection::open(const std::string& displayName) {
    Display* display = XOpenDisplay(displayName.empty() ? nullptr : displayName.c_str());
    if (!display)
        return nullptr;
    return std::unique_ptr<X11Connection>(new X11Connection(display));
}

X11Connection::X11Connection(Display* display)
    : display_(display),
      xcb_(XGetXCBConnection(display)),
      root_(static_cast<unsigned>(DefaultRootWindow(display))) {
    XErrors::add(display_);
    XSetIOErrorExitHandler(
        display_, [](Display*, void* self) { static_cast<X11Connection*>(self)->lost_ = true; },
        this);
}

X11Connection::~X11Connection() {
    // A round trip, for a loss may not have been noticed yet.
    std::free(xcb_get_input_focus_reply(xcb_, xcb_get_input_focus(xcb_), nullptr));
    // Xlib lets a lost display be closed only by the thread that noticed the loss; any other would
    // wait for ever. It stays registered, and its memory is never given back.
    if (isLost())
        return;
    XCloseDisplay(display_);
    XErrors::remove(display_);
}

bool X11Connection::isLost() const {
    if (lost_ || xcb_connection_has_error(xcb_) != 0)
        return true;
    // Xlib's own way to notice a loss leaves its locks in disorder, so it had better not come to
    // it.
    pollfd socket{ConnectionNumber(display_), 0, 0};
    return poll(&socket, 1, 0) > 0 && (socket.revents & (POLLHUP | POLLERR)) != 0;
}

unsigned X11Connection::atom(const std::string& name) {
    const auto cookie =
        xcb_intern_atom(xcb_, 0, static_cast<std::uint16_t>(name.size()), name.data());
    const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
        xcb_intern_atom_reply(xcb_, cookie, nullptr), &std::free);
    return reply ? reply->atom : XCB_ATOM_NONE;
}

std::vector<std::uint8_t> X11Connection::heldKeys() {
    const std::unique_ptr<xcb_query_keymap_reply_t, decltype(&std::free)> reply(
        xcb_query_keymap_reply(xcb_, xcb_query_keymap(xcb_), nullptr), &std::free);
    std::vector<std::uint8_t> held;
    for (unsigned keycode = 0; reply && keycode < 256; ++keycode) {
        if ((reply->keys[keycode / 8] >> (keycode % 8)) & 1)
            held.push_back(static_cast<std::uint8_t>(keycode));
    }
    return held;
}

void X11Connection::dropEvents() {
    while (!isLost() && XPending(display_) > 0) {
        XEvent event;
        XNextEvent(display_, &event);
    }
}

}  // namespace quillet
