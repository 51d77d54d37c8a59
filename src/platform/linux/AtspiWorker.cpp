#include "platform/linux/AtspiWorker.h"

#include <atspi/atspi.h>
#include <pthread.h>

#include "platform/linux/AtspiFocusMemory.h"

namespace quillet {

namespace {

/// Starting the accessibility bus takes about 0.1 s.
constexpr auto startLimit = std::chrono::seconds(10);

constexpr auto service = "org.a11y.Bus";
constexpr auto path = "/org/a11y/bus";
constexpr auto statusInterface = "org.a11y.Status";
constexpr auto enabledProperty = "IsEnabled";

/// One call to the service that knows the accessibility bus.
GVariantPtr ask(GDBusConnection* session, GCancellable* ending, const char* interface,
                const char* method, GVariant* arguments, GErrorPtr& error) {
    return GVariantPtr(g_dbus_connection_call_sync(
        session, service, path, interface, method, arguments, nullptr, G_DBUS_CALL_FLAGS_NONE,
        static_cast<int>(std::chrono::milliseconds(startLimit).count()), ending, ErrorOut(error)));
}

bool isEnabled(GDBusConnection* session, GCancellable* ending) {
    GErrorPtr error;
    const auto answer = ask(session, ending, "org.freedesktop.DBus.Properties", "Get",
                            g_variant_new("(ss)", statusInterface, enabledProperty), error);
    if (!answer)
        return false;
    GVariant* raw = nullptr;
    g_variant_get(answer.get(), "(v)", &raw);
    const GVariantPtr value(raw);
    return g_variant_is_of_type(value.get(), G_VARIANT_TYPE_BOOLEAN) &&
           g_variant_get_boolean(value.get());
}

}  // namespace

AtspiWorker::AtspiWorker(Log log)
    : log_(std::move(log)),
      context_(g_main_context_new()),
      turns_(g_main_loop_new(context_, FALSE)),
      ending_(g_cancellable_new()),
      thread_([this] { work(); }) {
    pthread_setname_np(thread_.native_handle(), "accessibility");
}

AtspiWorker::~AtspiWorker() {
    g_cancellable_cancel(ending_.get());
    // From within the loop: it may not have begun to turn yet.
    post([this] { g_main_loop_quit(turns_); });
    thread_.join();
    g_main_loop_unref(turns_);
    g_main_context_unref(context_);
}

void AtspiWorker::post(std::function<void()> work, std::chrono::milliseconds delay) {
    using Work = std::function<void()>;
    GSource* source = g_timeout_source_new(static_cast<guint>(delay.count()));
    const auto run = [](gpointer data) -> gboolean {
        (*static_cast<Work*>(data))();
        return G_SOURCE_REMOVE;
    };
    const auto destroy = [](gpointer data) { delete static_cast<Work*>(data); };
    g_source_set_callback(source, run, new Work(std::move(work)), destroy);
    g_source_attach(source, context_);
    g_source_unref(source);
}

AtspiFocusMemory* AtspiWorker::focusMemory() const {
    // A call over a bus that is gone, as at the end of a session, would end the process.
    return focusMemory_ && atspi_get_a11y_bus() ? focusMemory_.get() : nullptr;
}

/// Applications that start from now on tell about themselves. Says whether there is a bus to hear
/// them on.
bool AtspiWorker::switchOn() {
    GErrorPtr error;
    const GRef<GDBusConnection> session(
        g_bus_get_sync(G_BUS_TYPE_SESSION, ending_.get(), ErrorOut(error)));
    if (!session) {
        log_.info("Text fields are not looked at, for there is no session bus: {}", error->message);
        return false;
    }
    // By default the process would be ended together with its bus.
    g_dbus_connection_set_exit_on_close(session.get(), FALSE);
    if (!ask(session.get(), ending_.get(), service, "GetAddress", nullptr, error)) {
        log_.info("Text fields are not looked at, for there is no accessibility bus: {}",
                  error->message);
        return false;
    }
    if (!isEnabled(session.get(), ending_.get()) &&
        !ask(session.get(), ending_.get(), "org.freedesktop.DBus.Properties", "Set",
             g_variant_new("(ssv)", statusInterface, enabledProperty, g_variant_new_boolean(TRUE)),
             error))
        log_.info("The desktop's accessibility could not be switched on: {}", error->message);
    return true;
}

void AtspiWorker::work() {
    const ThreadDefaultContext here(context_);
    // Without a connection the library's start would end the process.
    if (switchOn() && atspi_get_a11y_bus() && atspi_init() < 2) {
        // Only now, for it moves the connection that exists.
        atspi_set_main_context(context_);
        constexpr auto limit = static_cast<int>(callLimit.count());
        atspi_set_timeout(limit, limit);
        focusMemory_ = std::make_unique<AtspiFocusMemory>();
    }
    g_main_loop_run(turns_);
    // The library does not stand being ended and used again; it only must not keep our context.
    if (std::exchange(focusMemory_, nullptr) && atspi_get_a11y_bus())
        atspi_set_main_context(g_main_context_default());
}

}  // namespace quillet
