#include "app/main/StartOptions.h"

#include <CLI/CLI.hpp>

#include "base/Version.h"
#include "base/rpc/ControlProtocol.h"

namespace quillet {

namespace {

constexpr int notUnderstood = 2;

}  // namespace

std::expected<StartOptions, int> readStartOptions(int argc, const char* const* argv) {
    CLI::App parser("Voice dictation for the desktop. `quillet` starts it and works with it.",
                    "quillet-app");
    parser.set_version_flag("--version", std::string("quillet-app ") + version);
    parser.allow_extras();
    std::string window;
    const std::vector<std::string> names(std::begin(control::windows), std::end(control::windows));
    parser.add_option("--open", window, "Show a window at the start")->check(CLI::IsMember(names));
    try {
        parser.parse(argc, argv);
    } catch (const CLI::ParseError& error) {
        return std::unexpected(parser.exit(error) == 0 ? 0 : notUnderstood);
    }
    return StartOptions{windowNamed(window)};
}

}  // namespace quillet
