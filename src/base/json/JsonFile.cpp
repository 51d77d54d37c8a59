#include "base/json/JsonFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <cerrno>
#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

namespace quillet {

namespace {

namespace fs = std::filesystem;

class FileDescriptor {
public:
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor() {
        if (fd_ >= 0)
            ::close(fd_);
    }
    FileDescriptor(const FileDescriptor&) = delete;
    FileDescriptor& operator=(const FileDescriptor&) = delete;
    [[nodiscard]] int get() const { return fd_; }
    [[nodiscard]] bool valid() const { return fd_ >= 0; }

private:
    int fd_;
};

bool writeAll(int fd, std::string_view content) {
    while (!content.empty()) {
        const auto written = ::write(fd, content.data(), content.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        content.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

/// Missing folders are made private: what lies in them is what the user said.
void createPrivateFolders(const fs::path& folder) {
    std::error_code ec;
    if (folder.empty() || fs::exists(folder, ec))
        return;
    createPrivateFolders(folder.parent_path());
    ::mkdir(folder.c_str(), 0700);
}

}  // namespace

std::expected<std::string, FileError> readFile(const fs::path& path) {
    std::error_code ec;
    if (!fs::exists(path, ec))
        return std::unexpected(FileError::notFound);
    std::ifstream stream(path, std::ios::binary);
    if (!stream || fs::is_directory(path, ec))
        return std::unexpected(FileError::unreadable);
    std::ostringstream content;
    content << stream.rdbuf();
    if (stream.bad())
        return std::unexpected(FileError::unreadable);
    return std::move(content).str();
}

std::expected<void, FileError> writeFileAtomically(const fs::path& path,
                                                   std::string_view content) {
    // A link is followed: people keep their settings under version control.
    std::error_code ec;
    const fs::path target = fs::is_symlink(path, ec) ? fs::weakly_canonical(path, ec) : path;
    createPrivateFolders(target.parent_path());
    std::string temporary = target.string() + ".XXXXXX";
    const FileDescriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!file.valid())
        return std::unexpected(FileError::unwritable);
    const bool written = writeAll(file.get(), content) && ::fsync(file.get()) == 0 &&
                         ::rename(temporary.c_str(), target.c_str()) == 0;
    if (!written) {
        ::unlink(temporary.c_str());
        return std::unexpected(FileError::unwritable);
    }
    const FileDescriptor folder(
        ::open(target.parent_path().c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC));
    if (folder.valid())
        ::fsync(folder.get());
    return {};
}

std::expected<nlohmann::json, FileError> readJsonFile(const fs::path& path) {
    const auto content = readFile(path);
    if (!content)
        return std::unexpected(content.error());
    auto value = nlohmann::json::parse(*content, nullptr, false);
    if (value.is_discarded())
        return std::unexpected(FileError::malformed);
    return value;
}

std::expected<void, FileError> writeJsonFile(const fs::path& path, const nlohmann::json& value) {
    constexpr auto replaceInvalid = nlohmann::json::error_handler_t::replace;
    return writeFileAtomically(path, value.dump(2, ' ', false, replaceInvalid) + "\n");
}

}  // namespace quillet
