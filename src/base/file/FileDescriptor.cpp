#include "base/file/FileDescriptor.h"

#include <unistd.h>

#include <cerrno>

namespace quillet {

void FileDescriptor::close() {
    if (fd_ >= 0)
        ::close(fd_);
    fd_ = -1;
}

bool FileDescriptor::writeAll(std::string_view bytes) const {
    while (!bytes.empty()) {
        const auto written = ::write(fd_, bytes.data(), bytes.size());
        if (written < 0 && errno == EINTR)
            continue;
        if (written <= 0)
            return false;
        bytes.remove_prefix(static_cast<std::size_t>(written));
    }
    return true;
}

std::optional<std::string> FileDescriptor::read(std::size_t most) const {
    std::string content(most, '\0');
    std::size_t size = 0;
    while (size < most) {
        const auto got =
            ::pread(fd_, content.data() + size, most - size, static_cast<::off_t>(size));
        if (got < 0 && errno == EINTR)
            continue;
        if (got < 0)
            return std::nullopt;
        if (got == 0)
            break;
        size += static_cast<std::size_t>(got);
    }
    content.resize(size);
    return content;
}

bool FileDescriptor::sync() const {
    return ::fdatasync(fd_) == 0;
}

}  // namespace quillet
