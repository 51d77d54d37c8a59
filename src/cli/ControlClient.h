#pragma once

#include <expected>
#include <filesystem>
#include <nlohmann/json_fwd.hpp>
#include <string>
#include <string_view>

namespace quillet {

/// Asks the running application something and waits for the answer.
class ControlClient {
public:
    struct Failure {
        bool notRunning = false;
        std::string sentence;
    };

    explicit ControlClient(std::filesystem::path socket) : socket_(std::move(socket)) {}

    [[nodiscard]] std::expected<nlohmann::json, Failure> call(std::string_view method,
                                                              const nlohmann::json& params) const;

private:
    std::filesystem::path socket_;
};

}  // namespace quillet
