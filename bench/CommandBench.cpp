#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <filesystem>

#include "Figures.h"

namespace quillet::bench {

void measureCommand(Report& report) {
    const auto program = std::filesystem::read_symlink("/proc/self/exe").parent_path() / "quillet";
    std::string path = program.string();
    std::string argument = "--version";
    char* argv[] = {path.data(), argument.data(), nullptr};
    posix_spawn_file_actions_t quiet;
    posix_spawn_file_actions_init(&quiet);
    posix_spawn_file_actions_addopen(&quiet, 1, "/dev/null", 1, 0);
    Figures figures;
    constexpr int runs = 60;
    for (int i = 0; i < runs; ++i) {
        figures.add(timeOf([&] {
            pid_t child = 0;
            if (::posix_spawn(&child, path.c_str(), &quiet, nullptr, argv, environ) == 0)
                ::waitpid(child, nullptr, 0);
        }));
    }
    posix_spawn_file_actions_destroy(&quiet);
    report.times("quillet --version", figures, "≤ 15 ms");
}

}  // namespace quillet::bench
