#include "base/log/Log.h"

#include <spdlog/logger.h>
#include <spdlog/sinks/stdout_sinks.h>

namespace quillet {

namespace {

class StderrLogSink final : public LogSink {
public:
    explicit StderrLogSink(LogLevel least)
        : logger_("quillet", std::make_shared<spdlog::sinks::stderr_sink_mt>()) {
        logger_.set_pattern("%H:%M:%S.%e %l %v");
        logger_.set_level(translated(least));
        logger_.flush_on(spdlog::level::trace);
    }

    void write(LogLevel level, std::string_view category, std::string_view line) override {
        logger_.log(translated(level), "{}: {}", category, line);
    }

private:
    static spdlog::level::level_enum translated(LogLevel level) {
        switch (level) {
            case LogLevel::debug:
                return spdlog::level::debug;
            case LogLevel::info:
                return spdlog::level::info;
            case LogLevel::error:
                return spdlog::level::err;
        }
        return spdlog::level::err;
    }

    spdlog::logger logger_;
};

class NullLogSink final : public LogSink {
public:
    void write(LogLevel, std::string_view, std::string_view) override {}
};

}  // namespace

void Log::write(LogLevel level, fmt::string_view format, fmt::format_args args) const {
    sink_->write(level, category_, fmt::vformat(format, args));
}

std::shared_ptr<LogSink> makeStderrLogSink(LogLevel least) {
    return std::make_shared<StderrLogSink>(least);
}

std::shared_ptr<LogSink> makeNullLogSink() {
    return std::make_shared<NullLogSink>();
}

}  // namespace quillet
