#include "meetings/MeetingNotesRequest.h"

#include <gtest/gtest.h>

#include <regex>
#include <sstream>

#include "refine/JsonReply.h"
#include "world/FixedCalendar.h"
#include "world/JsonData.h"

namespace quillet {
namespace {

using nlohmann::json;

TEST(MeetingNotesRequest, IsWrittenToTheByte) {
    const auto files = world::jsonFiles("meetings/golden");
    EXPECT_EQ(files.size(), 2);
    for (const auto& file : files) {
        const auto golden = world::jsonData(file);
        const auto& input = golden.at("input");
        EXPECT_EQ(meetingNotesRequest(textOf(input, "model"), textOf(input, "transcript"),
                                      textOf(input, "profile")),
                  golden.at("body"))
            << file;
    }
}

TEST(MeetingNotesRequest, AsksForTheLanguageThatMostIsSaidIn) {
    EXPECT_TRUE(isMostlyEnglish("let us begin"));
    EXPECT_TRUE(isMostlyEnglish("好的 we ship 2.0"));
    EXPECT_FALSE(isMostlyEnglish("我们 ship it"));  // two of each
    EXPECT_FALSE(isMostlyEnglish("我们明天发布 version 2"));
    EXPECT_FALSE(isMostlyEnglish(""));
    EXPECT_FALSE(isMostlyEnglish("…！"));
}

TEST(MeetingNotesRequest, ReadsWhateverAModelMakesOfTheForm) {
    EXPECT_FALSE(readSummary("I can't."));
    EXPECT_FALSE(readSummary("[]"));
    const auto bare =
        readSummary(R"({"title": 7, "summary": null, "todos": {}, "decisions": "x"})");
    ASSERT_TRUE(bare);
    EXPECT_TRUE(bare->title.empty() && bare->summary.empty() && bare->decisions.empty() &&
                bare->todos.empty() && bare->questions.empty() && bare->followUp.empty());
    const auto summary = readSummary(
        "```json\n"
        R"({
        "title": " T ", "summary": "- a\n", "follow_up": "f", "decisions": ["d", 1, " ", ["e"]],
        "todos": [{"owner": "Ann", "task": "t", "due": "周五"}, "plain", {"owner": "Bo"}, 5,
                  {"owner": "null", "task": "u", "due": 5}, {"owner": null, "task": "v", "due": ""}],
        "questions": [{"question": "q", "answer": "a"}, {"question": "r", "answer": null},
                      "s", {"answer": "lost"}]})"
        "\n```");
    ASSERT_TRUE(summary);
    EXPECT_EQ(summary->title, "T");
    EXPECT_EQ(summary->summary, "- a");
    EXPECT_EQ(summary->followUp, "f");
    EXPECT_EQ(summary->decisions, std::vector<std::string>{"d"});
    std::string todos;
    for (const auto& todo : summary->todos)
        todos += todo.owner.value_or("-") + "/" + todo.task + "/" + todo.due.value_or("-") + " ";
    EXPECT_EQ(todos, "Ann/t/周五 -/plain/- -/u/- -/v/- ");
    std::string questions;
    for (const auto& question : summary->questions)
        questions += question.question + "/" + question.answer.value_or("-") + " ";
    EXPECT_EQ(questions, "q/a r/- s/- ");
}

std::vector<MeetingNote::Line> linesOf(const json& meeting) {
    std::vector<MeetingNote::Line> lines;
    for (const auto& line : meeting.at("lines")) {
        const auto start = MeetingNote::Seconds(line.at("start").get<double>());
        const auto speaker = textOf(line, "speaker");
        lines.push_back({start, start, speaker.empty() ? std::nullopt : std::optional(speaker),
                         textOf(line, "text")});
    }
    return lines;
}

/// The lines that a reader of Markdown takes for something else than the text of a section.
std::vector<std::string> blocksOf(const std::string& note) {
    static const std::regex begin(
        R"(^[ \t>*+\-0-9.)]*(#|<|```|~~~|\[[^\]]*\]:).*|^\s*(=+|-+)\s*$)");
    std::vector<std::string> blocks;
    std::istringstream stream(note);
    for (std::string line; std::getline(stream, line);) {
        if (std::regex_match(line, begin))
            blocks.push_back(line);
    }
    return blocks;
}

// What people say, and what a model that obeys them replies.
TEST(MeetingNotesRequest, IsNotTakenOverByWhatIsSaid) {
    const auto files = world::jsonFiles("meetings/hostile");
    EXPECT_GE(files.size(), 6);
    for (const auto& file : files) {
        const auto meeting = world::jsonData(file);
        SCOPED_TRACE(file);
        const auto lines = withSpeakersNamed(linesOf(meeting));
        const auto transcript = transcriptText(lines);
        const auto messages = meetingNotesRequest("m", transcript, "")["messages"];
        const auto harmless = isMostlyEnglish(transcript) ? "a word" : "一句话";
        EXPECT_EQ(messages[0], meetingNotesRequest("m", harmless, "")["messages"][0]);
        EXPECT_EQ(messages[1], json({{"role", "user"}, {"content", meeting.at("transcript")}}));

        const auto summary = readSummary(meeting.at("reply").get<std::string>());
        EXPECT_EQ(summary.has_value(), meeting.at("believed").get<bool>());
        const MeetingNote note{{}, {}, summary.value_or(MeetingNote::Summary()), lines};
        const auto text = markdown(note, world::FixedCalendar());
        EXPECT_EQ(json(blocksOf(text)), meeting.at("blocks")) << text;
        const auto end = "## 转写\n\n" + meeting.at("transcript").get<std::string>() + "\n\n";
        EXPECT_TRUE(text.ends_with(end)) << text;
        EXPECT_EQ(noteFileName({}, note.summary.title), textOf(meeting, "fileName"));
    }
}

}  // namespace
}  // namespace quillet
