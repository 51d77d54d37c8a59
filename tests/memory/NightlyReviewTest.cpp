#include "memory/NightlyReview.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

namespace quillet::NightlyReview {
namespace {

using nlohmann::json;

State fullState() {
    const auto at = [](double time) {
        return Calendar::UnixTime(std::chrono::duration<double>(time));
    };
    State state;
    state.lastRun = at(1'795'242'607.25);
    state.report = "r";
    state.phoneReviewedUpTo = at(5);
    state.memory = {"p", {"t"}};
    state.suggestions = {{"1", Kind::term, "h", "w", "why", at(1), Status::pending, {"e1", "e2"}},
                         {"2", Kind::fix, "s", "f", "", at(2), Status::dismissed, {}}};
    state.runs = {
        {at(3), 7, 2, {state.suggestions[0]}, {"a", {}}, {"b", {"c"}}, 1, {{"o", "c", 4, "edit"}}}};
    return state;
}

TEST(ReviewState, SurvivesItsFile) {
    const auto record = encode(fullState());
    const auto state = decodeState(json::parse(record.dump()));
    ASSERT_TRUE(state);
    EXPECT_EQ(state->lastRun, fullState().lastRun);
    EXPECT_EQ(state->suggestions[1].status, Status::dismissed);
    EXPECT_EQ(state->runs[0].removed, fullState().runs[0].removed);
    EXPECT_EQ(encode(*state), record);
    EXPECT_EQ(encode(*decodeState(json::object())), encode(State()));
}

TEST(ReviewState, KeepsWhateverCanBeRead) {
    EXPECT_FALSE(decodeState(json::array()));
    auto record = encode(fullState());
    record["lastRun"] = "yesterday";
    record["phoneReviewedUpTo"] = 1e200;
    record["memory"] = {{"profile", 1}, {"terms", {"t", 2}}};
    record["suggestions"][0].erase("entries");
    auto odd = record["suggestions"][0];
    for (const auto& [name, value] : {std::pair("kind", "joke"), {"status", "lost"}, {"id", ""}}) {
        record["suggestions"].push_back(odd);
        record["suggestions"].back()[name] = value;
    }
    record["suggestions"].push_back("x");
    record["runs"].push_back(7);
    record["runs"].push_back({{"reviewed", 1e10}, {"failedParts", -1}, {"found", "x"}});
    const auto state = decodeState(record);
    ASSERT_TRUE(state);
    EXPECT_FALSE(state->lastRun || state->phoneReviewedUpTo);
    EXPECT_EQ(state->memory, (Memory{"", {"t"}}));
    ASSERT_EQ(state->suggestions.size(), 2);
    EXPECT_TRUE(state->suggestions[0].entries.empty());
    ASSERT_EQ(state->runs.size(), 2);
    EXPECT_EQ(state->runs[1].reviewed + state->runs[1].failedParts, 0);
}

}  // namespace
}  // namespace quillet::NightlyReview
