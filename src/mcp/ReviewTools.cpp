#include <algorithm>
#include <ranges>

#include "base/async/OnLoop.h"
#include "mcp/ToolArguments.h"
#include "mcp/ToolResult.h"
#include "mcp/ToolTime.h"

namespace quillet {

using namespace NightlyReview;
using nlohmann::json;

namespace {

constexpr std::size_t mostRunsShown = 10;

json written(const Memory& memory) {
    return {{"profile", memory.profile}, {"terms", memory.terms}};
}

json asPair(const Suggestion& one) {
    return {{"heard", one.heard}, {"written", one.written}, {"reason", one.reason}};
}

json written(const Run& run) {
    json learned = json::array();
    json asked = json::array();
    json fixes = json::array();
    for (const auto& one : run.found) {
        if (one.kind == Kind::fix)
            fixes.push_back({{"sent", one.heard}, {"fixed", one.written}, {"reason", one.reason}});
        else
            (one.status == Status::learned ? learned : asked).push_back(asPair(one));
    }
    json record = {{"time", isoText(run.date)},
                   {"reviewed", run.reviewed},
                   {"from_iphone", run.fromPhone},
                   {"learned", std::move(learned)},
                   {"asked", std::move(asked)},
                   {"fixes", std::move(fixes)},
                   {"memory_before", written(run.memoryBefore)},
                   {"memory_after", written(run.memoryAfter)}};
    if (run.failedParts > 0)
        record["parts_unanswered"] = run.failedParts;
    return record;
}

MCPTools::Result written(const State& state) {
    if (state.runs.empty() && !state.lastRun)
        return tool_result::text("No review yet");
    json runs = json::array();
    for (const auto& run : state.runs | std::views::reverse | std::views::take(mostRunsShown))
        runs.push_back(written(run));
    json waiting = json::array();
    for (const auto& one : state.suggestions) {
        if (one.status == Status::pending)
            waiting.push_back(asPair(one));
    }
    return tool_result::json({{"report", state.report.value_or("")},
                              {"runs", std::move(runs)},
                              {"waiting_for_user", std::move(waiting)}});
}

asio::awaitable<MCPTools::Result> show(NightlyReviewer& reviewer) {
    co_await reviewer.ledger().load();
    co_return written(reviewer.state());
}

asio::awaitable<MCPTools::Result> review(AppSettings& settings, NightlyReviewer& reviewer) {
    if (!settings.record().nightlyReview || !settings.record().rememberWhatISay)
        co_return tool_result::failure("The nightly review is off in Settings");
    const auto run = co_await reviewer.run();
    if (!run)
        co_return tool_result::failure(run.error());
    if (!*run)
        co_return tool_result::text("Nothing new to review");
    co_return tool_result::json(written(**run));
}

}  // namespace

asio::awaitable<MCPTools::Result> MCPTools::getNightlyReview(const ToolArguments&) {
    co_return co_await onLoop(services_.main, show(services_.reviewer));
}

asio::awaitable<MCPTools::Result> MCPTools::runNightlyReview(const ToolArguments&) {
    co_return co_await onLoop(services_.main, review(services_.settings, services_.reviewer));
}

}  // namespace quillet
