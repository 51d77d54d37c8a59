#include "platform/linux/AccessibilityBus.h"

#include <gio/gio.h>

#include <memory>

namespace quillet {

namespace {

constexpr int longestWaitMs = 500;

struct Unref {
    void operator()(GDBusConnection* bus) const { g_object_unref(bus); }
    void operator()(GVariant* value) const { g_variant_unref(value); }
};

}  // namespace

bool accessibilityBusAnswers() {
    const std::unique_ptr<GDBusConnection, Unref> bus(
        g_bus_get_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
    if (!bus)
        return false;
    const std::unique_ptr<GVariant, Unref> address(g_dbus_connection_call_sync(
        bus.get(), "org.a11y.Bus", "/org/a11y/bus", "org.a11y.Bus", "GetAddress", nullptr, nullptr,
        G_DBUS_CALL_FLAGS_NONE, longestWaitMs, nullptr, nullptr));
    return address != nullptr;
}

}  // namespace quillet
