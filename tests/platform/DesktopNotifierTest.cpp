#include "platform/linux/DesktopNotifier.h"

#include <condition_variable>
#include <mutex>

#include "platform/DesktopFixture.h"

namespace quillet::test {

namespace {

/// A notification service on the session bus, served by a thread of its own.
class NotificationService {
public:
    explicit NotificationService(std::string capability)
        : capability_(std::move(capability)),
          context_(g_main_context_new()),
          turns_(g_main_loop_new(context_, FALSE)),
          thread_([this] { serve(); }) {
        std::unique_lock lock(mutex_);
        changed_.wait(lock, [this] { return ready_; });
    }
    ~NotificationService() {
        g_main_loop_quit(turns_);
        thread_.join();
        g_main_loop_unref(turns_);
        g_main_context_unref(context_);
    }
    NotificationService(const NotificationService&) = delete;
    NotificationService& operator=(const NotificationService&) = delete;

    /// What was to be shown, as the bus prints it; empty when nothing came in 10 s.
    std::string next() {
        std::unique_lock lock(mutex_);
        changed_.wait_for(lock, std::chrono::seconds(10), [this] { return !shown_.empty(); });
        return std::exchange(shown_, {});
    }

private:
    static void called(GDBusConnection*, const gchar*, const gchar*, const gchar*,
                       const gchar* method, GVariant* arguments, GDBusMethodInvocation* call,
                       gpointer data) {
        auto& self = *static_cast<NotificationService*>(data);
        if (std::string_view(method) == "GetCapabilities") {
            const char* const list[] = {self.capability_.c_str(), nullptr};
            g_dbus_method_invocation_return_value(call, g_variant_new("(^as)", list));
            return;
        }
        g_dbus_method_invocation_return_value(call, g_variant_new("(u)", 1U));
        const GString8 text(g_variant_print(arguments, FALSE));
        const std::scoped_lock lock(self.mutex_);
        self.shown_ = text.get();
        self.changed_.notify_all();
    }

    void serve() {
        const ThreadDefaultContext here(context_);
        const GString8 address(
            g_dbus_address_get_for_bus_sync(G_BUS_TYPE_SESSION, nullptr, nullptr));
        const GRef<GDBusConnection> bus(g_dbus_connection_new_for_address_sync(
            address.get(),
            static_cast<GDBusConnectionFlags>(G_DBUS_CONNECTION_FLAGS_AUTHENTICATION_CLIENT |
                                              G_DBUS_CONNECTION_FLAGS_MESSAGE_BUS_CONNECTION),
            nullptr, nullptr, nullptr));
        GDBusNodeInfo* node = g_dbus_node_info_new_for_xml(
            "<node><interface name='org.freedesktop.Notifications'>"
            "<method name='GetCapabilities'><arg type='as' direction='out'/></method>"
            "<method name='Notify'><arg type='s'/><arg type='u'/><arg type='s'/><arg type='s'/>"
            "<arg type='s'/><arg type='as'/><arg type='a{sv}'/><arg type='i'/>"
            "<arg type='u' direction='out'/></method></interface></node>",
            nullptr);
        GDBusInterfaceVTable table{};
        table.method_call = called;
        g_dbus_connection_register_object(bus.get(), "/org/freedesktop/Notifications",
                                          node->interfaces[0], &table, this, nullptr, nullptr);
        const GVariantPtr owned(g_dbus_connection_call_sync(
            bus.get(), "org.freedesktop.DBus", "/", "org.freedesktop.DBus", "RequestName",
            g_variant_new("(su)", "org.freedesktop.Notifications", 4U), nullptr,
            G_DBUS_CALL_FLAGS_NONE, -1, nullptr, nullptr));
        g_main_context_invoke(
            context_,
            [](gpointer data) -> gboolean {
                auto& self = *static_cast<NotificationService*>(data);
                const std::scoped_lock lock(self.mutex_);
                self.ready_ = true;
                self.changed_.notify_all();
                return G_SOURCE_REMOVE;
            },
            this);
        g_main_loop_run(turns_);
        g_dbus_connection_close_sync(bus.get(), nullptr, nullptr);
        g_dbus_node_info_unref(node);
    }

    const std::string capability_;
    GMainContext* context_;
    GMainLoop* turns_;
    std::mutex mutex_;
    std::condition_variable changed_;
    bool ready_ = false;  // guarded by mutex_
    std::string shown_;   // guarded by mutex_
    std::thread thread_;
};

/// Counts lines and waits for the first.
class LineCount final : public LogSink {
public:
    void write(LogLevel level, std::string_view, std::string_view) override {
        EXPECT_EQ(level, LogLevel::info);
        const std::scoped_lock lock(mutex_);
        ++count_;
        changed_.notify_all();
    }
    bool waitForFirst() {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(10), [this] { return count_ > 0; });
    }
    int count() const { return count_; }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;  // guarded by mutex_
};

TEST(DesktopNotifierTest, ShowsTextAsItStands) {
    DesktopNotifier notifier(Log(makeNullLogSink(), Log::PrivateText::hide));
    {
        NotificationService service("body");
        notifier.show("Títle", "a < b & c");
        EXPECT_EQ(service.next(),
                  "('Quillet', 0, 'com.quillet.Quillet', 'Títle', 'a < b & c', [], "
                  "{'desktop-entry': <'com.quillet.Quillet'>}, -1)");
    }
    NotificationService service("body-markup");
    notifier.show("a & b", "a < b & c");
    EXPECT_NE(service.next().find("'a & b', 'a &lt; b &amp; c'"), std::string::npos);
}

/// Runs in a process of its own, whose session bus has no such service.
TEST(DesktopNotifierTest, DISABLED_SaysOnceThatThereIsNone) {
    const auto lines = std::make_shared<LineCount>();
    DesktopNotifier notifier(Log(lines, Log::PrivateText::hide));
    notifier.show("title", "body");
    ASSERT_TRUE(lines->waitForFirst());

    notifier.show("title", "body");
    notifier.waitUntilIdle();
    EXPECT_EQ(lines->count(), 1);
}

TEST(DesktopNotifierTest, IsHarmlessWithoutABusOrAServiceOnIt) {
    runOn(OtherBus::none, "DesktopNotifierTest.DISABLED_SaysOnceThatThereIsNone");
    runOn(OtherBus::empty, "DesktopNotifierTest.DISABLED_SaysOnceThatThereIsNone");
}

}  // namespace

}  // namespace quillet::test
