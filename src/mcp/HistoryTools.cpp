#include <asio/experimental/awaitable_operators.hpp>

#include "base/text/JsonString.h"
#include "mcp/ToolArguments.h"
#include "mcp/ToolResult.h"
#include "mcp/ToolTime.h"

namespace quillet {

using namespace asio::experimental::awaitable_operators;
using namespace std::chrono_literals;

namespace {

constexpr int mostWaits = 4;
/// Entries of other processes are not told of; so often a waiting call looks by itself.
constexpr auto longestBlindness = 5s;
/// What one wait returns; the next one, from the last entry's time on, goes on there.
constexpr int mostEntriesOfWait = 200;

/// How much longer than its texts an entry is when written.
constexpr std::size_t roomForNames = 200;
constexpr std::size_t usualRoom = 16 * std::size_t{1024};
/// What is larger takes more time to write than other calls should wait.
constexpr std::size_t mostWrittenAtOnce = 64 * std::size_t{1024};

void appendMember(std::string& json, std::string_view before, std::string_view value) {
    json += before;
    appendNestedJsonString(json, value);
}

/// As it stands in a JSON string; see `Entries`.
void append(std::string& json, const HistoryReader::Row& entry) {
    appendMember(json, R"(\n  {\n    \"app\": )", entry.appName);
    appendMember(json, R"(,\n    \"heard\": )", entry.rawText);
    appendMember(json, R"(,\n    \"id\": )", entry.id);
    if (entry.replaces)
        appendMember(json, R"(,\n    \"replaces\": )", *entry.replaces);
    appendMember(json, R"(,\n    \"text\": )", entry.finalText);
    appendMember(json, R"(,\n    \"time\": )", isoText(entry.timestamp));
    json += R"(\n  })";
}

/// The result that clients ask for most, so it is written by hand, at once as the JSON string that
/// it is sent as: pretty-printed with sorted keys, as the other results are.
class Entries {
public:
    explicit Entries(std::size_t room) { json_.reserve(room); }

    void add(const HistoryReader::Row& entry) {
        json_ += isEmpty() ? R"("[)" : ",";
        append(json_, entry);
    }
    [[nodiscard]] bool isEmpty() const { return json_.empty(); }
    [[nodiscard]] std::size_t size() const { return json_.size(); }

    [[nodiscard]] MCPTools::Result result() && {
        if (isEmpty())
            return tool_result::text("[]");
        return {.text = std::move(json_) + R"(\n]")", .isQuoted = true};
    }

private:
    std::string json_;
};

HistoryReader::Row rowOf(const TranscriptEntry& entry) {
    return {.id = entry.id,
            .timestamp = entry.timestamp,
            .rawText = entry.rawText,
            .finalText = entry.finalText,
            .appName = entry.appName ? std::string_view(*entry.appName) : std::string_view(),
            .replaces = entry.replaces};
}

std::size_t roomFor(const std::vector<TranscriptEntry>& entries) {
    std::size_t size = 0;
    for (const auto& entry : entries)
        size += entry.rawText.size() + entry.finalText.size() + roomForNames;
    return size;
}

MCPTools::Result written(const std::vector<TranscriptEntry>& read) {
    Entries entries(roomFor(read));
    for (const auto& entry : read)
        entries.add(rowOf(entry));
    return std::move(entries).result();
}

/// The latest entries, read and written without another thread; none when they cannot be had so, or
/// there are none, or they are too long.
std::optional<MCPTools::Result> writtenHere(HistoryReader& reader, int limit,
                                            std::optional<Calendar::UnixTime> after) {
    Entries entries(usualRoom);
    const bool isRead = reader.newest(limit, after, [&entries](const HistoryReader::Row& entry) {
        entries.add(entry);
        return entries.size() <= mostWrittenAtOnce;
    });
    if (!isRead || entries.isEmpty() || entries.size() > mostWrittenAtOnce)
        return std::nullopt;
    return std::move(entries).result();
}

/// The same, of much text on the queue.
asio::awaitable<MCPTools::Result> writtenOn(SerialQueue& queue,
                                            std::vector<TranscriptEntry> entries) {
    if (roomFor(entries) <= mostWrittenAtOnce)
        co_return written(entries);
    auto write = [&entries] { return written(entries); };
    co_return co_await queue.run(std::move(write));
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
    const auto limit = static_cast<int>(arguments.integer("limit"));
    const auto since = arguments.time("since");
    if (auto result = writtenHere(*recent_, limit, since))
        co_return std::move(*result);
    auto entries = co_await services_.history.newest(limit, since);
    if (entries.empty()) {
        if (auto problem = co_await historyProblem())
            co_return std::move(*problem);
    }
    co_return co_await writtenOn(services_.meetings.queue(), std::move(entries));
}

asio::awaitable<std::optional<MCPTools::Result>> MCPTools::historyProblem() {
    if (!co_await services_.history.lastError())
        co_return std::nullopt;
    co_return tool_result::failure("The history cannot be read — quillet doctor says why");
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
        if (entries.empty()) {
            if (auto problem = co_await historyProblem())
                co_return std::move(*problem);
        }
        if (!entries.empty() || services_.scheduler.now() >= deadline)
            co_return co_await writtenOn(services_.meetings.queue(), std::move(entries));
        if (seen == news_->generation)
            co_await (news_->arrived.wait() ||
                      services_.scheduler.asyncSleepUntil(
                          std::min(services_.scheduler.now() + longestBlindness, deadline),
                          asio::use_awaitable));
    }
}

}  // namespace quillet
