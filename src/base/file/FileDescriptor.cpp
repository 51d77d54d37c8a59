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

bool FileDescriptor::sync() const {
    return ::fdatasync(fd_) == 0;
}

}  // namespace quillet
