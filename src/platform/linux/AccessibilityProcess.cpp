#include "platform/linux/AccessibilityProcess.h"

#include <fmt/format.h>
#include <signal.h>
#include <spawn.h>
#include <sys/socket.h>
#include <sys/wait.h>
#include <unistd.h>

#include <asio/buffer.hpp>
#include <asio/experimental/as_tuple.hpp>
#include <asio/experimental/awaitable_operators.hpp>
#include <asio/read_until.hpp>
#include <asio/use_awaitable.hpp>
#include <asio/write.hpp>
#include <charconv>

#include "base/async/Loop.h"
#include "base/file/FileDescriptor.h"

namespace quillet {

namespace {

using namespace asio::experimental::awaitable_operators;
using Question = AccessibilityProtocol::Question;

constexpr auto asTuple = asio::experimental::as_tuple(asio::use_awaitable);
constexpr std::chrono::milliseconds deadline{100};

/// Starts the program with one end of a socket as its standard input and output.
pid_t spawn(const std::filesystem::path& program, int end) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, end, STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, end, STDOUT_FILENO);
    auto path = program.string();
    char* argv[] = {path.data(), nullptr};
    pid_t child = 0;
    const bool started = ::posix_spawn(&child, path.c_str(), &actions, nullptr, argv, environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    return started ? child : 0;
}

}  // namespace

AccessibilityProcess::AccessibilityProcess(std::filesystem::path program, Loop& loop,
                                           Scheduler& scheduler, Log log)
    : program_(std::move(program)),
      loop_(loop),
      scheduler_(scheduler),
      log_(std::move(log)),
      tasks_(loop) {
    // Right away: applications that start from now on shall show their fields.
    start();
}

AccessibilityProcess::~AccessibilityProcess() {
    tasks_.cancelAndJoin();
    ended();
}

bool AccessibilityProcess::start() {
    int ends[2] = {-1, -1};
    if (::socketpair(AF_UNIX, SOCK_STREAM | SOCK_CLOEXEC, 0, ends) != 0)
        return false;
    FileDescriptor own(ends[0]);
    const FileDescriptor theirs(ends[1]);
    child_ = spawn(program_, theirs.get());
    if (child_ == 0) {
        log_.error("{} cannot be started; password fields are not told from others",
                   program_.string());
        return false;
    }
    socket_ = std::make_unique<asio::local::stream_protocol::socket>(
        loop_.executor(), asio::local::stream_protocol(), own.release());
    tasks_.spawn(readAnswers());
    return true;
}

void AccessibilityProcess::ended() {
    socket_.reset();
    unsent_.clear();
    if (child_ != 0) {
        ::kill(child_, SIGKILL);
        ::waitpid(child_, nullptr, 0);
        child_ = 0;
    }
    for (const auto& [number, answer] : std::exchange(awaited_, {}))
        answer->arrived.set();
}

asio::awaitable<void> AccessibilityProcess::readAnswers() {
    std::string received;
    while (true) {
        const auto [error, length] = co_await asio::async_read_until(
            *socket_, asio::dynamic_buffer(received, AccessibilityProtocol::longestLine), '\n',
            asTuple);
        if (error) {
            if (error != asio::error::operation_aborted)
                log_.error("The look at text fields broke off and begins anew");
            ended();
            // One that has worked will work again; one that never did waits until it is asked.
            if (error != asio::error::operation_aborted && std::exchange(hasAnswered_, false))
                start();
            co_return;
        }
        const std::string line = received.substr(0, length - 1);
        received.erase(0, length);
        std::uint64_t number = 0;
        const auto [end, problem] = std::from_chars(line.data(), line.data() + line.size(), number);
        const auto found = awaited_.find(number);
        if (problem != std::errc() || found == awaited_.end())
            continue;
        const auto space = line.find(' ');
        if (space != std::string::npos)
            found->second->text = line.substr(space + 1);
        found->second->arrived.set();
        awaited_.erase(found);
        hasAnswered_ = true;
    }
}

/// Keeps the place of an answer, also for a task that is cancelled meanwhile.
class AccessibilityProcess::Awaiting {
public:
    Awaiting(Answers& answers, std::uint64_t number, std::shared_ptr<Answer> answer)
        : answers_(answers), number_(number) {
        answers_[number] = std::move(answer);
    }
    ~Awaiting() { answers_.erase(number_); }
    Awaiting(const Awaiting&) = delete;
    Awaiting& operator=(const Awaiting&) = delete;

private:
    Answers& answers_;
    std::uint64_t number_;
};

/// The socket takes a part of a long line at a time, and nothing from a process that hangs.
void AccessibilityProcess::send(std::string_view line) {
    if (std::max(unsent_.size(), line.size()) > AccessibilityProtocol::longestLine)
        return;
    unsent_ += line;
    unsent_ += '\n';
    if (!std::exchange(isWriting_, true))
        tasks_.spawn(writeQuestions());
}

asio::awaitable<void> AccessibilityProcess::writeQuestions() {
    while (socket_ && !unsent_.empty()) {
        const auto lines = std::exchange(unsent_, {});
        // A process that no longer reads is noticed by the reading side.
        co_await asio::async_write(*socket_, asio::buffer(lines), asTuple);
    }
    isWriting_ = false;
}

asio::awaitable<std::string> AccessibilityProcess::ask(pid_t application, Question question,
                                                       std::string argument) {
    if (!socket_ && !start())
        co_return std::string();
    const auto number = ++lastNumber_;
    const auto answer = std::make_shared<Answer>();
    const Awaiting awaiting(awaited_, number, answer);
    send(AccessibilityProtocol::asked(number, application, question, argument));
    co_await (answer->arrived.wait() || scheduler_.sleep(deadline));
    co_return answer->text;
}

template <class T>
asio::awaitable<T> AccessibilityProcess::askFor(pid_t application, Question question,
                                                std::string argument) {
    co_return AccessibilityProtocol::decoded<T>(
        co_await ask(application, question, std::move(argument)));
}

asio::awaitable<FocusedField::Security> AccessibilityProcess::security(pid_t application) {
    return askFor<Security>(application, Question::security);
}

asio::awaitable<FocusedField::Selection> AccessibilityProcess::selection(pid_t application) {
    return askFor<Selection>(application, Question::selection);
}

asio::awaitable<std::optional<FocusedField::Surroundings>> AccessibilityProcess::surroundings(
    pid_t application, Extent extent) {
    return askFor<std::optional<Surroundings>>(application, Question::surroundings,
                                               AccessibilityProtocol::encoded(extent));
}

asio::awaitable<FocusedField::Selecting> AccessibilityProcess::select(pid_t application,
                                                                      std::string text) {
    return askFor<Selecting>(application, Question::select, AccessibilityProtocol::encoded(text));
}

asio::awaitable<std::string> AccessibilityProcess::visibleText(pid_t application,
                                                               std::size_t mostCharacters) {
    return askFor<std::string>(application, Question::visibleText,
                               AccessibilityProtocol::encoded(mostCharacters));
}

asio::awaitable<std::optional<DesktopRect>> AccessibilityProcess::caretRect(pid_t application) {
    return askFor<std::optional<DesktopRect>>(application, Question::caretRect);
}

}  // namespace quillet
