#pragma once

#include <pulse/context.h>
#include <pulse/thread-mainloop.h>

#include <functional>
#include <map>
#include <string>
#include <vector>

#include "base/log/Log.h"

namespace quillet {

class Loop;

/// The connection to the sound server, and the thread that it lives on. Connects in the background,
/// stays connected, and is made anew when it is asked for after it was lost.
///
/// Everything of libpulse is called with the thread's lock held.
class PulseConnection {
public:
    /// Holds the thread's lock.
    class Lock {
    public:
        explicit Lock(pa_threaded_mainloop* mainloop) : mainloop_(mainloop) {
            pa_threaded_mainloop_lock(mainloop_);
        }
        ~Lock() { pa_threaded_mainloop_unlock(mainloop_); }
        Lock(const Lock&) = delete;
        Lock& operator=(const Lock&) = delete;

    private:
        pa_threaded_mainloop* mainloop_;
    };

    enum class State {
        connecting,
        ready,
        refused,  ///< there is a server, but it does not let us in
        lost      ///< there was no server, or it went away
    };
    using WatchId = int;

    PulseConnection(Loop& loop, Log log);
    ~PulseConnection();
    PulseConnection(const PulseConnection&) = delete;
    PulseConnection& operator=(const PulseConnection&) = delete;

    [[nodiscard]] Lock lock() { return Lock(mainloop_); }
    /// The main queue.
    [[nodiscard]] Loop& loop() { return loop_; }

    /// With the lock held: calls `ready` on the sound thread once the context can be used, or with
    /// none when there is no server. Right away where that is known already.
    void whenReady(std::function<void(pa_context*)> ready);
    /// With the lock held: the context, if it can be used now.
    [[nodiscard]] pa_context* ready() const;
    /// With the lock held.
    [[nodiscard]] State state() const;

    /// With the lock held: runs `work` on the sound thread, soon.
    void post(std::function<void()> work);
    /// With the lock held: calls `changed` on the sound thread whenever the connection is made or
    /// lost, and when a device changes, comes or goes, or another becomes the default one.
    [[nodiscard]] WatchId watch(std::function<void()> changed);
    void unwatch(WatchId id);

private:
    void connect();
    void stateChanged();
    void subscribe();
    void tellWatchers();

    Loop& loop_;
    Log log_;
    pa_threaded_mainloop* mainloop_ = nullptr;
    pa_context* context_ = nullptr;                          // guarded by the lock
    std::vector<std::function<void(pa_context*)>> waiting_;  // guarded by the lock
    std::map<WatchId, std::function<void()>> watchers_;      // guarded by the lock
    bool complained_ = false;                                // guarded by the lock
    WatchId lastWatch_ = 0;                                  // guarded by the lock
};

}  // namespace quillet
