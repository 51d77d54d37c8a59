#pragma once

#include <expected>
#include <filesystem>
#include <memory>
#include <string>
#include <vector>

#include "base/log/Log.h"
#include "platform/FrontApplication.h"
#include "platform/IdleMonitor.h"
#include "platform/InputSource.h"
#include "platform/KeyPoster.h"
#include "platform/KeyboardMonitor.h"
#include "platform/Pasteboard.h"

namespace quillet {

class Loop;
class OwnKeys;

/// Everything that an X server offers. Belongs to the main queue's thread.
///
/// To be opened after the toolkit's application object, which puts its own handler of X errors in
/// the place of others'.
class X11Desktop {
public:
    enum class Error { noDisplay };
    struct Options {
        std::string displayName;  ///< empty: the display that the environment names
        /// Where desktop files lie, in applications/; the first one first.
        std::vector<std::filesystem::path> dataFolders;
    };

    /// `loop` is the main queue.
    [[nodiscard]] static std::expected<std::unique_ptr<X11Desktop>, Error> open(Options options,
                                                                                Loop& loop,
                                                                                const Log& log);
    /// The data folders of the environment, the user's own first.
    [[nodiscard]] static std::vector<std::filesystem::path> environmentDataFolders();
    ~X11Desktop();

    [[nodiscard]] KeyboardMonitor& keyboardMonitor() { return *keyboardMonitor_; }
    [[nodiscard]] KeyPoster& keyPoster() { return *keyPoster_; }
    [[nodiscard]] Pasteboard& pasteboard() { return *pasteboard_; }
    [[nodiscard]] FrontApplication& frontApplication() { return *frontApplication_; }
    [[nodiscard]] InputSource& inputSource() { return *inputSource_; }
    [[nodiscard]] IdleMonitor& idleMonitor() { return *idleMonitor_; }

private:
    X11Desktop(Options options, Loop& loop, const Log& log);

    std::shared_ptr<OwnKeys> ownKeys_;
    std::unique_ptr<KeyboardMonitor> keyboardMonitor_;
    std::unique_ptr<KeyPoster> keyPoster_;
    std::unique_ptr<Pasteboard> pasteboard_;
    std::unique_ptr<FrontApplication> frontApplication_;
    std::unique_ptr<InputSource> inputSource_;
    std::unique_ptr<IdleMonitor> idleMonitor_;
};

}  // namespace quillet
