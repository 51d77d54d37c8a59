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
#include <charconv>
#include <nlohmann/json.hpp>

#include "base/async/Loop.h"
#include "base/file/FileDescriptor.h"

namespace quillet {

namespace {

using namespace asio::experimental::awaitable_operators;

constexpr auto asTuple = asio::experimental::as_tuple(asio::use_awaitable);
constexpr std::chrono::milliseconds deadline{100};
/// JSON writes a character of one byte in up to six.
constexpr std::size_t longestLine = 6 * FocusedTextReader::longestSelection + 256;

constexpr std::pair<FocusedField::Security, std::string_view> names[] = {
    {FocusedField::Security::secure, "secure"},
    {FocusedField::Security::plain, "plain"},
    {FocusedField::Security::unknown, "unknown"},
};

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

std::string_view AccessibilityProcess::nameOf(Security security) {
    return std::ranges::find(names, security, &std::pair<Security, std::string_view>::first)
        ->second;
}

FocusedField::Security AccessibilityProcess::securityNamed(std::string_view name) {
    const auto* found =
        std::ranges::find(names, name, &std::pair<Security, std::string_view>::second);
    return found == std::end(names) ? Security::unknown : found->first;
}

std::string AccessibilityProcess::encoded(const Selection& selection) {
    switch (selection.kind) {
        case Selection::Kind::nothing:
            return "null";
        case Selection::Kind::text:
            return nlohmann::json(selection.text)
                .dump(-1, ' ', false, nlohmann::json::error_handler_t::replace);
        case Selection::Kind::tooLong:
            return "true";
        case Selection::Kind::unknown:
            return "false";
    }
    return "false";
}

FocusedField::Selection AccessibilityProcess::selectionIn(const std::string& line) {
    const auto value = nlohmann::json::parse(line, nullptr, false);
    if (value.is_null())
        return {Selection::Kind::nothing, {}};
    if (value.is_string())
        return {Selection::Kind::text, value.get<std::string>()};
    return {value == true ? Selection::Kind::tooLong : Selection::Kind::unknown, {}};
}

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
            *socket_, asio::dynamic_buffer(received, longestLine), '\n', asTuple);
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

asio::awaitable<std::string> AccessibilityProcess::ask(pid_t application,
                                                       std::string_view question) {
    if (!socket_ && !start())
        co_return std::string();
    const auto number = ++lastNumber_;
    const auto answer = std::make_shared<Answer>();
    const Awaiting awaiting(awaited_, number, answer);
    const auto line = fmt::format("{} {} {}\n", number, application, question);
    // A process that no longer reads is noticed by the reading side.
    [[maybe_unused]] const auto sent =
        ::send(socket_->native_handle(), line.data(), line.size(), MSG_DONTWAIT | MSG_NOSIGNAL);
    co_await (answer->arrived.wait() || scheduler_.sleep(deadline));
    co_return answer->text;
}

asio::awaitable<FocusedField::Security> AccessibilityProcess::security(pid_t application) {
    const auto verdict = co_await ask(application, securityQuestion);
    co_return securityNamed(verdict);
}

asio::awaitable<FocusedField::Selection> AccessibilityProcess::selection(pid_t application) {
    co_return selectionIn(co_await ask(application, selectionQuestion));
}

asio::awaitable<std::optional<FocusedField::Surroundings>> AccessibilityProcess::surroundings(
    pid_t, Extent) {
    co_return std::nullopt;
}

asio::awaitable<FocusedField::Selecting> AccessibilityProcess::select(pid_t, std::string) {
    co_return Selecting::unreadable;
}

asio::awaitable<std::string> AccessibilityProcess::visibleText(pid_t, std::size_t) {
    co_return std::string();
}

}  // namespace quillet
