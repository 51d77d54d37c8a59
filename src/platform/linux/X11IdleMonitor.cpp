#include "platform/linux/X11IdleMonitor.h"

#include <X11/Xlib.h>
#include <X11/extensions/sync.h>
#include <fcntl.h>

#include <asio/posix/stream_descriptor.hpp>
#include <asio/use_awaitable.hpp>
#include <string_view>

#include "base/async/Event.h"
#include "base/async/Loop.h"
#include "platform/linux/X11Connection.h"

namespace quillet {

namespace {

XSyncValue asValue(std::chrono::milliseconds time) {
    XSyncValue value;
    XSyncIntsToValue(&value, static_cast<unsigned>(time.count() & 0xFFFF'FFFF),
                     static_cast<int>(time.count() >> 32));
    return value;
}

std::chrono::milliseconds asTime(XSyncValue value) {
    return std::chrono::milliseconds((std::int64_t{XSyncValueHigh32(value)} << 32) |
                                     XSyncValueLow32(value));
}

/// The server's counter of the time since the last input.
class IdleCounter {
public:
    /// None where the server has no such counter.
    static std::optional<IdleCounter> find(X11Connection& connection) {
        int event = 0;
        int error = 0;
        int major = 0;
        int minor = 0;
        if (connection.isLost() || !XSyncQueryExtension(connection.display(), &event, &error) ||
            !XSyncInitialize(connection.display(), &major, &minor))
            return {};
        int count = 0;
        XSyncSystemCounter* counters = XSyncListSystemCounters(connection.display(), &count);
        std::optional<IdleCounter> found;
        for (int i = 0; i < count; ++i) {
            if (std::string_view(counters[i].name) == "IDLETIME")
                found = IdleCounter(connection, counters[i].counter, event + XSyncAlarmNotify);
        }
        XSyncFreeSystemCounterList(counters);
        return found;
    }

    [[nodiscard]] std::optional<std::chrono::milliseconds> read() const {
        XSyncValue value;
        if (!XSyncQueryCounter(connection_->display(), counter_, &value))
            return {};
        return asTime(value);
    }

    /// Has the server tell when the counter reaches this from below.
    void alarmAt(std::chrono::milliseconds time) const {
        XSyncAlarmAttributes attributes{};
        attributes.trigger = {counter_, XSyncAbsolute, asValue(time), XSyncPositiveTransition};
        attributes.events = True;
        XSyncCreateAlarm(
            connection_->display(),
            XSyncCACounter | XSyncCAValueType | XSyncCAValue | XSyncCATestType | XSyncCAEvents,
            &attributes);
        XFlush(connection_->display());
    }
    /// Takes out the events that have come, and says whether an alarm is among them.
    [[nodiscard]] bool hasRung() const {
        bool rung = false;
        while (!connection_->isLost() && XPending(connection_->display()) > 0) {
            XEvent event;
            XNextEvent(connection_->display(), &event);
            rung = rung || event.type == alarmEvent_;
        }
        return rung;
    }

private:
    IdleCounter(X11Connection& connection, XSyncCounter counter, int alarmEvent)
        : connection_(&connection), counter_(counter), alarmEvent_(alarmEvent) {}

    X11Connection* connection_;
    XSyncCounter counter_;
    int alarmEvent_;
};

}  // namespace

X11IdleMonitor::X11IdleMonitor(std::string displayName, Loop& loop)
    : displayName_(std::move(displayName)),
      loop_(loop),
      connection_(X11Connection::open(displayName_)) {}

X11IdleMonitor::~X11IdleMonitor() = default;

std::optional<std::chrono::milliseconds> X11IdleMonitor::idleFor() {
    if (!connection_)
        return {};
    const auto counter = IdleCounter::find(*connection_);
    return counter ? counter->read() : std::nullopt;
}

asio::awaitable<void> X11IdleMonitor::becomesIdle(std::chrono::milliseconds after) {
    // Of its own, so that each wait sees none but its own alarm.
    const auto connection = X11Connection::open(displayName_);
    const auto counter = connection ? IdleCounter::find(*connection) : std::nullopt;
    if (counter) {
        counter->alarmAt(after);
        asio::posix::stream_descriptor socket(
            loop_.executor(), fcntl(ConnectionNumber(connection->display()), F_DUPFD_CLOEXEC, 0));
        while (!connection->isLost()) {
            if (counter->hasRung())
                co_return;
            co_await socket.async_wait(asio::posix::descriptor_base::wait_read,
                                       asio::use_awaitable);
        }
    }
    Event never;
    co_await never.wait();
}

}  // namespace quillet
