#include "Tools.h"
#include "mcp/ToolTime.h"

#include <random>

namespace quillet::world {
namespace {

using nlohmann::json;

TEST_F(Tools, AreDefinedAsClientsExpect) {
    const auto definitions = MCPTools::toolDefinitions();
    std::string names;
    for (const auto& one : definitions) {
        names += one.at("name").get<std::string>() + " ";
        const auto& schema = one.at("inputSchema");
        EXPECT_EQ(schema.at("type"), "object");
        EXPECT_TRUE(schema.at("properties").is_object() && schema.at("required").is_array());
        for (const std::string name : schema.at("required"))
            EXPECT_TRUE(schema["properties"].contains(name)) << name;
    }
    EXPECT_EQ(names,
              "get_transcripts wait_for_dictation list_meetings read_meeting search_meetings "
              "search_memory list_knowledge read_knowledge list_recordings transcribe_recording "
              "transcribe_file get_vocabulary add_vocabulary get_nightly_review "
              "run_nightly_review dictate insert_text ");
    const auto& kinds = definitions[5]["inputSchema"]["properties"]["kinds"];
    EXPECT_EQ(kinds["items"], json::parse(R"({"type": "string",
        "enum": ["dictation", "live", "meeting", "knowledge"]})"));
    EXPECT_EQ(refusal("get_transcript"), "Unknown tool get_transcript");
}

TEST_F(Tools, SayWhatIsWrongWithArguments) {
    const std::string time = " must be an ISO 8601 time like 2026-10-13T09:00:00Z";
    const std::string kinds =
        "'kinds' must be an array of these strings: dictation, live, meeting, knowledge";
    EXPECT_EQ(refusal("get_transcripts", {{"limit", "20"}}), "'limit' must be an integer");
    EXPECT_EQ(refusal("get_transcripts", {{"limit", 2.5}}), "'limit' must be an integer");
    EXPECT_EQ(refusal("get_transcripts", {{"since", "yesterday"}}), "'since'" + time);
    EXPECT_EQ(refusal("wait_for_dictation", {{"after", 5}}), "'after'" + time);
    EXPECT_EQ(refusal("search_memory", {{"query", "x"}, {"until", ""}}), "'until'" + time);
    EXPECT_EQ(refusal("search_memory", {{"query", "x"}, {"kinds", {"note"}}}), kinds);
    EXPECT_EQ(refusal("search_memory", {{"query", "x"}, {"kinds", "live"}}), kinds);
    EXPECT_EQ(refusal("read_meeting", {{"name", 1}}), "'name' must be a string");
    EXPECT_EQ(text("get_transcripts", {{"limit", 20.0}, {"since", nullptr}, {"offset", "unknown"}}),
              "[]");
    EXPECT_EQ(text("get_transcripts", {{"limit", 1e300}}), "[]");
}

TEST_F(Tools, ThatControlNeedPermission) {
    for (const std::string name :
         {"add_vocabulary", "run_nightly_review", "dictate", "insert_text"})
        EXPECT_TRUE(refusal(name, {{"heard", "git hub"}, {"written", "GitHub"}, {"text", "x"}})
                        .starts_with("Not allowed: the user has to turn on \"Allow AI to record"));
    EXPECT_EQ(text("get_vocabulary"), "[]");
    EXPECT_EQ(world.field(), "");
    EXPECT_EQ(world.state(), RecognitionState::idle);
}

TEST(ToolTime, IsReadInAnyZoneAndNeverWithoutOne) {
    const auto noon = timeOfIso("2026-10-13T12:00:00Z");
    ASSERT_TRUE(noon);
    EXPECT_EQ(isoText(*noon), "2026-10-13T12:00:00.000Z");
    for (const auto* same :
         {"2026-10-13T20:00:00+08:00", "2026-10-13T20:00:00.000+0800", "2026-10-13t12:00z",
          "2026-10-13 07:00:00,0-05", "2026-10-12T12:30:00-23:30"})
        EXPECT_EQ(timeOfIso(same), noon) << same;
    for (const auto* none :
         {"", "2026-10-13", "2026-10-13T12:00:00", "2026-02-29T12:00:00Z", "2026-10-13T24:00:00Z",
          "2026-10-13T12:60:00Z", "2026-10-13T12:00:61Z", "2026-10-13T12:00:00+24:00",
          "2026-10-13T12:00:00+8:00", "2026-10-13T12:00:00Z ", "2026-10-13T12:00:00.Z",
          "26-10-13T12:00:00Z", "2026-10-13T12:00:00+08:", "2026-10-13T12:00:00+08:0x"})
        EXPECT_FALSE(timeOfIso(none)) << none;
    EXPECT_EQ(isoText(Calendar::UnixTime(std::chrono::duration<double>(1.7999999))),
              "1970-01-01T00:00:01.799Z");
    EXPECT_EQ(isoText(Calendar::UnixTime(std::chrono::duration<double>(1e300))),
              "9999-12-31T00:00:00.000Z");
}

TEST(ToolTime, PassedBackIsNeverAMillisecondEarlier) {
    std::mt19937_64 random(3);
    std::uniform_real_distribution<double> seconds(1.6e9, 2.1e9);
    for (int i = 0; i < 20'000; ++i) {
        // Every other one just below a whole millisecond, where rounding is hardest.
        auto time = seconds(random);
        if (i % 2 == 1)
            time = std::nextafter(std::floor(time * 1'000) / 1'000, 0);
        const auto back =
            timeOfIso(isoText(Calendar::UnixTime(std::chrono::duration<double>(time))));
        ASSERT_TRUE(back);
        ASSERT_LE(time - back->time_since_epoch().count(), 0.001) << time;
        ASSERT_GE(time - back->time_since_epoch().count(), -1e-6) << time;
    }
}

}  // namespace
}  // namespace quillet::world
