#pragma once

#include <chrono>
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

    /// The application answers most questions at once; one that does not within this time hangs.
    static constexpr std::chrono::seconds usualWait{10};

    [[nodiscard]] std::expected<nlohmann::json, Failure> call(
        std::string_view method, const nlohmann::json& params,
        std::chrono::seconds longestWait = usualWait) const;

private:
    std::filesystem::path socket_;
};

}  // namespace quillet
