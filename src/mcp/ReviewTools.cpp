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
    for (const auto& run : state.runs | std::views::reverse)
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

/// That part of the state which is shown.
asio::awaitable<State> shown(NightlyReviewer& reviewer) {
    co_await reviewer.ledger().load();
    const auto& state = reviewer.state();
    State part;
    part.lastRun = state.lastRun;
    part.report = state.report;
    part.suggestions = state.suggestions;
    const auto count = std::min(state.runs.size(), mostRunsShown);
    part.runs.assign(state.runs.end() - static_cast<std::ptrdiff_t>(count), state.runs.end());
    co_return part;
}

asio::awaitable<NightlyReviewer::Reviewed> review(AppSettings& settings,
                                                  NightlyReviewer& reviewer) {
    if (!settings.record().nightlyReview || !settings.record().rememberWhatISay)
        co_return std::unexpected("The nightly review is off in Settings");
    co_return co_await reviewer.run();
}

}  // namespace

asio::awaitable<MCPTools::Result> MCPTools::getNightlyReview(const ToolArguments&) {
    const auto state = co_await onLoop(services_.main, shown(services_.reviewer));
    auto write = [&state] { return written(state); };
    co_return co_await services_.meetings.queue().run(std::move(write));
}

asio::awaitable<MCPTools::Result> MCPTools::runNightlyReview(const ToolArguments&) {
    const auto run =
        co_await onLoop(services_.main, review(services_.settings, services_.reviewer));
    if (!run)
        co_return tool_result::failure(run.error());
    if (!*run)
        co_return tool_result::text("Nothing new to review");
    auto write = [&run] { return tool_result::json(written(**run)); };
    co_return co_await services_.meetings.queue().run(std::move(write));
}

}  // namespace quillet
