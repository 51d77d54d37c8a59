#include "platform/linux/DesktopEntries.h"

#include <fmt/format.h>
#include <fmt/ranges.h>

#include <algorithm>
#include <cctype>
#include <fstream>
#include <set>
#include <system_error>

#include "platform/linux/WellKnownApplications.h"

namespace quillet {

namespace {

std::string lowered(std::string_view text) {
    std::string lower(text);
    std::ranges::transform(lower, lower.begin(),
                           [](unsigned char c) { return static_cast<char>(std::tolower(c)); });
    return lower;
}

/// "/usr/bin/editor --new %U" starts "editor".
std::string programOf(const std::string& command) {
    const auto path = command.substr(0, command.find(' '));
    return std::filesystem::path(path).filename();
}

std::optional<DesktopEntries::Entry> read(const std::filesystem::path& file, std::string id) {
    std::ifstream stream(file);
    DesktopEntries::Entry entry;
    entry.id = std::move(id);
    bool isMainGroup = false;
    for (std::string line; std::getline(stream, line);) {
        if (line.starts_with('[')) {
            isMainGroup = line == "[Desktop Entry]";
            continue;
        }
        const auto equals = line.find('=');
        if (!isMainGroup || equals == std::string::npos)
            continue;
        const auto key = line.substr(0, line.find_last_not_of(' ', equals - 1) + 1);
        const auto start = line.find_first_not_of(' ', equals + 1);
        const auto value = start == std::string::npos ? std::string() : line.substr(start);
        if (key == "Name")
            entry.displayName = value;
        else if (key == "StartupWMClass")
            entry.windowClass = value;
        else if (key == "Exec")
            entry.program = programOf(value);
    }
    if (entry.displayName.empty())
        return std::nullopt;
    return entry;
}

std::vector<DesktopEntries::Entry> readFolder(const std::filesystem::path& folder) {
    std::vector<DesktopEntries::Entry> entries;
    std::error_code ec;
    for (auto at = std::filesystem::recursive_directory_iterator(folder, ec);
         !ec && at != std::filesystem::recursive_directory_iterator(); at.increment(ec)) {
        if (at->path().extension() != ".desktop")
            continue;
        // A file's folders are part of its id.
        auto id = at->path().lexically_relative(folder).replace_extension().string();
        std::ranges::replace(id, '/', '-');
        if (auto entry = read(at->path(), std::move(id)))
            entries.push_back(std::move(*entry));
    }
    return entries;
}

}  // namespace

DesktopEntries::DesktopEntries(std::vector<std::filesystem::path> dataFolders)
    : queue_("desktop files") {
    queue_.post([this, folders = std::move(dataFolders)] {
        for (const auto& folder : folders) {
            auto entries = readFolder(folder / "applications");
            const std::scoped_lock lock(mutex_);
            std::ranges::move(entries, std::back_inserter(entries_));
        }
    });
}

std::optional<DesktopEntries::Entry> DesktopEntries::find(std::string_view windowClass,
                                                          std::string_view applicationId) const {
    const std::scoped_lock lock(mutex_);
    const auto first = [this](auto matches) -> std::optional<Entry> {
        const auto found = std::ranges::find_if(entries_, matches);
        if (found == entries_.end())
            return std::nullopt;
        return *found;
    };
    const auto lowerClass = lowered(windowClass);
    auto result = first([&](const Entry& e) {
        return !e.windowClass.empty() && lowered(e.windowClass) == lowerClass;
    });
    if (!result && !applicationId.empty())
        result = first([&](const Entry& e) { return e.id == applicationId; });
    if (!result)
        result = first([&](const Entry& e) { return lowered(e.id) == lowerClass; });
    if (!result)
        result = first(
            [&](const Entry& e) { return !e.program.empty() && lowered(e.program) == lowerClass; });
    return result;
}

std::map<std::string, std::string> DesktopEntries::names() const {
    const std::scoped_lock lock(mutex_);
    std::map<std::string, std::set<std::string>> all;
    for (const auto& entry : entries_) {
        auto wellKnown = WellKnownApplications::bundleID(entry.id);
        if (!wellKnown)
            wellKnown = WellKnownApplications::bundleID(entry.windowClass);
        all[wellKnown ? std::string(*wellKnown) : entry.id].insert(entry.displayName);
    }
    // A program may also be started by entries for its settings and its parts.
    for (const auto& entry : entries_) {
        const auto wellKnown = WellKnownApplications::bundleID(entry.program);
        if (wellKnown && !all.contains(std::string(*wellKnown)))
            all[std::string(*wellKnown)].insert(entry.displayName);
    }
    std::map<std::string, std::string> names;
    for (const auto& [id, called] : all)
        names.emplace(id, fmt::format("{}", fmt::join(called, ", ")));
    return names;
}

void DesktopEntries::waitUntilRead() {
    queue_.waitUntilIdle();
}

}  // namespace quillet
