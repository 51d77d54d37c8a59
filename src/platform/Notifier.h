#pragma once

#include <string>

namespace quillet {

/// Notifications of the desktop, outside the program's own windows.
class Notifier {
public:
    virtual ~Notifier() = default;

    /// Shows a notification, if the desktop has any. Returns at once; a failure is only logged,
    /// for the same text always stands in the program's own windows too.
    virtual void show(std::string title, std::string body) = 0;
};

}  // namespace quillet
