#include "platform/linux/X11Properties.h"

#include <xcb/xcb.h>

#include <cstdlib>
#include <cstring>
#include <memory>

#include "platform/linux/Latin1.h"
#include "platform/linux/X11Connection.h"

namespace quillet {

namespace {

/// In units of four bytes. Titles and names are far shorter.
constexpr std::uint32_t longestProperty = 4096;

using Reply = std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)>;

Reply read(X11Connection& connection, unsigned window, const std::string& name) {
    const auto cookie = xcb_get_property(connection.xcb(), 0, window, connection.atom(name),
                                         XCB_GET_PROPERTY_TYPE_ANY, 0, longestProperty);
    xcb_generic_error_t* error = nullptr;
    Reply reply(xcb_get_property_reply(connection.xcb(), cookie, &error), &std::free);
    std::free(error);
    return reply;
}

}  // namespace

std::optional<std::string> X11Properties::text(X11Connection& connection, unsigned window,
                                               const std::string& name) {
    const auto reply = read(connection, window, name);
    if (!reply || reply->type == XCB_ATOM_NONE || reply->format != 8)
        return std::nullopt;
    std::string bytes(static_cast<const char*>(xcb_get_property_value(reply.get())),
                      static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
    return reply->type == XCB_ATOM_STRING ? Latin1::toUtf8(bytes) : bytes;
}

std::optional<std::uint32_t> X11Properties::window(X11Connection& connection, unsigned window,
                                                   const std::string& name) {
    const auto reply = read(connection, window, name);
    if (!reply || reply->format != 32 || xcb_get_property_value_length(reply.get()) < 4)
        return std::nullopt;
    std::uint32_t id = 0;
    std::memcpy(&id, xcb_get_property_value(reply.get()), sizeof id);
    if (id == XCB_WINDOW_NONE)
        return std::nullopt;
    return id;
}

}  // namespace quillet
