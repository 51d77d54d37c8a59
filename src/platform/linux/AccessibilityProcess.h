#pragma once

#include <sys/types.h>

#include <asio/local/stream_protocol.hpp>
#include <filesystem>
#include <map>
#include <memory>

#include "base/async/Event.h"
#include "base/async/Scheduler.h"
#include "base/async/TaskScope.h"
#include "base/log/Log.h"
#include "platform/FocusedField.h"
#include "platform/linux/AccessibilityProtocol.h"

namespace quillet {

/// Looks at the focused field through a process of its own. The accessibility library talks to
/// whatever applications run, and has been seen to crash on one that went away: that must cost an
/// answer, and never a dictation. A process that ended is started again.
///
/// Belongs to the loop's thread.
class AccessibilityProcess final : public FocusedField {
public:
    /// Starts `program`, which answers on its standard output what it is asked on its standard
    /// input.
    AccessibilityProcess(std::filesystem::path program, Loop& loop, Scheduler& scheduler, Log log);
    /// Ends the process.
    ~AccessibilityProcess() override;

    asio::awaitable<Security> security(pid_t application) override;
    asio::awaitable<Selection> selection(pid_t application) override;
    asio::awaitable<std::optional<Surroundings>> surroundings(pid_t application,
                                                              Extent extent) override;
    asio::awaitable<Selecting> select(pid_t application, std::string text) override;
    asio::awaitable<std::string> visibleText(pid_t application,
                                             std::size_t mostCharacters) override;
    asio::awaitable<std::optional<DesktopRect>> caretRect(pid_t application) override;

private:
    struct Answer {
        std::string text;
        Event arrived;
    };

    using Answers = std::map<std::uint64_t, std::shared_ptr<Answer>>;
    class Awaiting;

    bool start();
    void ended();
    asio::awaitable<void> readAnswers();
    void send(std::string_view line);
    asio::awaitable<void> writeQuestions();
    asio::awaitable<std::string> ask(pid_t application, AccessibilityProtocol::Question question,
                                     std::string argument);
    template <class T>
    asio::awaitable<T> askFor(pid_t application, AccessibilityProtocol::Question question,
                              std::string argument = "null");

    std::filesystem::path program_;
    Loop& loop_;
    Scheduler& scheduler_;
    Log log_;
    pid_t child_ = 0;
    std::unique_ptr<asio::local::stream_protocol::socket> socket_;  // none: not running
    bool hasAnswered_ = false;                                      // since it was started last
    std::uint64_t lastNumber_ = 0;
    Answers awaited_;
    std::string unsent_;
    bool isWriting_ = false;
    TaskScope tasks_;  // last, so that it ends before what it uses
};

}  // namespace quillet
