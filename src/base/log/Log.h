#pragma once

#include <fmt/format.h>

#include <functional>
#include <memory>
#include <string>
#include <string_view>

namespace quillet {

enum class LogLevel { debug, info, error };

/// Where log lines go. Called from any thread, so an implementation locks for itself.
class LogSink {
public:
    virtual ~LogSink() = default;
    virtual void write(LogLevel level, std::string_view category, std::string_view line) = 0;
};

/// One category's view of a sink. Cheap to copy; thread-safe.
///
/// What the user said or typed goes through `hidden`, so that a log can be shown to others:
///     log.info("Commit: {}", log.hidden(text));
class Log {
public:
    enum class PrivateText { hide, show };

    Log(std::shared_ptr<LogSink> sink, PrivateText privateText, std::string category = "app")
        : sink_(std::move(sink)), privateText_(privateText), category_(std::move(category)) {}

    [[nodiscard]] Log category(std::string name) const {
        return {sink_, privateText_, std::move(name)};
    }

    template <class... Args>
    void debug(fmt::format_string<Args...> format, Args&&... args) const {
        write(LogLevel::debug, format, fmt::make_format_args(args...));
    }
    template <class... Args>
    void info(fmt::format_string<Args...> format, Args&&... args) const {
        write(LogLevel::info, format, fmt::make_format_args(args...));
    }
    template <class... Args>
    void error(fmt::format_string<Args...> format, Args&&... args) const {
        write(LogLevel::error, format, fmt::make_format_args(args...));
    }

    /// The text itself where private text is shown, else "<private>".
    [[nodiscard]] std::string_view hidden(std::string_view text) const {
        return privateText_ == PrivateText::show ? text : "<private>";
    }

private:
    void write(LogLevel level, fmt::string_view format, fmt::format_args args) const;

    std::shared_ptr<LogSink> sink_;
    PrivateText privateText_;
    std::string category_;
};

/// Lines to standard error, "HH:MM:SS.mmm level category: line". Lines below `least` are left out.
[[nodiscard]] std::shared_ptr<LogSink> makeStderrLogSink(LogLevel least);
/// Throws every line away.
[[nodiscard]] std::shared_ptr<LogSink> makeNullLogSink();

}  // namespace quillet
