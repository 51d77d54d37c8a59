#pragma once

#include <stdlib.h>

#include <filesystem>
#include <string>

namespace quillet::world {

/// A folder that goes away with everything in it; in memory, where the system has such a place.
class TemporaryFolder {
public:
    TemporaryFolder() {
        std::error_code ec;
        const std::filesystem::path memory = "/dev/shm";
        const auto parent = std::filesystem::is_directory(memory, ec)
                                ? memory
                                : std::filesystem::temp_directory_path();
        std::string pattern = (parent / "quillet.XXXXXX").string();
        path_ = ::mkdtemp(pattern.data());
    }
    ~TemporaryFolder() {
        std::error_code ec;
        std::filesystem::remove_all(path_, ec);
    }
    TemporaryFolder(const TemporaryFolder&) = delete;
    TemporaryFolder& operator=(const TemporaryFolder&) = delete;

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

private:
    std::filesystem::path path_;
};

}  // namespace quillet::world
