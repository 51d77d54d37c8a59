#include <unistd.h>

#include <cstdlib>
#include <iostream>

#include "audio/AudioFile.h"
#include "cli/Command.h"
#include "cli/tools/ToolCommands.h"
#include "platform/linux/DecodingProcess.h"
#include "platform/linux/SystemServices.h"

namespace {

/// What `decodeAudio` asks for.
int decodeStandardInput(const char* longest) {
    using namespace quillet;
    const FileDescriptor file(::dup(STDIN_FILENO));
    const FileDescriptor output(::dup(STDOUT_FILENO));
    const auto samples = readAudioFile(file, std::chrono::seconds(std::atol(longest)));
    if (!samples) {
        (void)output.writeAll(samples.error());
        return EXIT_FAILURE;
    }
    const std::string_view bytes(reinterpret_cast<const char*>(samples->data()),
                                 samples->size() * sizeof(samples->front()));
    return output.writeAll(bytes) ? EXIT_SUCCESS : EXIT_FAILURE;
}

}  // namespace

int main(int argc, char** argv) {
    using namespace quillet;
    if (argc == 3 && std::string_view(argv[1]) == decodeCommand)
        return decodeStandardInput(argv[2]);
    const auto privacy = privateTextWanted() ? Log::PrivateText::show : Log::PrivateText::hide;
    const Log log(makeNullLogSink(), privacy, "command");
    CommandContext context(pathsFromEnvironment(), log, std::cout, std::cerr);
    return runCommandLine(argc, argv, toolCommands(), context);
}
