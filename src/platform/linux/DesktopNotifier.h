#pragma once

#include "base/async/SerialQueue.h"
#include "base/log/Log.h"
#include "platform/Notifier.h"
#include "platform/linux/GioCalls.h"

namespace quillet {

/// The notifications of the desktop, by its notification service on the session bus. That they do
/// not work is logged once. Nothing is connected before the first.
class DesktopNotifier final : public Notifier {
public:
    explicit DesktopNotifier(Log log) : log_(std::move(log)), queue_("notifications") {}
    ~DesktopNotifier() override { calls_.end(); }

    void show(std::string title, std::string body) override;
    /// Waits until everything was handed over or given up.
    void waitUntilIdle() { queue_.waitUntilIdle(); }

private:
    void send(const std::string& title, const std::string& body);
    [[nodiscard]] GVariantPtr call(GDBusConnection* bus, const char* method, GVariant* arguments,
                                   GErrorPtr& error);

    Log log_;
    bool complained_ = false;  // queue's thread
    GioCalls calls_;
    SerialQueue queue_;  // last: its end waits for the work that uses the calls
};

}  // namespace quillet
