#include <unistd.h>

#include <iostream>
#include <string>
#include <thread>

#include "base/async/CommandLoop.h"
#include "base/async/TaskScope.h"
#include "platform/linux/AccessibilityProtocol.h"
#include "platform/linux/AtspiFocusedField.h"
#include "platform/linux/SteadyScheduler.h"

// Answers on standard output what is asked on standard input, as AccessibilityProtocol has it. A
// program of its own because the accessibility library may crash.

namespace {

using namespace quillet;

void write(std::string_view line) {
    while (!line.empty()) {
        const auto written = ::write(STDOUT_FILENO, line.data(), line.size());
        if (written <= 0)
            return;
        line.remove_prefix(static_cast<std::size_t>(written));
    }
}

asio::awaitable<void> answer(FocusedField& field, std::string question) {
    write(co_await AccessibilityProtocol::answered(field, std::move(question)) + "\n");
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
        std::string question;
        while (std::getline(std::cin, question))
            loop.enqueue([&, question] { tasks.spawn(answer(field, question)); });
        loop.enqueue([&ending] { ending = true; });
    });
    while (!ending)
        loop.waitAndDrainOne();
    reader.join();
    tasks.cancelAndJoin();
    return 0;
}
