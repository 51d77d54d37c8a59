#pragma once

#include <sys/types.h>
#include <asio/awaitable.hpp>

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
};

}  // namespace quillet
