#include "platform/linux/DesktopNotifier.h"

#include <chrono>

namespace quillet {

namespace {

/// Also for the service's start.
constexpr auto callLimit = std::chrono::seconds(5);

/// The name of its desktop entry, and of its icon.
constexpr auto application = "com.quillet.Quillet";
constexpr auto service = "org.freedesktop.Notifications";
constexpr auto path = "/org/freedesktop/Notifications";

/// Whether the service takes "<b>" in a body for markup instead of text.
bool readsMarkup(GVariant* capabilities) {
    if (!capabilities || !g_variant_is_of_type(capabilities, G_VARIANT_TYPE("(as)")))
        return false;
    const GVariantPtr list(g_variant_get_child_value(capabilities, 0));
    bool found = false;
    for (gsize i = 0; i < g_variant_n_children(list.get()); ++i) {
        const GVariantPtr name(g_variant_get_child_value(list.get(), i));
        found =
            found || std::string_view(g_variant_get_string(name.get(), nullptr)) == "body-markup";
    }
    return found;
}

}  // namespace

void DesktopNotifier::show(std::string title, std::string body) {
    queue_.post([this, title = std::move(title), body = std::move(body)] { send(title, body); });
}

void DesktopNotifier::send(const std::string& title, const std::string& body) {
    GErrorPtr error;
    const auto complain = [&] {
        if (!calls_.hasEnded() && !std::exchange(complained_, true))
            log_.info("The desktop shows no notifications: {}",
                      error ? error->message : "it does not answer");
    };
    const auto onBus =
        calls_.wait([](GCancellable* cancellable, GAsyncReadyCallback done,
                       gpointer data) { g_bus_get(G_BUS_TYPE_SESSION, cancellable, done, data); },
                    std::chrono::steady_clock::now() + callLimit);
    if (!onBus)
        return complain();
    const GRef<GDBusConnection> bus(g_bus_get_finish(onBus.get(), ErrorOut(error)));
    if (!bus)
        return complain();
    // By default the process would be ended together with its bus.
    g_dbus_connection_set_exit_on_close(bus.get(), FALSE);

    const auto capabilities = call(bus.get(), "GetCapabilities", nullptr, error);
    if (!capabilities)
        return complain();
    const GString8 escaped(g_markup_escape_text(body.data(), static_cast<gssize>(body.size())));
    constexpr auto noActions = nullptr;
    constexpr guint replacesNone = 0;
    constexpr gint serversOwnTimeout = -1;
    // By its entry the desktop knows whose notification it is.
    GVariantBuilder hints;
    g_variant_builder_init(&hints, G_VARIANT_TYPE_VARDICT);
    g_variant_builder_add(&hints, "{sv}", "desktop-entry", g_variant_new_string(application));
    auto* arguments =
        g_variant_new("(susssasa{sv}i)", "Quillet", replacesNone, application, title.c_str(),
                      readsMarkup(capabilities.get()) ? escaped.get() : body.c_str(), noActions,
                      &hints, serversOwnTimeout);
    if (!call(bus.get(), "Notify", arguments, error))
        complain();
}

GVariantPtr DesktopNotifier::call(GDBusConnection* bus, const char* method, GVariant* arguments,
                                  GErrorPtr& error) {
    const auto answer = calls_.wait(
        [&](GCancellable* cancellable, GAsyncReadyCallback done, gpointer data) {
            g_dbus_connection_call(bus, service, path, service, method, arguments, nullptr,
                                   G_DBUS_CALL_FLAGS_NONE, -1, cancellable, done, data);
        },
        std::chrono::steady_clock::now() + callLimit);
    if (!answer)
        return {};
    return GVariantPtr(g_dbus_connection_call_finish(bus, answer.get(), ErrorOut(error)));
}

}  // namespace quillet
