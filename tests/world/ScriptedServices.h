#pragma once

#include <algorithm>
#include <map>
#include <mutex>
#include <string>
#include <vector>

#include "app/FloatingPanel.h"
#include "base/log/Log.h"
#include "platform/Keychain.h"

namespace quillet::world {

class ScriptedKeychain final : public Keychain {
public:
    asio::awaitable<std::expected<std::string, Error>> read(std::string name) override {
        if (error)
            co_return std::unexpected(*error);
        const auto found = secrets.find(name);
        if (found == secrets.end())
            co_return std::unexpected(Error::notFound);
        co_return found->second;
    }
    asio::awaitable<std::expected<void, Error>> write(std::string name,
                                                      std::string value) override {
        if (error)
            co_return std::unexpected(*error);
        secrets[name] = std::move(value);
        co_return std::expected<void, Error>();
    }
    asio::awaitable<std::expected<void, Error>> unlock() override {
        co_return std::expected<void, Error>();
    }

    std::map<std::string, std::string> secrets;
    std::optional<Error> error;
};

/// Remembers what was shown.
class ScriptedPanel final : public FloatingPanel {
public:
    void showRecording(std::string banner, std::optional<DesktopRect>) override {
        showing = "recording";
        banners.push_back(std::move(banner));
    }
    void avoid(DesktopRect caret) override { avoided.push_back(caret); }
    void setBanner(std::string banner) override { banners.push_back(std::move(banner)); }
    void setLevel(float level) override { loudest = std::max(loudest, level); }
    void setPartialText(std::string text) override { partialText = std::move(text); }
    void showWorking(std::string) override { showing = "working"; }
    void showCountdown(std::chrono::milliseconds time) override { countdown = time; }
    void hideCountdown() override { countdown.reset(); }
    void showNotice(std::string text) override { notices.push_back(std::move(text)); }
    void hide() override { showing.clear(); }

    [[nodiscard]] std::string lastNotice() const { return notices.empty() ? "" : notices.back(); }

    std::string showing;
    std::string partialText;
    std::optional<std::chrono::milliseconds> countdown;
    std::vector<std::string> banners;
    std::vector<DesktopRect> avoided;
    std::vector<std::string> notices;
    float loudest = 0;
};

/// Keeps the log's lines for the story to look at.
class RecordingLogSink final : public LogSink {
public:
    void write(LogLevel, std::string_view, std::string_view line) override {
        const std::scoped_lock lock(mutex_);
        lines_.emplace_back(line);
    }
    void forget() {
        const std::scoped_lock lock(mutex_);
        lines_.clear();
    }
    [[nodiscard]] bool has(std::string_view part) const {
        const std::scoped_lock lock(mutex_);
        return std::ranges::any_of(lines_, [part](const std::string& line) {
            return line.find(part) != std::string::npos;
        });
    }

private:
    mutable std::mutex mutex_;
    std::vector<std::string> lines_;
};

}  // namespace quillet::world
