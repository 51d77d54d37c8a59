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

// Answers on standard output what is asked on standard input, as AccessibilityProcess has it. A
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

struct Question {
    std::uint64_t number = 0;
    pid_t application = 0;
    std::string what;
};

asio::awaitable<void> answer(FocusedField& field, Question question) {
    std::string text;
    if (question.what == AccessibilityProcess::selectionQuestion) {
        const auto selection = co_await field.selection(question.application);
        text = AccessibilityProcess::encoded(selection);
    } else {
        const auto security = co_await field.security(question.application);
        text = AccessibilityProcess::nameOf(security);
    }
    write(fmt::format("{} {}\n", question.number, text));
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
        Question question;
        while (std::cin >> question.number >> question.application >> question.what)
            loop.enqueue([&, question] { tasks.spawn(answer(field, question)); });
        loop.enqueue([&ending] { ending = true; });
    });
    while (!ending)
        loop.waitAndDrainOne();
    reader.join();
    tasks.cancelAndJoin();
    return 0;
}
