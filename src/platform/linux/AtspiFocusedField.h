#pragma once

#include <memory>

#include "base/log/Log.h"
#include "platform/FocusedField.h"

namespace quillet {

class Loop;
class Scheduler;

/// The focused text field by the desktop's accessibility bus, which is asked on a thread of its
/// own. From its construction on, applications that start tell about themselves; some of those that
/// run already never do. Only one may exist at a time.
///
/// All calls belong to the loop's thread. They look at the application's active window; the answer
/// is that nothing is known after 100 ms whatever happens, and at once for an application that
/// still owes the answer to an earlier call.
class AtspiFocusedField final : public FocusedField {
public:
    AtspiFocusedField(Loop& loop, Scheduler& scheduler, Log log);
    ~AtspiFocusedField() override;

    asio::awaitable<Security> security(pid_t application) override;
    asio::awaitable<Selection> selection(pid_t application) override;
    asio::awaitable<std::optional<Surroundings>> surroundings(pid_t application,
                                                              Extent extent) override;
    asio::awaitable<Selecting> select(pid_t application, std::string text) override;
    asio::awaitable<std::string> visibleText(pid_t application,
                                             std::size_t mostCharacters) override;
    asio::awaitable<std::optional<DesktopRect>> caretRect(pid_t application) override;

private:
    class Desk;
    std::unique_ptr<Desk> desk_;
};

}  // namespace quillet
