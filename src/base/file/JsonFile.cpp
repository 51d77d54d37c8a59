#include "base/file/JsonFile.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <fstream>
#include <nlohmann/json.hpp>
#include <sstream>

#include "base/file/FileDescriptor.h"

namespace quillet {

namespace {

namespace fs = std::filesystem;

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

std::expected<void, FileError> writeFileAtomically(const fs::path& path, std::string_view content) {
    // A link is followed: people keep their settings under version control.
    std::error_code ec;
    const fs::path target = fs::is_symlink(path, ec) ? fs::weakly_canonical(path, ec) : path;
    createPrivateFolders(target.parent_path());
    std::string temporary = target.string() + ".XXXXXX";
    const FileDescriptor file(::mkostemp(temporary.data(), O_CLOEXEC));
    if (!file.valid())
        return std::unexpected(FileError::unwritable);
    const bool written =
        file.writeAll(content) && file.sync() && ::rename(temporary.c_str(), target.c_str()) == 0;
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
