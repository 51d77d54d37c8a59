#include "platform/linux/X11Desktop.h"

#include <cstdlib>
#include <ranges>
#include <string_view>

#include "platform/linux/OwnKeys.h"
#include "platform/linux/X11Connection.h"
#include "platform/linux/X11FrontApplication.h"
#include "platform/linux/X11IdleMonitor.h"
#include "platform/linux/X11InputSource.h"
#include "platform/linux/X11KeyPoster.h"
#include "platform/linux/X11KeyboardMonitor.h"
#include "platform/linux/X11Pasteboard.h"

namespace quillet {

namespace {

std::string environment(const char* name, std::string otherwise) {
    const char* value = std::getenv(name);
    return value && *value ? value : std::move(otherwise);
}

}  // namespace

std::expected<std::unique_ptr<X11Desktop>, X11Desktop::Error> X11Desktop::open(Options options,
                                                                               Loop& loop,
                                                                               const Log& log) {
    if (!X11Connection::open(options.displayName))
        return std::unexpected(Error::noDisplay);
    return std::unique_ptr<X11Desktop>(new X11Desktop(std::move(options), loop, log));
}

std::vector<std::filesystem::path> X11Desktop::environmentDataFolders() {
    std::vector<std::filesystem::path> folders;
    const auto home = environment("HOME", "");
    const auto own = environment("XDG_DATA_HOME", home.empty() ? "" : home + "/.local/share");
    if (!own.empty())
        folders.emplace_back(own);
    const auto shared = environment("XDG_DATA_DIRS", "/usr/local/share:/usr/share");
    for (const auto part : shared | std::views::split(':')) {
        const std::string_view folder(part.begin(), part.end());
        if (!folder.empty())
            folders.emplace_back(folder);
    }
    return folders;
}

X11Desktop::X11Desktop(Options options, Loop& loop, const Log& log)
    : ownKeys_(std::make_shared<OwnKeys>()),
      keyboardMonitor_(std::make_unique<X11KeyboardMonitor>(options.displayName, loop,
                                                            log.category("keyboard"), ownKeys_)),
      keyPoster_(
          std::make_unique<X11KeyPoster>(options.displayName, log.category("keyboard"), ownKeys_)),
      pasteboard_(std::make_unique<X11Pasteboard>(options.displayName, log.category("pasteboard"))),
      frontApplication_(std::make_unique<X11FrontApplication>(options.displayName,
                                                              std::move(options.dataFolders))),
      inputSource_(std::make_unique<X11InputSource>(options.displayName)),
      idleMonitor_(std::make_unique<X11IdleMonitor>(options.displayName, loop)) {}

X11Desktop::~X11Desktop() = default;

}  // namespace quillet
