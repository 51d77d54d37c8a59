#pragma once

#include <functional>
#include <memory>
#include <string>

#include "base/async/Loop.h"
#include "base/log/Log.h"

namespace quillet {

/// The application on the session bus, where launchers, docks and notifications find it: they start
/// it by its name and tell it what the user chose. Without a session bus nobody calls. A thread of
/// its own does the talking. Belongs to the main queue's thread.
class DesktopService {
public:
    static constexpr const char* busName = "com.quillet.Quillet";

    /// Called on the main queue, never after this object is gone.
    struct Calls {
        std::function<void()> activate;
        /// By the name that the desktop entry gives the action.
        std::function<void(const std::string& action)> activateAction;
    };

    DesktopService(Loop& loop, Calls calls, Log log);
    ~DesktopService();
    DesktopService(const DesktopService&) = delete;
    DesktopService& operator=(const DesktopService&) = delete;

private:
    class Connection;

    std::shared_ptr<Calls> calls_;
    std::unique_ptr<Connection> connection_;
};

}  // namespace quillet
