// quillet_fuzz_replay TARGET FOLDER...: feeds every file in the folders to a target, so that what
// was once found, and the seeds of the search, are tried with every build.
#include <cstdio>
#include <filesystem>
#include <fstream>
#include <iterator>
#include <span>
#include <string>

#include "Targets.h"

namespace {

namespace fs = std::filesystem;

struct Target {
    std::string_view name;
    void (*feed)(std::string_view input);
};

constexpr Target targets[] = {
    {"cleanup", quillet::fuzz::cleanup},   {"reply", quillet::fuzz::reply},
    {"response", quillet::fuzz::response}, {"multipart", quillet::fuzz::multipart},
    {"request", quillet::fuzz::request},   {"message", quillet::fuzz::message}};

/// How many files were fed.
int replay(const Target& target, const fs::path& folder) {
    int count = 0;
    for (const auto& entry : fs::directory_iterator(folder)) {
        std::ifstream file(entry.path(), std::ios::binary);
        const std::string input(std::istreambuf_iterator<char>(file), {});
        std::fprintf(stderr, "%s\n", entry.path().c_str());
        target.feed(input);
        ++count;
    }
    return count;
}

}  // namespace

int main(int count, char** arguments) {
    const std::span<char*> given(arguments, static_cast<std::size_t>(count));
    for (const auto& target : targets) {
        if (given.size() < 3 || target.name != given[1])
            continue;
        int files = 0;
        for (const char* folder : given.subspan(2)) {
            if (fs::exists(folder))
                files += replay(target, folder);
        }
        std::printf("%d inputs\n", files);
        return files > 0 ? 0 : 1;
    }
    std::fprintf(stderr, "usage: quillet_fuzz_replay TARGET FOLDER...\n");
    return 2;
}
