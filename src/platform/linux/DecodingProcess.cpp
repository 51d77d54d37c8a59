#include "platform/linux/DecodingProcess.h"

#include <fcntl.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <cstring>

namespace quillet {

namespace {

constexpr const char* brokeOff = "Decoding broke off.";

/// Starts the program with the file as its standard input and the pipe as its standard output.
pid_t spawn(const std::filesystem::path& program, const FileDescriptor& file, int output,
            std::chrono::seconds longest) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_adddup2(&actions, file.get(), STDIN_FILENO);
    posix_spawn_file_actions_adddup2(&actions, output, STDOUT_FILENO);
    auto path = program.string();
    std::string command = decodeCommand;
    auto seconds = std::to_string(longest.count());
    char* argv[] = {path.data(), command.data(), seconds.data(), nullptr};
    pid_t child = 0;
    const bool started = ::posix_spawn(&child, path.c_str(), &actions, nullptr, argv, environ) == 0;
    posix_spawn_file_actions_destroy(&actions);
    return started ? child : 0;
}

std::string readToEnd(const FileDescriptor& pipe) {
    std::string all;
    std::array<char, 65'536> buffer{};
    while (true) {
        const auto count = ::read(pipe.get(), buffer.data(), buffer.size());
        if (count < 0 && errno == EINTR)
            continue;
        if (count <= 0)
            return all;
        all.append(buffer.data(), static_cast<std::size_t>(count));
    }
}

}  // namespace

std::expected<std::vector<std::int16_t>, std::string> decodeAudio(
    const std::filesystem::path& program, const FileDescriptor& file, std::chrono::seconds longest,
    const std::stop_token& stop) {
    std::array<int, 2> ends{};
    if (::pipe2(ends.data(), O_CLOEXEC) != 0)
        return std::unexpected(brokeOff);
    const FileDescriptor output(ends[0]);
    FileDescriptor input(ends[1]);
    const auto child = spawn(program, file, input.get(), longest);
    input = FileDescriptor();
    if (child == 0)
        return std::unexpected(program.string() + " cannot be started.");
    std::string written;
    {
        // It is waited for below, so the number is its own as long as this lives.
        const std::stop_callback killing(stop, [child] { ::kill(child, SIGKILL); });
        written = readToEnd(output);
    }
    int status = 0;
    while (::waitpid(child, &status, 0) < 0 && errno == EINTR) {
    }
    if (!WIFEXITED(status))
        return std::unexpected(brokeOff);
    if (WEXITSTATUS(status) != 0)
        return std::unexpected(written.empty() ? brokeOff : written);
    std::vector<std::int16_t> samples(written.size() / sizeof(std::int16_t));
    std::memcpy(samples.data(), written.data(), samples.size() * sizeof(std::int16_t));
    return samples;
}

}  // namespace quillet
