#include <fmt/format.h>
#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <nlohmann/json.hpp>
#include <thread>

#include "Figures.h"
#include "base/rpc/ControlProtocol.h"
#include "cli/ControlClient.h"
#include "platform/linux/SystemServices.h"

namespace quillet::bench {

namespace {

namespace fs = std::filesystem;
using namespace std::chrono_literals;

constexpr auto idleTime = 60s;

/// The number behind a name in a file of /proc.
long procNumber(const fs::path& file, const std::string& name) {
    std::ifstream stream(file);
    std::string line;
    while (std::getline(stream, line)) {
        if (line.starts_with(name + ":"))
            return std::strtol(line.c_str() + name.size() + 1, nullptr, 10);
    }
    return 0;
}

/// How often the process's threads have been woken since they began.
std::map<std::string, long> wakeUps(pid_t process) {
    std::map<std::string, long> counts;
    for (const auto& task : fs::directory_iterator(fmt::format("/proc/{}/task", process))) {
        std::ifstream comm(task.path() / "comm");
        std::string name;
        std::getline(comm, name);
        counts[task.path().filename().string() + " " + name] =
            procNumber(task.path() / "status", "voluntary_ctxt_switches");
    }
    return counts;
}

}  // namespace

void measureIdle(Report& report) {
    const auto paths = pathsFromEnvironment();
    if (::getenv("DISPLAY") == nullptr) {
        report.skipped("application, idle", "there is no display");
        return;
    }
    auto program = (fs::read_symlink("/proc/self/exe").parent_path() / "quillet-app").string();
    char* argv[] = {program.data(), nullptr};
    pid_t child = 0;
    if (::posix_spawn(&child, program.c_str(), nullptr, nullptr, argv, environ) != 0)
        return;
    const ControlClient client(paths.controlSocket());
    const auto begin = std::chrono::steady_clock::now();
    while (!client.call(control::status, nlohmann::json()) &&
           std::chrono::steady_clock::now() - begin < 10s)
        std::this_thread::sleep_for(20ms);
    std::this_thread::sleep_for(3s);
    const auto before = wakeUps(child);
    std::this_thread::sleep_for(idleTime);
    const auto after = wakeUps(child);
    long total = 0;
    for (const auto& [thread, count] : after) {
        const long woken = count - (before.contains(thread) ? before.at(thread) : 0);
        total += woken;
        if (woken > 0)
            fmt::print(stderr, "idle: {} was woken {} times\n", thread, woken);
    }
    const auto status = fs::path(fmt::format("/proc/{}/status", child));
    report.figure("application, idle for 60 s: wake-ups of all its threads",
                  fmt::format("{}", total), "≤ 12");
    report.figure("application, idle: resident memory",
                  fmt::format("{} MB, of which {} MB its own", procNumber(status, "VmRSS") / 1'024,
                              procNumber(status, "RssAnon") / 1'024),
                  "≤ 60 MB");
    ::kill(child, SIGTERM);
    ::waitpid(child, nullptr, 0);
}

}  // namespace quillet::bench
