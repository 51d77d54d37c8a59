#include "platform/linux/DesktopService.h"

#include <pthread.h>

#include <cstdlib>
#include <filesystem>
#include <string_view>
#include <thread>

#include "platform/linux/GlibPointers.h"

namespace quillet {

namespace {

constexpr auto objectPath = "/com/quillet/Quillet";
constexpr auto interfaces = R"(<node>
  <interface name="org.freedesktop.Application">
    <method name="Activate"><arg type="a{sv}" direction="in"/></method>
    <method name="Open">
      <arg type="as" direction="in"/><arg type="a{sv}" direction="in"/>
    </method>
    <method name="ActivateAction">
      <arg type="s" direction="in"/><arg type="av" direction="in"/>
      <arg type="a{sv}" direction="in"/>
    </method>
  </interface>
</node>)";

struct NodeInfoUnref {
    void operator()(GDBusNodeInfo* info) const { g_dbus_node_info_unref(info); }
};

/// Where there is none, GLib would start a bus that nobody else is on.
bool hasSessionBus() {
    if (const char* address = ::getenv("DBUS_SESSION_BUS_ADDRESS"); address != nullptr && *address)
        return true;
    const char* runtime = ::getenv("XDG_RUNTIME_DIR");
    std::error_code ec;
    return runtime != nullptr &&
           std::filesystem::exists(std::filesystem::path(runtime) / "bus", ec);
}

}  // namespace

/// Turns an event loop of GLib on a thread.
class DesktopService::Connection {
public:
    Connection(Loop& loop, std::weak_ptr<Calls> calls, Log log)
        : loop_(loop),
          calls_(std::move(calls)),
          log_(std::move(log)),
          context_(g_main_context_new()),
          turns_(g_main_loop_new(context_, FALSE)),
          cancellable_(g_cancellable_new()),
          thread_([this] { run(); }) {
        pthread_setname_np(thread_.native_handle(), "desktop");
    }
    ~Connection() {
        g_cancellable_cancel(cancellable_.get());
        GSource* end = g_idle_source_new();
        g_source_set_callback(
            end,
            [](gpointer turns) -> gboolean {
                g_main_loop_quit(static_cast<GMainLoop*>(turns));
                return G_SOURCE_REMOVE;
            },
            turns_, nullptr);
        g_source_attach(end, context_);
        g_source_unref(end);
        thread_.join();
        g_main_loop_unref(turns_);
        g_main_context_unref(context_);
    }
    Connection(const Connection&) = delete;
    Connection& operator=(const Connection&) = delete;

private:
    void run() {
        const ThreadDefaultContext here(context_);
        GErrorPtr error;
        const GRef<GDBusConnection> bus(
            g_bus_get_sync(G_BUS_TYPE_SESSION, cancellable_.get(), ErrorOut(error)));
        if (!bus) {
            if (g_cancellable_is_cancelled(cancellable_.get()) == FALSE)
                log_.info("The session bus cannot be reached: {}", error->message);
            return;
        }
        // By default the process would be ended together with its bus.
        g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
        const auto object = serve(bus.get());
        // Calls wait for the name, so it comes last.
        const guint name = g_bus_own_name_on_connection(
            bus.get(), busName, G_BUS_NAME_OWNER_FLAGS_NONE, nullptr, lost, this, nullptr);
        g_main_loop_run(turns_);
        g_bus_unown_name(name);
        g_dbus_connection_unregister_object(bus.get(), object);
        while (g_main_context_iteration(context_, FALSE) != FALSE) {
        }
    }

    guint serve(GDBusConnection* bus) {
        const std::unique_ptr<GDBusNodeInfo, NodeInfoUnref> node(
            g_dbus_node_info_new_for_xml(interfaces, nullptr));
        static constexpr GDBusInterfaceVTable calls = {called, nullptr, nullptr, {}};
        return g_dbus_connection_register_object(bus, objectPath, node->interfaces[0], &calls, this,
                                                 nullptr, nullptr);
    }

    static void lost(GDBusConnection*, const gchar*, gpointer self) {
        static_cast<Connection*>(self)->log_.info(
            "Another program has the name {} on the session bus", busName);
    }

    static void called(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                       const gchar* method, GVariant* arguments, GDBusMethodInvocation* invocation,
                       gpointer data) {
        auto& self = *static_cast<Connection*>(data);
        std::string action;
        if (std::string_view(method) == "ActivateAction") {
            const GVariantPtr name(g_variant_get_child_value(arguments, 0));
            action = g_variant_get_string(name.get(), nullptr);
        }
        self.loop_.enqueue([calls = self.calls_, action = std::move(action)] {
            const auto still = calls.lock();
            if (!still)
                return;
            if (action.empty())
                still->activate();
            else
                still->activateAction(action);
        });
        g_dbus_method_invocation_return_value(invocation, nullptr);
    }

    Loop& loop_;
    const std::weak_ptr<Calls> calls_;
    const Log log_;
    GMainContext* context_;
    GMainLoop* turns_;
    GRef<GCancellable> cancellable_;
    std::thread thread_;
};

DesktopService::DesktopService(Loop& loop, Calls calls, Log log)
    : calls_(std::make_shared<Calls>(std::move(calls))) {
    if (hasSessionBus())
        connection_ = std::make_unique<Connection>(loop, calls_, std::move(log));
}

DesktopService::~DesktopService() = default;

}  // namespace quillet
