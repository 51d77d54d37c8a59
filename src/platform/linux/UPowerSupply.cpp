#include "platform/linux/UPowerSupply.h"

#include <pthread.h>

#include <fstream>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <thread>
#include <utility>
#include <vector>

#include "platform/linux/Completion.h"
#include "platform/linux/GlibPointers.h"

namespace quillet {

namespace {

namespace fs = std::filesystem;
using Answer = Completion<bool>;

/// How long UPower may take to start and to answer before the kernel is asked instead.
constexpr guint patienceInMs = 2'000;
/// What a cancelled call gets to tidy up.
constexpr guint graceInMs = 100;

constexpr auto service = "org.freedesktop.UPower";
constexpr auto path = "/org/freedesktop/UPower";

std::string firstLine(const fs::path& file) {
    std::string line;
    std::getline(std::ifstream(file), line);
    return line;
}

}  // namespace

bool suppliesGivePower(const fs::path& supplies) {
    bool discharging = false;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(supplies, ec)) {
        const auto& supply = entry.path();
        const auto type = firstLine(supply / "type");
        if ((type == "Mains" || type == "USB") && firstLine(supply / "online") == "1")
            return true;
        if (type == "Battery" && firstLine(supply / "scope") != "Device")
            discharging = discharging || firstLine(supply / "status") == "Discharging";
    }
    return !discharging;
}

/// Turns an event loop of GLib. What does not say otherwise runs on its thread.
class UPowerSupply::Watcher {
public:
    explicit Watcher(fs::path supplies)
        : supplies_(std::move(supplies)),
          context_(g_main_context_new()),
          turns_(g_main_loop_new(context_, FALSE)),
          cancellable_(g_cancellable_new()),
          thread_([this] { run(); }) {
        pthread_setname_np(thread_.native_handle(), "power");
    }
    /// Main queue.
    ~Watcher() {
        post([this] { g_main_loop_quit(turns_); });
        thread_.join();
        g_main_loop_unref(turns_);
        g_main_context_unref(context_);
    }
    Watcher(const Watcher&) = delete;
    Watcher& operator=(const Watcher&) = delete;

    /// Any thread.
    void post(std::function<void()> work) {
        {
            const std::scoped_lock lock(mutex_);
            work_.push_back(std::move(work));
        }
        GSource* source = g_idle_source_new();
        g_source_set_priority(source, G_PRIORITY_DEFAULT);
        g_source_set_callback(
            source,
            [](gpointer self) -> gboolean {
                static_cast<Watcher*>(self)->runPosted();
                return G_SOURCE_REMOVE;
            },
            this, nullptr);
        g_source_attach(source, context_);
        g_source_unref(source);
    }

    void ask(const std::shared_ptr<Answer>& answer) {
        if (settled_)
            answer->finish(isOnPower());
        else
            asking_.push_back(answer);
    }
    void addWaiting(std::weak_ptr<Answer> waiting) {
        std::erase_if(waiting_, [](const auto& one) { return one.expired(); });
        waiting_.push_back(std::move(waiting));
    }

private:
    void runPosted() {
        std::vector<std::function<void()>> work;
        {
            const std::scoped_lock lock(mutex_);
            work.swap(work_);
        }
        for (const auto& piece : work)
            piece();
    }

    void run() {
        const ThreadDefaultContext here(context_);
        after(patienceInMs, [](gpointer self) -> gboolean {
            static_cast<Watcher*>(self)->settle();
            return G_SOURCE_REMOVE;
        });
        calling_ = true;
        g_bus_get(G_BUS_TYPE_SYSTEM, cancellable_.get(), connected, this);
        g_main_loop_run(turns_);
        end();
    }

    void after(guint ms, GSourceFunc work) {
        GSource* source = g_timeout_source_new(ms);
        g_source_set_callback(source, work, this, nullptr);
        g_source_attach(source, context_);
        g_source_unref(source);
    }

    static void connected(GObject*, GAsyncResult* result, gpointer data) {
        auto& self = *static_cast<Watcher*>(data);
        const GRef<GDBusConnection> bus(g_bus_get_finish(result, nullptr));
        if (!bus) {
            self.calling_ = false;
            self.settle();
            return;
        }
        // By default the process would be ended together with its bus.
        g_dbus_connection_set_exit_on_close(bus.get(), FALSE);
        g_dbus_proxy_new(bus.get(), G_DBUS_PROXY_FLAGS_NONE, nullptr, service, path, service,
                         self.cancellable_.get(), found, data);
    }

    static void found(GObject*, GAsyncResult* result, gpointer data) {
        auto& self = *static_cast<Watcher*>(data);
        self.calling_ = false;
        self.upower_.reset(g_dbus_proxy_new_finish(result, nullptr));
        if (self.upower_) {
            self.changedHandler_ = g_signal_connect(
                self.upower_.get(), "g-properties-changed",
                G_CALLBACK(+[](GDBusProxy*, GVariant*, const gchar* const*, gpointer watcher) {
                    static_cast<Watcher*>(watcher)->changed();
                }),
                data);
            self.lastOnBattery_ = self.onBattery();
        }
        self.settle();
    }

    /// None without UPower.
    [[nodiscard]] std::optional<bool> onBattery() const {
        if (!upower_)
            return {};
        const GVariantPtr value(g_dbus_proxy_get_cached_property(upower_.get(), "OnBattery"));
        if (!value || !g_variant_is_of_type(value.get(), G_VARIANT_TYPE_BOOLEAN))
            return {};
        return g_variant_get_boolean(value.get()) != FALSE;
    }
    [[nodiscard]] bool isOnPower() const {
        const auto battery = onBattery();
        return battery ? !*battery : suppliesGivePower(supplies_);
    }

    void changed() {
        const auto before = std::exchange(lastOnBattery_, onBattery());
        if (before != true || lastOnBattery_ != false)
            return;
        for (const auto& one : std::exchange(waiting_, {})) {
            if (const auto waiting = one.lock())
                waiting->finish(true);
        }
    }

    void settle() {
        settled_ = true;
        for (const auto& answer : std::exchange(asking_, {}))
            answer->finish(isOnPower());
    }

    void end() {
        g_cancellable_cancel(cancellable_.get());
        after(graceInMs, [](gpointer self) -> gboolean {
            static_cast<Watcher*>(self)->calling_ = false;
            return G_SOURCE_REMOVE;
        });
        while (calling_)
            g_main_context_iteration(context_, TRUE);
        if (upower_)
            g_signal_handler_disconnect(upower_.get(), changedHandler_);
        upower_.reset();
        // What was let go leaves the rest of its tidying up to the context.
        while (g_main_context_iteration(context_, FALSE) != FALSE) {
        }
        for (const auto& answer : asking_)
            answer->abort();
        for (const auto& one : waiting_) {
            if (const auto waiting = one.lock())
                waiting->abort();
        }
    }

    const fs::path supplies_;
    GMainContext* context_;
    GMainLoop* turns_;
    GRef<GCancellable> cancellable_;
    GRef<GDBusProxy> upower_;
    gulong changedHandler_ = 0;
    std::optional<bool> lastOnBattery_;
    bool calling_ = false;  // whether an answer of GLib is still to come
    bool settled_ = false;  // whether it is known if UPower is there
    std::vector<std::shared_ptr<Answer>> asking_;
    std::vector<std::weak_ptr<Answer>> waiting_;
    std::mutex mutex_;
    std::vector<std::function<void()>> work_;  // guarded by mutex_
    std::thread thread_;
};

UPowerSupply::UPowerSupply(fs::path supplies) : supplies_(std::move(supplies)) {}

UPowerSupply::~UPowerSupply() = default;

UPowerSupply::Watcher& UPowerSupply::watcher() {
    if (!watcher_)
        watcher_ = std::make_unique<Watcher>(supplies_);
    return *watcher_;
}

asio::awaitable<bool> UPowerSupply::isOnPower() {
    auto ask = [&watcher = watcher()](const std::shared_ptr<Answer>& answer) {
        watcher.post([&watcher, answer] { watcher.ask(answer); });
    };
    co_return co_await Answer::wait(std::move(ask));
}

asio::awaitable<void> UPowerSupply::becomesPlugged() {
    std::shared_ptr<Answer> plugged;  // the watcher forgets it with this wait
    auto wait = [&watcher = watcher(), &plugged](const std::shared_ptr<Answer>& answer) {
        plugged = answer;
        watcher.post([&watcher, weak = std::weak_ptr(answer)] { watcher.addWaiting(weak); });
    };
    co_await Answer::wait(std::move(wait));
}

}  // namespace quillet
