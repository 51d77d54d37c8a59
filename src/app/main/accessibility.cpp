#include <fmt/format.h>
#include <unistd.h>

#include <iostream>
#include <string>
#include <thread>

#include "base/async/CommandLoop.h"
#include "base/async/TaskScope.h"
#include "platform/linux/AccessibilityProcess.h"
#include "platform/linux/AtspiFocusedField.h"
#include "platform/linux/SteadyScheduler.h"

// Answers on standard output what is asked on standard input: "NUMBER PROCESS-ID" with
// "NUMBER VERDICT". A program of its own because the accessibility library may crash.

namespace {

using namespace quillet;

asio::awaitable<void> answer(FocusedField& field, std::uint64_t number, pid_t application) {
    const auto security = co_await field.security(application);
    const auto line = fmt::format("{} {}\n", number, AccessibilityProcess::nameOf(security));
    [[maybe_unused]] const auto written = ::write(STDOUT_FILENO, line.data(), line.size());
}

}  // namespace

int main() {
    CommandLoop loop;
    SteadyScheduler scheduler(loop);
    AtspiFocusedField field(
        loop, scheduler,
        Log(makeStderrLogSink(LogLevel::info), Log::PrivateText::hide, "accessibility"));
    TaskScope tasks(loop);
    bool ending = false;
    std::thread reader([&] {
        std::uint64_t number = 0;
        pid_t application = 0;
        while (std::cin >> number >> application)
            loop.enqueue(
                [&, number, application] { tasks.spawn(answer(field, number, application)); });
        loop.enqueue([&ending] { ending = true; });
    });
    while (!ending)
        loop.waitAndDrainOne();
    reader.join();
    tasks.cancelAndJoin();
    return 0;
}
