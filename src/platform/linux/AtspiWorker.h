#pragma once

#include <chrono>
#include <functional>
#include <memory>
#include <thread>

#include "base/log/Log.h"
#include "platform/linux/GlibPointers.h"

namespace quillet {

class AtspiFocusMemory;

/// The one thread that talks to the accessibility bus. It connects in the background, switches the
/// desktop's accessibility on, and stays connected.
///
/// The library behind it has its state in globals: only one worker may exist at a time.
class AtspiWorker {
public:
    explicit AtspiWorker(Log log);
    ~AtspiWorker();
    AtspiWorker(const AtspiWorker&) = delete;
    AtspiWorker& operator=(const AtspiWorker&) = delete;

    /// Has `work` run on the thread, once it is connected or knows that it cannot be. What has not
    /// run when the worker goes is dropped. Any thread.
    void post(std::function<void()> work, std::chrono::milliseconds delay = {});

    /// None when there is no connection. Worker's thread only.
    [[nodiscard]] AtspiFocusMemory* focusMemory() const;

    /// What a call to an application may take, after which it fails. An application that is awake
    /// needs a thousandth of it; one that hangs holds the thread up three times for so long.
    static constexpr auto callLimit = std::chrono::milliseconds(30);

private:
    void work();
    [[nodiscard]] bool switchOn();

    Log log_;
    GMainContext* context_;
    GMainLoop* turns_;
    GRef<GCancellable> ending_;
    std::unique_ptr<AtspiFocusMemory> focusMemory_;  // worker's thread
    std::thread thread_;
};

}  // namespace quillet
