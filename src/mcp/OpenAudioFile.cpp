#include "mcp/OpenAudioFile.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <array>
#include <climits>
#include <optional>
#include <utility>

#include "base/text/Text.h"

namespace quillet {

namespace {

constexpr std::array<std::string_view, 9> audioExtensions = {"m4a", "mp4",  "mp3",  "wav", "flac",
                                                             "ogg", "opus", "webm", "aac"};
constexpr int mostLinks = 40;

/// What stands behind the last dot of a path's last part.
std::string_view extensionOf(std::string_view path) {
    const auto name = path.substr(path.rfind('/') + 1);
    const auto dot = name.rfind('.');
    return dot == std::string_view::npos || dot == 0 ? std::string_view() : name.substr(dot + 1);
}

bool isAudio(std::string_view extension) {
    return std::ranges::find(audioExtensions, asciiLowered(extension)) != audioExtensions.end();
}

std::optional<std::string> targetOf(const FileDescriptor& link) {
    std::string target(PATH_MAX, '\0');
    const auto size = ::readlinkat(link.get(), "", target.data(), target.size());
    if (size <= 0 || std::cmp_greater_equal(size, target.size()))
        return std::nullopt;
    target.resize(static_cast<std::size_t>(size));
    return target;
}

/// As the system has it.
bool isTooLong(std::string_view path) {
    return path.size() >= PATH_MAX;
}

bool mayBeListed(const FileDescriptor& folder) {
    return FileDescriptor(::openat(folder.get(), ".", O_RDONLY | O_DIRECTORY | O_CLOEXEC)).valid();
}

bool isRegular(const FileDescriptor& file) {
    struct ::stat info{};
    return file.valid() && ::fstat(file.get(), &info) == 0 && S_ISREG(info.st_mode);
}

/// Walks along a path, one part after another, with each of them in its hand, so that nobody can
/// put another one in its place.
class Walk {
public:
    explicit Walk(std::string_view path) : path_(path) { startAtRoot(); }

    /// To the end of the path; false where there is nothing, or nothing that may be reached.
    bool toEnd() {
        while (at_ < path_.size()) {
            if (!step())
                return false;
        }
        return true;
    }
    /// What was reached, to be read, where it is a regular file.
    [[nodiscard]] FileDescriptor open() const {
        if (!isRegular(here_))
            return {};
        FileDescriptor file(
            ::openat(folder_.get(), name_.c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
        return isRegular(file) ? std::move(file) : FileDescriptor();
    }
    /// What was reached is called.
    [[nodiscard]] const std::string& name() const { return name_; }

private:
    void startAtRoot() { here_ = FileDescriptor(::open("/", O_PATH | O_DIRECTORY | O_CLOEXEC)); }

    bool step() {
        const auto end = std::min(path_.find('/', at_), path_.size());
        name_ = path_.substr(at_, end - at_);
        // A name that a slash follows is a folder's.
        at_ = std::min(end + 1, path_.size());
        if (name_.empty())
            return true;
        FileDescriptor next(::openat(here_.get(), name_.c_str(), O_PATH | O_NOFOLLOW | O_CLOEXEC));
        struct ::stat info{};
        if (!next.valid() || ::fstat(next.get(), &info) != 0)
            return false;
        if (S_ISLNK(info.st_mode))
            return follow(next);
        folder_ = std::exchange(here_, std::move(next));
        return true;
    }

    bool follow(const FileDescriptor& link) {
        auto target = targetOf(link);
        if (!target || ++links_ > mostLinks || !mayBeListed(here_))
            return false;
        if (target->starts_with('/'))
            startAtRoot();
        if (at_ < path_.size())
            *target += '/' + path_.substr(at_);
        path_ = std::move(*target);
        at_ = 0;
        return !isTooLong(path_);
    }

    std::string path_;
    std::size_t at_ = 0;  // where that part of it begins that is not walked yet
    std::string name_;
    FileDescriptor here_;
    FileDescriptor folder_;  // which what is here lies in
    int links_ = 0;
};

}  // namespace

std::expected<AgentControl::AudioFile, std::string> openAudioFile(std::string_view path) {
    const auto nothing = [] { return std::unexpected("No audio file at that path"); };
    const auto notAudio = [](std::string_view extension) {
        return std::unexpected(fmt::format("Not an audio file ({})", extension));
    };
    if (!path.starts_with('/'))
        return std::unexpected("Give an absolute path");
    if (path.contains('\0') || isTooLong(path))
        return nothing();
    if (!isAudio(extensionOf(path)))
        return notAudio(extensionOf(path));
    Walk walk(path);
    if (!walk.toEnd())
        return nothing();
    auto file = walk.open();
    struct ::stat info{};
    if (!file.valid() || ::fstat(file.get(), &info) != 0)
        return nothing();
    if (!isAudio(extensionOf(walk.name())))
        return notAudio(extensionOf(walk.name()));
    // So are those whose content the system makes up.
    if (info.st_size == 0)
        return std::unexpected("The file is empty");
    if (info.st_size > largestAudioFile)
        return std::unexpected("The file is over 25 MB");
    return AgentControl::AudioFile{std::move(file), info.st_size,
                                   asciiLowered(extensionOf(walk.name()))};
}

}  // namespace quillet
