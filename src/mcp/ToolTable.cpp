#include <nlohmann/json.hpp>

#include "mcp/MemorySearch.h"
#include "mcp/Tool.h"

namespace quillet {

using nlohmann::json;

namespace {

using Need = ToolProperty::Need;
using Type = ToolProperty::Type;

ToolProperty text(std::string_view name, Need need, std::string_view description = {}) {
    return {name, Type::text, description, need, {}, {}};
}

ToolProperty integer(std::string_view name, ToolProperty::Range range,
                     std::string_view description) {
    return {name, Type::integer, description, Need::optional, range, {}};
}

ToolProperty time(std::string_view name, std::string_view description) {
    return {name, Type::time, description, Need::optional, {}, {}};
}

ToolProperty choice(std::string_view name, std::vector<std::string_view> choices,
                    std::string_view description) {
    return {name, Type::choice, description, Need::optional, {}, std::move(choices)};
}

std::string_view schemaType(Type type) {
    switch (type) {
        case Type::text:
        case Type::time:
            return "string";
        case Type::integer:
            return "integer";
        case Type::choice:
            return "array";
    }
    return {};
}

json schemaOf(const ToolProperty& property) {
    json schema = {{"type", schemaType(property.type)}};
    if (!property.description.empty())
        schema["description"] = property.description;
    if (property.type == Type::choice)
        schema["items"] = {{"type", "string"}, {"enum", property.choices}};
    return schema;
}

json schemaOf(const std::vector<ToolProperty>& properties) {
    json schema = {{"type", "object"}, {"properties", json::object()}, {"required", json::array()}};
    for (const auto& property : properties) {
        schema["properties"][property.name] = schemaOf(property);
        if (property.need == Need::required)
            schema["required"].push_back(property.name);
    }
    return schema;
}

}  // namespace

json MCPTools::toolDefinitions() {
    json definitions = json::array();
    for (const auto& tool : tools())
        definitions.push_back({{"name", tool.name},
                               {"description", tool.description},
                               {"inputSchema", schemaOf(tool.properties)}});
    return definitions;
}

const std::vector<MCPTools::Tool>& MCPTools::tools() {
    using Access = Tool::Access;
    static const std::vector<Tool> all = {
        {"get_transcripts",
         "Recent dictations, newest first: when, in which app, what speech recognition heard "
         "('heard') and the text that was inserted ('text').",
         {integer("limit", {1, 200, 20}, "How many (1–200, default 20)"),
          time("since", "Only after this ISO 8601 time")},
         Access::reads,
         &MCPTools::getTranscripts},
        {"wait_for_dictation",
         "A live feed of what the user dictates: waits until they dictate something new, then "
         "returns it (same fields as get_transcripts, oldest first) — save it as a note, a task, a "
         "reply. An entry with 'replaces' is the user's edit of the earlier entry with that id: "
         "act on the edit, not twice. Returns an empty list if nothing comes within the timeout; "
         "call again to keep listening. Only dictations kept in History count.",
         {time("after",
               "Only dictations after this ISO 8601 time (default: now). Pass the last 'time' you "
               "got to miss nothing between calls."),
          integer("timeout_seconds", {5, 300, 50},
                  "How long to wait (5–300, default 50: under most clients' request timeout)")},
         Access::reads,
         &MCPTools::waitForDictation},
        {"list_meetings",
         "The user's meeting notes, newest first: file name (date, time and title) and when it "
         "last changed. Read one with read_meeting.",
         {integer("limit", {1, 200, 30}, "How many (1–200, default 30)")},
         Access::reads,
         &MCPTools::listMeetings},
        {"read_meeting",
         "One meeting note in full: title, date, length, speakers, summary, action items (- [ ] "
         "owner: task (due)) and the timed transcript.",
         {text("name", Need::optional, "The file name from list_meetings or search_meetings")},
         Access::reads,
         &MCPTools::readMeeting},
        {"search_meetings",
         "Meeting notes mentioning a word or name (case-insensitive), newest first, with the lines "
         "that do — a person, a product, a decision.",
         {text("query", Need::optional, "What to look for")},
         Access::reads,
         &MCPTools::searchMeetings},
        {"search_memory",
         "Search everything the user said and every meeting at once: dictations, live long-form "
         "segments, meeting notes and the knowledge base. Case-insensitive; every word of the "
         "query must match (a Chinese phrase works as is). Newest first, with a snippet, when, the "
         "app, and the id to read it in full (get_transcripts for dictations, read_meeting for a "
         "meeting, read_knowledge for knowledge).",
         {text("query", Need::required, "Words to look for"),
          text("app", Need::optional,
               "Only dictations and knowledge from this app (bundle ID or name, e.g. WeChat)"),
          time("since", "Only after this ISO 8601 time"),
          time("until", "Only before this ISO 8601 time"),
          choice("kinds", memoryKindNames(), "Which to search (default: all)"),
          integer("limit", {1, 100, 20}, "How many (1–100, default 20)")},
         Access::reads,
         &MCPTools::searchMemory},
        {"list_knowledge",
         "The user's knowledge base, built every night from what they say and their meetings: "
         "categories (sales & pricing, clients & people, commitments, decisions, lessons, "
         "know-how, ideas, and any the AI added) with item counts and the latest titles, and what "
         "the last night did.",
         {},
         Access::reads,
         &MCPTools::listKnowledge},
        {"read_knowledge",
         "One category as Markdown — each item's takeaway, the dated quotes behind it, notes, and "
         "earlier conclusions it replaced — or one item by id.",
         {text("category", Need::optional, "A category id or name from list_knowledge"),
          text("id", Need::optional, "An item id (from search_memory or a category page)")},
         Access::reads,
         &MCPTools::readKnowledge},
        {"list_recordings",
         "Kept audio of recent dictations (last 7 days), newest first, with their transcript if "
         "one succeeded. Use transcribe_recording to run one again.",
         {},
         Access::reads,
         &MCPTools::listRecordings},
        {"transcribe_recording",
         "Transcribe a kept recording again (e.g. one whose transcription failed). Returns the raw "
         "transcript with the user's vocabulary applied.",
         {text("id", Need::required, "Recording id from list_recordings")},
         Access::reads,
         &MCPTools::transcribeRecording},
        {"transcribe_file",
         "Transcribe an audio file on this Mac (m4a, mp3, wav, … up to 25 MB) with the user's "
         "speech recognition server and vocabulary.",
         {text("path", Need::required, "Absolute path of the audio file")},
         Access::reads,
         &MCPTools::transcribeFile},
        {"get_vocabulary",
         "The user's personal vocabulary: words speech recognition mishears ('heard') and how the "
         "user writes them ('written').",
         {},
         Access::reads,
         &MCPTools::getVocabulary},
        {"add_vocabulary",
         "Teach a spelling: future dictations write 'written' where speech recognition heard "
         "'heard'. Needs \"Allow AI to record and type\".",
         {text("heard", Need::required), text("written", Need::required)},
         Access::controls,
         &MCPTools::addVocabulary},
        {"get_nightly_review",
         "What the nightly review did in its last runs (newest first): how many dictations it "
         "read, the terms it learned on its own or asks the user about, the sentence fixes it "
         "suggests (before → after), and how it changed what it remembers about the user; plus "
         "what still waits for the user.",
         {},
         Access::reads,
         &MCPTools::getNightlyReview},
        {"run_nightly_review",
         "Run the nightly review now on the dictations since the last run (it reads them with the "
         "user's LLM; can take minutes) and return what it did. Needs \"Allow AI to record and "
         "type\".",
         {},
         Access::controls,
         &MCPTools::runNightlyReview},
        {"dictate",
         "Ask the user to speak: Quillet starts recording (the user sees it and finishes with "
         "Fn+Ctrl), and the cleaned-up text is returned to you instead of being typed anywhere. "
         "Needs \"Allow AI to record and type\".",
         {integer("max_seconds", {1, 600, 120},
                  "Stop recording after this long (default 120, at most 600)")},
         Access::controls,
         &MCPTools::dictate},
        {"insert_text",
         "Type text at the cursor of the app the user is in, as a dictation would. Needs \"Allow "
         "AI to record and type\".",
         {text("text", Need::required)},
         Access::controls,
         &MCPTools::insertText},
    };
    return all;
}

}  // namespace quillet
