#pragma once

#include <sys/types.h>
#include <asio/awaitable.hpp>
#include <cstddef>
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

    /// What is selected in a field.
    struct Selection {
        enum class Kind {
            nothing,
            text,
            tooLong,  ///< more than `longestSelection` bytes
            unknown,  ///< the application does not tell, or did not answer in time
        };
        Kind kind = Kind::unknown;
        std::string text;
    };

    /// Longer than what a language model rewrites in its time.
    static constexpr std::size_t longestSelection = 100'000;

    /// Looks at that application's focused field, for at most 100 ms. A password is never read.
    [[nodiscard]] virtual asio::awaitable<Selection> selection(pid_t application) = 0;
};

}  // namespace quillet
