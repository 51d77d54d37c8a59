#include "meetings/MeetingNote.h"

#include <gtest/gtest.h>

#include <cmath>

#include "base/text/Text.h"
#include "meetings/MarkdownText.h"
#include "world/FixedCalendar.h"

namespace quillet {
namespace {

using Line = MeetingNote::Line;
using Lines = std::vector<Line>;
using Seconds = MeetingNote::Seconds;

// 2026-11-21 06:30:07 UTC, half past two in the afternoon where the meeting was.
constexpr Calendar::UnixTime started{std::chrono::duration<double>(1'795'242'607.5)};
const world::FixedCalendar shanghai{started, std::chrono::hours(8)};

Line said(double start, const char* text, std::optional<std::string> speaker = std::nullopt) {
    return {Seconds(start), Seconds(start + 1), std::move(speaker), text};
}

MeetingNote noteOf(Lines lines, MeetingNote::Summary summary = {}, double duration = 2'520) {
    return {started, Seconds(duration), std::move(summary), std::move(lines)};
}

std::vector<std::string> speakersOf(const Lines& lines) {
    std::vector<std::string> speakers;
    for (const auto& line : withSpeakersNamed(lines))
        speakers.push_back(line.speaker.value_or("-"));
    return speakers;
}

TEST(MeetingNote, IsWrittenInItsSections) {
    const auto note = noteOf(
        {said(0, "开始吧", "我"), said(4.9, "Budget first", "说话人 A"), said(5, "好", "我")},
        {"Budget",
         "- one\n- two",
         {"ship it", "no travel"},
         {{"Ann", "write it up", "周五"}, {std::nullopt, "call them", std::nullopt}},
         {{"How much?", "40 万"}, {"When?", std::nullopt}},
         "Hi all,\nwe ship."});
    EXPECT_EQ(markdown(note, shanghai),
              "# Budget\n\n"
              "2026-11-21 14:30 · 42 min · 我、说话人 A\n\n"
              "## 纪要\n\n- one\n- two\n\n"
              "## 决定\n\n- ship it\n- no travel\n\n"
              "## 待办\n\n- [ ] **Ann**：write it up（周五）\n- [ ] call them\n\n"
              "## 问题与回答\n\n**How much?**\n40 万\n\n**When?**\n\n"
              "## 跟进消息\n\nHi all,\nwe ship.\n\n"
              "## 转写\n\n[00:00] 我: 开始吧\n[00:04] 说话人 A: Budget first\n[00:05] 我: 好\n\n");
}

TEST(MeetingNote, LeavesOutWhatIsEmpty) {
    EXPECT_EQ(markdown(noteOf({}, {" \n", " ", {}, {}, {}, "\n"}, 35.9), shanghai),
              "# 会议\n\n2026-11-21 14:30 · 35 s\n\n");
    EXPECT_EQ(markdown(noteOf({said(1, "x", " ")}, {}, 3'900), shanghai),
              "# 会议\n\n2026-11-21 14:30 · 1 h 05 min\n\n## 转写\n\n[00:01] x\n\n");
}

TEST(MeetingNote, TellsTimeForPeopleAndForTheModel) {
    const Lines lines = {said(3'599.99, "a"), said(3'600, "b"),        said(4'510, "c", "Ann"),
                         said(-1, "d"),       said(std::nan(""), "e"), said(1e300, "f")};
    const auto note = markdown(noteOf(lines, {}, 1e300), shanghai);
    EXPECT_NE(note.find("[59:59] a\n[1:00:00] b\n[1:15:10] Ann: c\n[00:00] d\n[00:00] e\n"),
              std::string::npos)
        << note;
    EXPECT_TRUE(transcriptText(lines).starts_with(
        "[59:59] a\n[60:00] b\n[75:10] Ann: c\n[00:00] d\n[00:00] e\n["));
    EXPECT_FALSE(transcriptText(lines).ends_with('\n'));
}

TEST(MeetingNote, NamesSpeakersAsPeopleReadThem) {
    const auto user = std::string(userSpeaker);
    const auto far = std::string(farSpeaker);
    EXPECT_EQ(speakersOf({said(0, "我们开始", far), said(1, "好的", user)}),
              (std::vector<std::string>{"对方", "我"}));
    EXPECT_EQ(speakersOf({said(0, "Shall we?", far), said(1, "好 yes", user), said(2, "ok")}),
              (std::vector<std::string>{"Other side", "Me", "-"}));
    EXPECT_EQ(
        speakersOf({said(0, "", "speaker_1"), said(1, "", "SPEAKER_00"), said(2, "", "Ann"),
                    said(3, "", "speaker_1"), said(4, "", "spk1"), said(5, "", "7"),
                    said(6, "", "B"), said(7, "", "说话人 2"), said(8, "", "Speakers Ltd"),
                    said(9, "", " 说话人 2 "), said(10, "", "王")}),
        (std::vector<std::string>{"说话人 A", "说话人 B", "Ann", "说话人 A", "说话人 C", "说话人 D",
                                  "说话人 E", "说话人 F", "Speakers Ltd", "说话人 F", "王"}));
    Lines crowd;
    for (int i = 0; i < 28; ++i)
        crowd.push_back(said(i, "x", std::to_string(i)));
    const auto names = speakersOf(crowd);
    EXPECT_EQ(names[25], "说话人 Z");
    EXPECT_EQ(names[26], "说话人 AA");
    EXPECT_EQ(names[27], "说话人 AB");
}

TEST(MeetingNote, HasAFileNameThatEveryFileSystemTakes) {
    const auto at = shanghai.local(started);
    const std::string date = "2026-11-21 14.30 ";
    const std::pair<const char*, const char*> cases[] = {
        {"Budget", "Budget"},
        {"", "会议"},
        {" .. ", "会议"},
        {"../../etc/passwd", "etc passwd"},
        {"C:\\a|b*<c>?\"d\"", "C a b c d"},
        {"a\nb\tc\x01\x7f", "a b c"},
        {".hidden. ", "hidden"},
        {"v1.5", "v1.5"},
        {"x\u202Etxt.\u2066exe", "xtxt.exe"},
        {"a\xff z", "a\uFFFD z"},
    };
    for (const auto& [title, name] : cases)
        EXPECT_EQ(noteFileName(at, title), date + name + ".md") << title;
    std::string families;
    for (int i = 0; i < 20; ++i)
        families += "👨‍👩‍👧";
    // 100 bytes are left for the title, and one family takes 18.
    const auto name = noteFileName(at, families);
    EXPECT_EQ(name.size(), date.size() + 5 * 18 + 3);
    EXPECT_TRUE(isValidUtf8(name));
    EXPECT_EQ(noteFileName(at, std::string(200, 'x')).size(), 120);
    EXPECT_EQ(noteFileName(at, std::string(99, 'x') + ". y").size(), 119);
}

TEST(MarkdownText, StaysInsideItsSection) {
    const std::pair<const char*, const char*> cases[] = {
        {"- a\n- b #2\n\n1. c", "- a\n- b #2\n\n1. c"},
        {"- [ ] a [link](x): y", "- [ ] a [link](x): y"},
        {"# a\n  ## b\r\n\t# c\rd", "\\# a\n  \\## b\n\t\\# c\nd"},
        {"- # a\n1) > ## b", "- \\# a\n1) > \\## b"},
        {"a\n===\nb\n - \nc\n---  ", "a\n\\===\nb\n \\- \nc\n\\---  "},
        {"```\n~~~x\n<!-- y", "\\```\n\\~~~x\n\\<!-- y"},
        {"[00:05]: https://example.org", "\\[00:05]: https://example.org"},
        {"-5 and 1.5 and -", "-5 and 1.5 and -"},
    };
    for (const auto& [text, safe] : cases)
        EXPECT_EQ(insideSection(text), safe) << text;
}

}  // namespace
}  // namespace quillet
