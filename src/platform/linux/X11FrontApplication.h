#pragma once

#include <filesystem>
#include <memory>
#include <vector>

#include "platform/FrontApplication.h"

namespace quillet {

class DesktopEntries;
class X11Connection;

/// The application that the window manager says is active.
class X11FrontApplication final : public FrontApplication {
public:
    /// `dataFolders` are those in whose applications/ the desktop files lie.
    X11FrontApplication(const std::string& displayName,
                        std::vector<std::filesystem::path> dataFolders);
    ~X11FrontApplication() override;

    std::optional<FrontApp> current() override;
    /// Waits until applications are known by their names.
    void waitUntilReady();

private:
    [[nodiscard]] std::optional<DesktopRect> geometry(unsigned window);
    [[nodiscard]] pid_t process(unsigned window);
    [[nodiscard]] std::string windowClass(unsigned window);
    void name(FrontApp& app, unsigned window);

    std::unique_ptr<X11Connection> connection_;
    std::unique_ptr<DesktopEntries> entries_;
};

}  // namespace quillet
