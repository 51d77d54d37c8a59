#pragma once

#include <sys/types.h>
#include <cstdint>
#include <optional>
#include <string>

namespace quillet {

/// How an application wants to be told to paste.
enum class PasteStyle {
    clipboard,  ///< Command+V of the clipboard
    terminal,   ///< takes the primary selection with Shift+Insert; Control+V means something else
};

/// A rectangle on the desktop, in the pixels of the whole desktop.
struct DesktopRect {
    int x = 0;
    int y = 0;
    int width = 0;
    int height = 0;
    friend bool operator==(const DesktopRect&, const DesktopRect&) = default;
};

/// The application whose window has the keyboard focus.
struct FrontApp {
    std::string bundleID;     ///< stable id; a well-known application has its well-known id
    std::string displayName;  ///< as people call it
    std::string windowTitle;
    pid_t pid = 0;               ///< 0 when not known
    std::uint64_t windowID = 0;  ///< names its window while that exists; 0 when not known
    PasteStyle pasteStyle = PasteStyle::clipboard;
    DesktopRect window;
};

[[nodiscard]] inline bool isSameWindow(const FrontApp& a, const FrontApp& b) {
    return a.bundleID == b.bundleID && a.pid == b.pid && a.windowID == b.windowID;
}

class FrontApplication {
public:
    virtual ~FrontApplication() = default;

    /// None when no window has the focus, or when the desktop does not tell. Takes well under a
    /// millisecond and may be called on the main queue.
    [[nodiscard]] virtual std::optional<FrontApp> current() = 0;
};

}  // namespace quillet
