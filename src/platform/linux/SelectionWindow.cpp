#include "platform/linux/SelectionWindow.h"

#include <xcb/xcb.h>
#include <xcb/xfixes.h>

#include <cstdlib>
#include <cstring>

namespace quillet {

namespace {

template <class T>
using Owned = std::unique_ptr<T, decltype(&std::free)>;

template <class T>
Owned<T> own(T* reply) {
    return Owned<T>(reply, &std::free);
}

}  // namespace

std::unique_ptr<SelectionWindow> SelectionWindow::open(const std::string& displayName) {
    auto* xcb = xcb_connect(displayName.empty() ? nullptr : displayName.c_str(), nullptr);
    const xcb_query_extension_reply_t* fixes =
        xcb_connection_has_error(xcb) ? nullptr : xcb_get_extension_data(xcb, &xcb_xfixes_id);
    if (!fixes || !fixes->present) {
        xcb_disconnect(xcb);
        return nullptr;
    }
    const auto version = own(xcb_xfixes_query_version_reply(
        xcb, xcb_xfixes_query_version(xcb, XCB_XFIXES_MAJOR_VERSION, XCB_XFIXES_MINOR_VERSION),
        nullptr));
    return std::unique_ptr<SelectionWindow>(
        new SelectionWindow(xcb, fixes->first_event + XCB_XFIXES_SELECTION_NOTIFY));
}

SelectionWindow::SelectionWindow(xcb_connection_t* xcb, int selectionEvent)
    : xcb_(xcb), selectionEvent_(selectionEvent), id_(xcb_generate_id(xcb)) {
    const auto root = xcb_setup_roots_iterator(xcb_get_setup(xcb_)).data->root;
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE;
    xcb_create_window(xcb_, 0, id_, root, 0, 0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY,
                      XCB_COPY_FROM_PARENT, XCB_CW_EVENT_MASK, &events);
    clock_ = atom("QUILLET_CLOCK");
    xcb_xfixes_select_selection_input(xcb_, id_, atom("CLIPBOARD"),
                                      XCB_XFIXES_SELECTION_EVENT_MASK_SET_SELECTION_OWNER);
    // A copy that is made from now on must be seen, whoever is asked for it.
    static_cast<void>(owner(atom("CLIPBOARD")));
}

SelectionWindow::~SelectionWindow() {
    xcb_disconnect(xcb_);
}

int SelectionWindow::fd() const {
    return xcb_get_file_descriptor(xcb_);
}

bool SelectionWindow::isLost() const {
    return xcb_connection_has_error(xcb_) != 0;
}

SelectionWindow::Atom SelectionWindow::atom(const std::string& name) {
    return atoms({name})[0];
}

std::vector<SelectionWindow::Atom> SelectionWindow::atoms(const std::vector<std::string>& names) {
    std::vector<std::optional<xcb_intern_atom_cookie_t>> asked;
    for (const auto& name : names) {
        asked.emplace_back();
        if (!atomsByName_.contains(name))
            asked.back() =
                xcb_intern_atom(xcb_, 0, static_cast<std::uint16_t>(name.size()), name.data());
    }
    std::vector<Atom> result;
    for (std::size_t i = 0; i < names.size(); ++i) {
        if (asked[i]) {
            const auto reply = own(xcb_intern_atom_reply(xcb_, *asked[i], nullptr));
            atomsByName_[names[i]] = reply ? reply->atom : XCB_ATOM_NONE;
        }
        result.push_back(atomsByName_.at(names[i]));
        namesByAtom_.try_emplace(result.back(), names[i]);
    }
    return result;
}

std::string SelectionWindow::name(Atom atom) {
    if (const auto known = namesByAtom_.find(atom); known != namesByAtom_.end())
        return known->second;
    xcb_generic_error_t* error = nullptr;
    const auto reply = own(xcb_get_atom_name_reply(xcb_, xcb_get_atom_name(xcb_, atom), &error));
    std::free(error);
    if (!reply)
        return {};
    return namesByAtom_[atom] =
               std::string(xcb_get_atom_name_name(reply.get()),
                           static_cast<std::size_t>(xcb_get_atom_name_name_length(reply.get())));
}

void SelectionWindow::drain(const OnEvent& handle) {
    while (const auto event = own(xcb_poll_for_event(xcb_))) {
        if (event->response_type != 0)  // an error: the other client's window is gone
            handle(*event);
    }
}

SelectionWindow::Time SelectionWindow::serverTime(const OnEvent& handle) {
    xcb_change_property(xcb_, XCB_PROP_MODE_APPEND, id_, clock_, XCB_ATOM_STRING, 8, 0, nullptr);
    xcb_flush(xcb_);
    while (const auto event = own(xcb_wait_for_event(xcb_))) {
        if ((event->response_type & 0x7F) == XCB_PROPERTY_NOTIFY) {
            const auto* change = reinterpret_cast<xcb_property_notify_event_t*>(event.get());
            if (change->window == id_ && change->atom == clock_)
                return change->time;
        }
        if (event->response_type != 0)
            handle(*event);
    }
    return XCB_CURRENT_TIME;
}

SelectionWindow::Window SelectionWindow::owner(Atom selection) {
    const auto reply =
        own(xcb_get_selection_owner_reply(xcb_, xcb_get_selection_owner(xcb_, selection), nullptr));
    return reply ? reply->owner : XCB_WINDOW_NONE;
}

SelectionWindow::Property SelectionWindow::take(Window window, Atom property,
                                                std::size_t mostBytes) {
    xcb_generic_error_t* error = nullptr;
    const auto reply = own(xcb_get_property_reply(
        xcb_,
        xcb_get_property(xcb_, 1, window, property, XCB_GET_PROPERTY_TYPE_ANY, 0,
                         static_cast<std::uint32_t>(mostBytes / 4 + 1)),
        &error));
    std::free(error);
    if (!reply || reply->type == XCB_ATOM_NONE)
        return {};
    Property result;
    result.type = reply->type;
    result.unitBits = reply->format;
    result.isCut = reply->bytes_after > 0;
    result.bytes.assign(static_cast<const char*>(xcb_get_property_value(reply.get())),
                        static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
    return result;
}

void SelectionWindow::write(Window window, Atom property, Atom type, int unitBits,
                            std::string_view bytes) {
    const auto units = bytes.size() / (static_cast<std::size_t>(unitBits) / 8);
    xcb_change_property(xcb_, XCB_PROP_MODE_REPLACE, window, property, type,
                        static_cast<std::uint8_t>(unitBits), static_cast<std::uint32_t>(units),
                        bytes.data());
}

void SelectionWindow::writeAtoms(Window window, Atom property, const std::vector<Atom>& values) {
    write(window, property, XCB_ATOM_ATOM, 32,
          {reinterpret_cast<const char*>(values.data()), values.size() * sizeof(Atom)});
}

void SelectionWindow::flush() {
    xcb_flush(xcb_);
}

}  // namespace quillet
