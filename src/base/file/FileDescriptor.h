#pragma once

#include <cstddef>
#include <optional>
#include <string>
#include <string_view>
#include <utility>

namespace quillet {

/// Owns an open file.
class FileDescriptor {
public:
    FileDescriptor() = default;
    explicit FileDescriptor(int fd) : fd_(fd) {}
    ~FileDescriptor() { close(); }
    FileDescriptor(FileDescriptor&& other) noexcept : fd_(std::exchange(other.fd_, -1)) {}
    FileDescriptor& operator=(FileDescriptor&& other) noexcept {
        std::swap(fd_, other.fd_);
        return *this;
    }

    [[nodiscard]] int get() const { return fd_; }
    [[nodiscard]] bool valid() const { return fd_ >= 0; }
    void close();
    /// Gives the descriptor away.
    [[nodiscard]] int release() { return std::exchange(fd_, -1); }

    /// Writes all of it, however often the system takes only a part.
    [[nodiscard]] bool writeAll(std::string_view bytes) const;
    /// What a file holds from its begin on, at most so many bytes; none where it cannot be read.
    [[nodiscard]] std::optional<std::string> read(std::size_t most) const;
    /// Forces what was written to the disk.
    [[nodiscard]] bool sync() const;

private:
    int fd_ = -1;
};

}  // namespace quillet
