#pragma once

#include <sys/types.h>
#include <asio/awaitable.hpp>
#include <optional>
#include <string>

namespace quillet {

/// The text field that has the keyboard focus, by the desktop's accessibility interface.
class FocusedField {
public:
    enum class Security {
        secure,   ///< a password field
        plain,    ///< a field that is seen not to be one
        unknown,  ///< the application does not tell, or did not answer in time
    };

    virtual ~FocusedField() = default;

    /// Looks at the application with this process id, for at most 100 ms.
    [[nodiscard]] virtual asio::awaitable<Security> security(pid_t application) = 0;

    /// The text that is selected in that application's focused field; none when nothing is, when
    /// it is a password field or holds more than `longestSelection` bytes, and when the application
    /// does not tell within 100 ms.
    [[nodiscard]] virtual asio::awaitable<std::optional<std::string>> selection(
        pid_t application) = 0;

    /// Longer than what a language model rewrites in its time.
    static constexpr std::size_t longestSelection = 100'000;
};

}  // namespace quillet
