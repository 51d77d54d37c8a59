#include <cstdio>
#include <iostream>
#include <nlohmann/json.hpp>

#include "base/rpc/ControlProtocol.h"
#include "cli/Becoming.h"
#include "cli/Command.h"
#include "cli/ControlClient.h"
#include "platform/linux/SystemServices.h"

namespace {

using namespace quillet;

/// Without a command: bring up the menu of the application that runs, or become the application.
int openApplication(const Paths& paths) {
    if (ControlClient(paths.controlSocket()).call(control::showMenu, nlohmann::json()))
        return 0;
    std::fprintf(stderr, "quillet: %s\n", becomeProgram("quillet-app", {}).c_str());
    return static_cast<int>(ExitCode::failed);
}

}  // namespace

int main(int argc, char** argv) {
    const auto paths = pathsFromEnvironment();
    if (argc == 1)
        return openApplication(paths);
    const auto privacy = privateTextWanted() ? Log::PrivateText::show : Log::PrivateText::hide;
    const Log log(makeNullLogSink(), privacy, "command");
    CommandContext context(paths, log, std::cout, std::cerr);
    return runCommandLine(argc, argv, allCommands(), context);
}
