#pragma once

#include <gtest/gtest.h>

#include <atomic>
#include <functional>
#include <initializer_list>
#include <memory>
#include <optional>
#include <string>
#include <variant>
#include <vector>

#include "base/async/Loop.h"
#include "base/async/TaskScope.h"
#include "platform/linux/SteadyScheduler.h"
#include "platform/linux/X11Desktop.h"

namespace quillet::test {

class TestLoop final : public Loop {
public:
    TestLoop() = default;
    ~TestLoop() override { close(); }

private:
    void wake() override {}  // the test waits for work by itself
};

/// Another program, ended with this object.
class Program {
public:
    explicit Program(std::vector<std::string> command);
    ~Program();
    Program(const Program&) = delete;
    Program& operator=(const Program&) = delete;

    void signal(int number) const;
    /// Waits for its own end.
    void wait();

private:
    pid_t pid_;
};

/// Runs a command to its end and returns what it printed.
std::string outputOf(const std::string& command);
/// Runs a command to its end; its failure is the test's.
void shell(const std::string& command);

/// A session bus other than that of the desktop that the tests run in.
enum class OtherBus {
    none,   ///< the address leads nowhere
    empty,  ///< no service is on it, and none can be started
    fresh,  ///< services are started when they are asked for
};
/// Runs a disabled test of this program in a process of its own; its failure is the caller's.
void runOn(OtherBus bus, const std::string& test);

/// Brings the window of this class to the front, once it is there, and returns what is in front
/// then. On the way there the window manager may say for a moment that nothing is.
std::optional<FrontApp> activate(const std::string& windowClass, FrontApplication& front);

/// The ports of the desktop that the test runs in, on a main queue of the test's own.
class DesktopFixture : public ::testing::Test {
protected:
    DesktopFixture();

    /// Turns the main queue until `reached` holds; a failure after 10 s.
    void until(const std::function<bool()>& reached);
    /// Turns the main queue until the work is done.
    template <class T>
    T run(asio::awaitable<T> work) {
        using Result = std::conditional_t<std::is_void_v<T>, std::monostate, T>;
        std::optional<Result> result;
        TaskScope scope(loop);
        const auto task = [&]() -> asio::awaitable<void> {
            if constexpr (std::is_void_v<T>) {
                co_await std::move(work);
                result.emplace();
            } else {
                result.emplace(co_await std::move(work));
            }
        };
        scope.spawn(task());
        until([&] { return result.has_value(); });
        if constexpr (!std::is_void_v<T>)
            return std::move(result).value_or(T());
    }

    /// Starts the monitor, whose events and conflicts are noted from now on.
    void watchKeyboard();
    /// Waits for an event of this kind and returns it; events before it are forgotten.
    KeyboardEvent waitFor(KeyboardEvent::Kind kind, Key key = Key::none);
    /// Makes sure that what was asked of the monitor so far is in force.
    void settleKeyboard();

    TestLoop loop;
    SteadyScheduler scheduler{loop};
    std::unique_ptr<X11Desktop> desktop;
    std::vector<KeyboardEvent> events;
    std::vector<KeyboardMonitor::Conflict> conflicts;
};

}  // namespace quillet::test
