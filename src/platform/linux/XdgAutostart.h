#pragma once

#include <filesystem>
#include <optional>
#include <vector>

#include "platform/Autostart.h"

namespace quillet {

/// The desktop's autostart folders. A file of the user hides one of the same name that came with
/// the system. Switching off marks the file instead of removing it, as the desktops' own tools do,
/// so that what somebody added to it stays.
class XdgAutostart final : public Autostart {
public:
    struct Folders {
        std::filesystem::path user;  ///< e.g. ~/.config/autostart
        std::vector<std::filesystem::path>
            system;  ///< e.g. /etc/xdg/autostart, the first one first
    };
    static constexpr const char* fileName = "com.quillet.Quillet.desktop";

    /// `program` is what is started.
    XdgAutostart(Folders folders, std::filesystem::path program);

    [[nodiscard]] bool isOn() const override;
    [[nodiscard]] std::expected<void, std::string> set(bool on) override;

    /// As the environment says it.
    [[nodiscard]] static Folders environmentFolders();

private:
    /// The file that counts; none when there is none.
    [[nodiscard]] std::optional<std::filesystem::path> file() const;

    Folders folders_;
    std::filesystem::path program_;
};

}  // namespace quillet
