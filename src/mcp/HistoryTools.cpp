#include <asio/experimental/awaitable_operators.hpp>

#include "mcp/ToolArguments.h"
#include "mcp/ToolResult.h"
#include "mcp/ToolTime.h"

namespace quillet {

using namespace asio::experimental::awaitable_operators;
using namespace std::chrono_literals;
using nlohmann::json;

namespace {

constexpr int mostWaits = 4;
/// Entries of other processes are not told of; so often a waiting call looks by itself.
constexpr auto longestBlindness = 5s;
/// What one wait returns; the next one, from the last entry's time on, goes on there.
constexpr int mostEntriesOfWait = 200;

MCPTools::Result written(std::vector<TranscriptEntry>&& entries) {
    json list = json::array();
    for (auto& entry : entries) {
        json one;
        one["id"] = std::move(entry.id);
        one["time"] = isoText(entry.timestamp);
        one["app"] = std::move(entry.appName).value_or("");
        one["heard"] = std::move(entry.rawText);
        one["text"] = std::move(entry.finalText);
        if (entry.replaces)
            one["replaces"] = std::move(*entry.replaces);
        list.push_back(std::move(one));
    }
    return tool_result::json(list);
}

/// One of the waits that are open, as long as this lives.
template <class Waits>
class OpenWait {
public:
    explicit OpenWait(Waits& waits) : waits_(waits) {
        const std::scoped_lock guard(waits_.lock);
        isAccepted_ = waits_.open < mostWaits;
        waits_.open += isAccepted_ ? 1 : 0;
    }
    ~OpenWait() {
        const std::scoped_lock guard(waits_.lock);
        waits_.open -= isAccepted_ ? 1 : 0;
    }
    OpenWait(const OpenWait&) = delete;
    OpenWait& operator=(const OpenWait&) = delete;

    [[nodiscard]] bool isAccepted() const { return isAccepted_; }

private:
    Waits& waits_;
    bool isAccepted_ = false;
};

}  // namespace

asio::awaitable<MCPTools::Result> MCPTools::getTranscripts(const ToolArguments& arguments) {
    auto entries = co_await services_.history.newest(static_cast<int>(arguments.integer("limit")),
                                                     arguments.time("since"));
    co_return written(std::move(entries));
}

asio::awaitable<MCPTools::Result> MCPTools::waitForDictation(const ToolArguments& arguments) {
    const auto after = arguments.time("after").value_or(services_.calendar.now());
    const auto deadline =
        services_.scheduler.now() + std::chrono::seconds(arguments.integer("timeout_seconds"));
    const OpenWait wait(waits_);
    if (!wait.isAccepted())
        co_return tool_result::failure("Already 4 waits open — let one return first");
    while (true) {
        const auto seen = news_->generation;
        auto entries = co_await services_.history.firstAfter(after, mostEntriesOfWait);
        if (!entries.empty() || services_.scheduler.now() >= deadline)
            co_return written(std::move(entries));
        if (seen == news_->generation)
            co_await (news_->arrived.wait() ||
                      services_.scheduler.asyncSleepUntil(
                          std::min(services_.scheduler.now() + longestBlindness, deadline),
                          asio::use_awaitable));
    }
}

}  // namespace quillet
