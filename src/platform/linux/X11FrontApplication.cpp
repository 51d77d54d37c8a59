#include "platform/linux/X11FrontApplication.h"

#include <X11/Xlib.h>
#include <X11/extensions/XRes.h>
#include <xcb/xcb.h>

#include <algorithm>
#include <array>
#include <cctype>
#include <cstdlib>
#include <fstream>

#include "platform/linux/DesktopEntries.h"
#include "platform/linux/WellKnownApplications.h"
#include "platform/linux/X11Connection.h"
#include "platform/linux/X11Properties.h"

namespace quillet {

namespace {

/// Classes, in lower case, of windows in which Control+V is a key of the program that runs in them.
constexpr std::array<std::string_view, 36> terminals{"alacritty",
                                                     "aterm",
                                                     "com.mitchellh.ghostty",
                                                     "contour",
                                                     "cool-retro-term",
                                                     "deepin-terminal",
                                                     "eterm",
                                                     "foot",
                                                     "ghostty",
                                                     "gnome-terminal",
                                                     "gnome-terminal-server",
                                                     "guake",
                                                     "kgx",
                                                     "kitty",
                                                     "konsole",
                                                     "lxterminal",
                                                     "mate-terminal",
                                                     "mlterm",
                                                     "org.gnome.console",
                                                     "org.gnome.ptyxis",
                                                     "org.kde.konsole",
                                                     "org.wezfurlong.wezterm",
                                                     "ptyxis",
                                                     "qterminal",
                                                     "rxvt",
                                                     "sakura",
                                                     "st",
                                                     "st-256color",
                                                     "terminator",
                                                     "terminology",
                                                     "tilda",
                                                     "tilix",
                                                     "urxvt",
                                                     "uxterm",
                                                     "xfce4-terminal",
                                                     "xterm"};

bool isTerminal(std::string_view windowClass) {
    std::string lower(windowClass);
    std::ranges::transform(lower, lower.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return std::ranges::find(terminals, lower) != terminals.end() || lower == "yakuake";
}

/// The id of the Flatpak that a process runs in, or nothing.
std::string flatpakId(pid_t process) {
    std::ifstream info("/proc/" + std::to_string(process) + "/root/.flatpak-info");
    bool isApplication = false;
    for (std::string line; std::getline(info, line);) {
        if (line.starts_with('['))
            isApplication = line == "[Application]";
        else if (isApplication && line.starts_with("name="))
            return line.substr(5);
    }
    return {};
}

}  // namespace

X11FrontApplication::X11FrontApplication(const std::string& displayName,
                                         std::vector<std::filesystem::path> dataFolders)
    : connection_(X11Connection::open(displayName)),
      entries_(std::make_unique<DesktopEntries>(std::move(dataFolders))) {}

X11FrontApplication::~X11FrontApplication() = default;

void X11FrontApplication::waitUntilReady() {
    entries_->waitUntilRead();
}

std::optional<FrontApp> X11FrontApplication::current() {
    if (!connection_ || connection_->isLost())
        return std::nullopt;
    connection_->dropEvents();
    const auto window =
        X11Properties::window(*connection_, connection_->root(), "_NET_ACTIVE_WINDOW");
    if (!window)
        return std::nullopt;
    // Window managers may go on naming a window that is gone, and its id may by now stand for
    // something of another program, so this comes first.
    const auto rect = geometry(*window);
    if (!rect)
        return std::nullopt;

    FrontApp app;
    app.window = *rect;
    app.pid = process(*window);
    app.windowID = *window;
    app.windowTitle =
        X11Properties::text(*connection_, *window, "_NET_WM_NAME")
            .or_else([&] { return X11Properties::text(*connection_, *window, "WM_NAME"); })
            .value_or("");
    name(app, *window);
    return app;
}

std::optional<DesktopRect> X11FrontApplication::geometry(unsigned window) {
    auto* xcb = connection_->xcb();
    const auto sizeCookie = xcb_get_geometry(xcb, window);
    const auto placeCookie = xcb_translate_coordinates(xcb, window, connection_->root(), 0, 0);
    xcb_generic_error_t* error = nullptr;
    const std::unique_ptr<xcb_get_geometry_reply_t, decltype(&std::free)> size(
        xcb_get_geometry_reply(xcb, sizeCookie, &error), &std::free);
    std::free(error);
    error = nullptr;
    const std::unique_ptr<xcb_translate_coordinates_reply_t, decltype(&std::free)> place(
        xcb_translate_coordinates_reply(xcb, placeCookie, &error), &std::free);
    std::free(error);
    if (!size || !place)
        return std::nullopt;
    return DesktopRect{place->dst_x, place->dst_y, size->width, size->height};
}

/// As the server sees it: a program in a container names itself by a number of its own.
pid_t X11FrontApplication::process(unsigned window) {
    XResClientIdSpec query{window, XRES_CLIENT_ID_PID_MASK};
    long count = 0;
    XResClientIdValue* ids = nullptr;
    if (XResQueryClientIds(connection_->display(), 1, &query, &count, &ids) != Success)
        return 0;
    pid_t result = 0;
    for (const auto& id : std::span(ids, static_cast<std::size_t>(count))) {
        if (XResGetClientIdType(const_cast<XResClientIdValue*>(&id)) == XRES_CLIENT_ID_PID)
            result = std::max<pid_t>(XResGetClientPid(const_cast<XResClientIdValue*>(&id)), 0);
    }
    XResClientIdsDestroy(count, ids);
    return result;
}

/// WM_CLASS holds the instance and the class, each ended by a zero.
std::string X11FrontApplication::windowClass(unsigned window) {
    const auto both = X11Properties::text(*connection_, window, "WM_CLASS").value_or("");
    const auto end = both.find('\0');
    return end == std::string::npos ? both : std::string(both.c_str() + end + 1);
}

void X11FrontApplication::name(FrontApp& app, unsigned window) {
    const auto className = windowClass(window);
    const auto gtkId =
        X11Properties::text(*connection_, window, "_GTK_APPLICATION_ID").value_or("");
    const auto flatpak = flatpakId(app.pid);
    const auto entry = entries_->find(className, flatpak.empty() ? gtkId : flatpak);

    if (isTerminal(className))
        app.pasteStyle = PasteStyle::terminal;
    app.displayName = entry ? entry->displayName : className;
    const std::array ids{flatpak, gtkId, entry ? entry->id : std::string(), className};
    for (const auto& id : ids) {
        if (const auto wellKnown = WellKnownApplications::bundleID(id)) {
            app.bundleID = *wellKnown;
            return;
        }
    }
    const auto own = std::ranges::find_if(ids, [](const auto& id) { return !id.empty(); });
    if (own != ids.end())
        app.bundleID = *own;
}

}  // namespace quillet
