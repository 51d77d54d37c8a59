#pragma once

#include <sys/types.h>
#include <asio/awaitable.hpp>
#include <cstddef>
#include <optional>
#include <string>

#include "platform/FocusedTextReader.h"
#include "platform/FrontApplication.h"

namespace quillet {

/// The text field that has the keyboard focus, by the desktop's accessibility interface. Every
/// question takes at most 100 ms, whatever the application does; one that cannot be answered in
/// that time is answered as unknown. A password is never read.
class FocusedField {
public:
    enum class Security {
        secure,   ///< a password field
        plain,    ///< a field that is seen not to be one
        unknown,  ///< the application does not tell, or did not answer in time
    };
    using Selection = FocusedTextReader::Selection;
    using Selecting = FocusedTextReader::Selecting;
    using Surroundings = FocusedTextReader::Surroundings;
    using Extent = FocusedTextReader::Extent;

    virtual ~FocusedField() = default;

    /// Looks at the application with this process id.
    [[nodiscard]] virtual asio::awaitable<Security> security(pid_t application) = 0;

    /// What is selected in the field.
    [[nodiscard]] virtual asio::awaitable<Selection> selection(pid_t application) = 0;

    /// What stands around the caret, or around what is selected. None when that is not known.
    [[nodiscard]] virtual asio::awaitable<std::optional<Surroundings>> surroundings(
        pid_t application, Extent extent) = 0;

    /// Selects this text where it stands just before the caret.
    [[nodiscard]] virtual asio::awaitable<Selecting> select(pid_t application,
                                                            std::string text) = 0;

    /// What can be read in the active window, the field's own text left out: the end of what stands
    /// before the field, filled up with what comes after it. Empty when nothing is told; what was
    /// found in time when the window is a large one.
    [[nodiscard]] virtual asio::awaitable<std::string> visibleText(pid_t application,
                                                                   std::size_t mostCharacters) = 0;

    /// Where the caret is on the desktop, be it in a password field too. None when that is not
    /// known.
    [[nodiscard]] virtual asio::awaitable<std::optional<DesktopRect>> caretRect(
        pid_t application) = 0;
};

}  // namespace quillet
