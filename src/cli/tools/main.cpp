#include <iostream>

#include "cli/Command.h"
#include "cli/tools/ToolCommands.h"
#include "platform/linux/SystemServices.h"

int main(int argc, char** argv) {
    using namespace quillet;
    const auto privacy = privateTextWanted() ? Log::PrivateText::show : Log::PrivateText::hide;
    const Log log(makeNullLogSink(), privacy, "command");
    CommandContext context(pathsFromEnvironment(), log, std::cout, std::cerr);
    return runCommandLine(argc, argv, toolCommands(), context);
}
