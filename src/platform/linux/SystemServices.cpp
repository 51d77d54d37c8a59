#include "platform/linux/SystemServices.h"

#include <fmt/format.h>
#include <malloc.h>
#include <pwd.h>
#include <sys/random.h>
#include <sys/resource.h>
#include <unistd.h>

#include <array>
#include <cstdlib>
#include <ctime>
#include <limits>
#include <string_view>

namespace quillet {

namespace {

namespace fs = std::filesystem;

/// An absolute path from the environment, else the given one; relative ones are to be ignored.
fs::path absolutePath(const char* variable, fs::path otherwise) {
    const char* value = ::getenv(variable);
    if (value == nullptr || *value != '/')
        return otherwise;
    return value;
}

fs::path homeFolder() {
    const char* home = ::getenv("HOME");
    if (home != nullptr && *home == '/')
        return home;
    const auto* user = ::getpwuid(::getuid());
    return user == nullptr ? "/" : user->pw_dir;
}

}  // namespace

Calendar::UnixTime SystemCalendar::now() const {
    return std::chrono::system_clock::now();
}

std::chrono::local_seconds SystemCalendar::local(UnixTime time) const {
    const auto seconds = std::chrono::floor<std::chrono::seconds>(time.time_since_epoch());
    const std::time_t asTime = seconds.count();
    std::tm parts{};
    ::localtime_r(&asTime, &parts);
    return std::chrono::local_seconds(seconds + std::chrono::seconds(parts.tm_gmtoff));
}

std::string KernelIds::uuid() {
    std::array<unsigned char, 16> bytes{};
    [[maybe_unused]] const auto got = ::getrandom(bytes.data(), bytes.size(), 0);
    bytes[6] = static_cast<unsigned char>((bytes[6] & 0x0FU) | 0x40U);  // version 4
    bytes[8] = static_cast<unsigned char>((bytes[8] & 0x3FU) | 0x80U);  // variant 1
    std::string text;
    for (std::size_t i = 0; i < bytes.size(); ++i) {
        if (i == 4 || i == 6 || i == 8 || i == 10)
            text += '-';
        fmt::format_to(std::back_inserter(text), "{:02X}", bytes[i]);
    }
    return text;
}

Paths pathsFromEnvironment() {
    Paths paths;
    paths.home = homeFolder();
    paths.config = absolutePath("XDG_CONFIG_HOME", paths.home / ".config") / "quillet";
    paths.data = absolutePath("XDG_DATA_HOME", paths.home / ".local/share");
    paths.runtime = absolutePath("XDG_RUNTIME_DIR", paths.quilletHome());
    if (const char* given = ::getenv("QUILLET_ENGINE_DIR"); given != nullptr && *given == '/')
        paths.engineFolders.emplace_back(given);
    paths.engineFolders.push_back(absolutePath("XDG_CACHE_HOME", paths.home / ".cache") /
                                  "quillet/engine");
    paths.engineFolders.push_back(paths.home / ".cache/quillet/engine");
    paths.engineFolders.emplace_back("/usr/local/lib/quillet");
    paths.engineFolders.emplace_back("/usr/lib/quillet");
    paths.localeFolders = {programBeside("../share/locale"), "/usr/local/share/locale",
                           "/usr/share/locale"};
    paths.engineFolders.emplace_back("/usr/lib/quillet/engine");
    paths.systemModels = "/usr/share/quillet/models";
    paths.modelCatalogue = absolutePath("QUILLET_MODEL_CATALOGUE", {});
    return paths;
}

std::string desktopLanguage() {
    for (const char* name : {"LANGUAGE", "LC_ALL", "LC_MESSAGES", "LANG"}) {
        const char* value = ::getenv(name);
        if (value == nullptr || *value == '\0')
            continue;
        // "zh_CN.UTF-8", or of several the first: "zh_CN:en"
        const std::string_view language(value);
        return std::string(language.substr(0, language.find_first_of(".:@")));
    }
    return {};
}

std::filesystem::path programBeside(std::string_view name) {
    std::error_code ec;
    const auto here = fs::read_symlink("/proc/self/exe", ec).parent_path();
    const auto inner = here.parent_path() / "lib/quillet" / name;
    return !fs::exists(here / name, ec) && fs::exists(inner, ec) ? inner : here / name;
}

void giveLargeBlocksBack() {
    constexpr int large = 128 * 1024;
    ::mallopt(M_MMAP_THRESHOLD, large);
}

void allowManyDescriptors() {
    constexpr rlim_t plenty = 4096;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0 || limit.rlim_cur >= plenty)
        return;
    limit.rlim_cur = std::min(plenty, limit.rlim_max);
    ::setrlimit(RLIMIT_NOFILE, &limit);
}

int descriptorsAllowed() {
    constexpr int usual = 1024;
    rlimit limit{};
    if (::getrlimit(RLIMIT_NOFILE, &limit) != 0)
        return usual;
    return static_cast<int>(std::min<rlim_t>(limit.rlim_cur, std::numeric_limits<int>::max()));
}

bool privateTextWanted() {
    const char* value = ::getenv("QUILLET_LOG_PRIVATE");
    return value != nullptr && std::string_view(value) == "1";
}

}  // namespace quillet
