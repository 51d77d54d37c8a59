#pragma once

#include <sys/resource.h>

#include <csignal>

namespace quillet::world {

/// While it lives, no file of this process can grow beyond so many bytes: writing more fails, as on
/// a disk that is full.
class FullDisk {
public:
    explicit FullDisk(rlim_t bytes) : oldHandler_(std::signal(SIGXFSZ, SIG_IGN)) {
        ::getrlimit(RLIMIT_FSIZE, &old_);
        const rlimit limit{bytes, old_.rlim_max};
        ::setrlimit(RLIMIT_FSIZE, &limit);
    }
    ~FullDisk() {
        ::setrlimit(RLIMIT_FSIZE, &old_);
        std::signal(SIGXFSZ, oldHandler_);
    }
    FullDisk(const FullDisk&) = delete;
    FullDisk& operator=(const FullDisk&) = delete;

private:
    rlimit old_{};
    void (*oldHandler_)(int);
};

}  // namespace quillet::world
