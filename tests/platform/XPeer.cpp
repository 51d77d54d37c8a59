#include "platform/XPeer.h"

#include <X11/extensions/XInput2.h>
#include <poll.h>

#include <cstdlib>
#include <memory>
#include <stdexcept>
#include <string>
#include <utility>

namespace quillet::test {

namespace {

constexpr int patienceInMs = 10'000;

}  // namespace

XPeer::XPeer() : xcb_(xcb_connect(nullptr, nullptr)) {
    root_ = xcb_setup_roots_iterator(xcb_get_setup(xcb_)).data->root;
    window_ = xcb_generate_id(xcb_);
    const std::uint32_t values[] = {1, XCB_EVENT_MASK_KEY_PRESS | XCB_EVENT_MASK_FOCUS_CHANGE |
                                           XCB_EVENT_MASK_STRUCTURE_NOTIFY};
    xcb_create_window(xcb_, 0, window_, root_, 50, 50, 300, 200, 0, XCB_WINDOW_CLASS_INPUT_OUTPUT,
                      XCB_COPY_FROM_PARENT, XCB_CW_OVERRIDE_REDIRECT | XCB_CW_EVENT_MASK, values);
    xcb_map_window(xcb_, window_);
    for (bool focused = false; !focused;) {
        const std::unique_ptr<xcb_generic_event_t, decltype(&std::free)> event(nextEvent(),
                                                                               &std::free);
        const int kind = event->response_type & 0x7F;
        if (kind == XCB_MAP_NOTIFY)
            xcb_set_input_focus(xcb_, XCB_INPUT_FOCUS_PARENT, window_, XCB_CURRENT_TIME);
        focused = kind == XCB_FOCUS_IN;
    }
}

XPeer::~XPeer() {
    xcb_disconnect(xcb_);
}

xcb_generic_event_t* XPeer::nextEvent() {
    xcb_flush(xcb_);
    for (;;) {
        if (auto* event = xcb_poll_for_event(xcb_))
            return event;
        pollfd source{xcb_get_file_descriptor(xcb_), POLLIN, 0};
        if (xcb_connection_has_error(xcb_) || poll(&source, 1, patienceInMs) <= 0)
            throw std::runtime_error("the expected event did not come");
    }
}

std::vector<XPeer::Press> XPeer::pressesUntil(std::uint8_t keycode, int times) {
    std::vector<Press> presses;
    while (times > 0) {
        const std::unique_ptr<xcb_generic_event_t, decltype(&std::free)> event(nextEvent(),
                                                                               &std::free);
        if ((event->response_type & 0x7F) != XCB_KEY_PRESS)
            continue;
        const auto* press = reinterpret_cast<xcb_key_press_event_t*>(event.get());
        presses.push_back({press->detail, press->state});
        if (press->detail == keycode)
            --times;
    }
    return presses;
}

void XPeer::grabKeyboard() {
    const auto cookie = xcb_grab_keyboard(xcb_, 0, root_, XCB_CURRENT_TIME, XCB_GRAB_MODE_ASYNC,
                                          XCB_GRAB_MODE_ASYNC);
    const std::unique_ptr<xcb_grab_keyboard_reply_t, decltype(&std::free)> reply(
        xcb_grab_keyboard_reply(xcb_, cookie, nullptr), &std::free);
    if (!reply || reply->status != XCB_GRAB_STATUS_SUCCESS)
        throw std::runtime_error("the keyboard could not be grabbed");
}

bool XPeer::grabKey(std::uint8_t keycode, std::uint16_t modifiers) {
    const std::unique_ptr<xcb_generic_error_t, decltype(&std::free)> error(
        xcb_request_check(xcb_, xcb_grab_key_checked(xcb_, 0, root_, modifiers, keycode,
                                                     XCB_GRAB_MODE_ASYNC, XCB_GRAB_MODE_ASYNC)),
        &std::free);
    return !error;
}

ClipboardManager::ClipboardManager() : xcb_(xcb_connect(nullptr, nullptr)) {
    window_ = xcb_generate_id(xcb_);
    const std::uint32_t events = XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_create_window(xcb_, 0, window_, xcb_setup_roots_iterator(xcb_get_setup(xcb_)).data->root, 0,
                      0, 1, 1, 0, XCB_WINDOW_CLASS_INPUT_ONLY, XCB_COPY_FROM_PARENT,
                      XCB_CW_EVENT_MASK, &events);
    const auto manager = atom("CLIPBOARD_MANAGER");
    xcb_set_selection_owner(xcb_, window_, manager, XCB_CURRENT_TIME);
    std::free(xcb_get_input_focus_reply(xcb_, xcb_get_input_focus(xcb_), nullptr));
    thread_ = std::thread([this] { serve(); });
}

ClipboardManager::~ClipboardManager() {
    // The event of this ends the thread.
    xcb_destroy_window(xcb_, window_);
    xcb_flush(xcb_);
    thread_.join();
    xcb_disconnect(xcb_);
}

xcb_atom_t ClipboardManager::atom(const std::string& name) {
    const std::unique_ptr<xcb_intern_atom_reply_t, decltype(&std::free)> reply(
        xcb_intern_atom_reply(
            xcb_, xcb_intern_atom(xcb_, 0, static_cast<std::uint16_t>(name.size()), name.data()),
            nullptr),
        &std::free);
    return reply ? reply->atom : XCB_ATOM_NONE;
}

void ClipboardManager::serve() {
    for (;;) {
        const std::unique_ptr<xcb_generic_event_t, decltype(&std::free)> event(
            xcb_wait_for_event(xcb_), &std::free);
        if (!event || (event->response_type & 0x7F) == XCB_DESTROY_NOTIFY)
            return;
        if ((event->response_type & 0x7F) == XCB_SELECTION_REQUEST && !asleep_)
            save(*reinterpret_cast<xcb_selection_request_event_t*>(event.get()));
    }
}

void ClipboardManager::save(const xcb_selection_request_event_t& request) {
    const auto text = atom("UTF8_STRING");
    const auto property = atom("SAVED");
    xcb_convert_selection(xcb_, window_, atom("CLIPBOARD"), text, property, request.time);
    xcb_flush(xcb_);
    for (bool arrived = false; !arrived;) {
        const std::unique_ptr<xcb_generic_event_t, decltype(&std::free)> event(
            xcb_wait_for_event(xcb_), &std::free);
        if (!event)
            return;
        arrived = (event->response_type & 0x7F) == XCB_SELECTION_NOTIFY;
    }
    const std::unique_ptr<xcb_get_property_reply_t, decltype(&std::free)> reply(
        xcb_get_property_reply(xcb_, xcb_get_property(xcb_, 1, window_, property, text, 0, 1024),
                               nullptr),
        &std::free);
    {
        const std::scoped_lock lock(mutex_);
        saved_.assign(static_cast<const char*>(xcb_get_property_value(reply.get())),
                      static_cast<std::size_t>(xcb_get_property_value_length(reply.get())));
    }
    xcb_selection_notify_event_t notice{};
    notice.response_type = XCB_SELECTION_NOTIFY;
    notice.time = request.time;
    notice.requestor = request.requestor;
    notice.selection = request.selection;
    notice.target = request.target;
    notice.property = request.property;
    xcb_send_event(xcb_, 0, request.requestor, 0, reinterpret_cast<const char*>(&notice));
    xcb_flush(xcb_);
}

std::string ClipboardManager::takeSaved() {
    const std::scoped_lock lock(mutex_);
    return std::exchange(saved_, {});
}

void ClipboardManager::sleep() {
    asleep_ = true;
}

FurtherKeyboard::FurtherKeyboard() {
    Display* display = XOpenDisplay(nullptr);
    display_ = display;
    std::string name = "further";
    XIAnyHierarchyChangeInfo change{};
    change.add = {XIAddMaster, name.data(), False, True};
    XIChangeHierarchy(display, &change, 1);
    XSync(display, False);
}

FurtherKeyboard::~FurtherKeyboard() {
    auto* display = static_cast<Display*>(display_);
    int count = 0;
    XIDeviceInfo* devices = XIQueryDevice(display, XIAllMasterDevices, &count);
    for (int i = 0; i < count; ++i) {
        if (devices[i].use != XIMasterPointer || std::string(devices[i].name) != "further pointer")
            continue;
        XIAnyHierarchyChangeInfo change{};
        change.remove = {XIRemoveMaster, devices[i].deviceid, XIFloating, 0, 0};
        XIChangeHierarchy(display, &change, 1);
    }
    XIFreeDeviceInfo(devices);
    XCloseDisplay(display);
}

}  // namespace quillet::test
