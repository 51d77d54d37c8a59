#pragma once

#include <memory>
#include <string>
#include <string_view>

namespace quillet {

/// The SHA-256 checksum of bytes that come in pieces.
class Sha256 {
public:
    Sha256();
    ~Sha256();
    Sha256(const Sha256&) = delete;
    Sha256& operator=(const Sha256&) = delete;

    void add(std::string_view bytes);
    /// Of all that was added, as 64 small hexadecimal digits; nothing is to be added any more.
    [[nodiscard]] std::string digits();

private:
    struct State;
    std::unique_ptr<State> state_;
};

}  // namespace quillet
