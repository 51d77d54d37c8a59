#include "meetings/MeetingNote.h"

#include <fmt/chrono.h>
#include <fmt/ranges.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>
#include <cstdio>

#include <algorithm>
#include <cstdint>

#include "base/text/OneLine.h"
#include "base/text/Text.h"
#include "meetings/MarkdownText.h"

namespace quillet {

namespace {

using std::chrono::hours;
using std::chrono::minutes;
using std::chrono::seconds;

constexpr std::string_view untitled = "会议";
constexpr std::size_t mostBytesOfFileName = 120;
constexpr std::string_view fileExtension = ".md";

/// Rounded down. No meeting is longer than a year, whatever a recogniser says.
seconds wholeSeconds(MeetingNote::Seconds time) {
    constexpr MeetingNote::Seconds longest = std::chrono::years(1);
    return time.count() > 0 ? std::chrono::floor<seconds>(std::min(time, longest)) : seconds(0);
}

/// As people read it.
std::string clockText(MeetingNote::Seconds time) {
    const std::chrono::hh_mm_ss parts(wholeSeconds(time));
    const auto minutesAndSeconds =
        fmt::format("{:02}:{:02}", parts.minutes().count(), parts.seconds().count());
    const auto hour = parts.hours().count();
    return hour == 0 ? minutesAndSeconds : fmt::format("{}:{}", hour, minutesAndSeconds);
}

/// As the model reads it.
std::string minuteText(MeetingNote::Seconds time) {
    const auto whole = wholeSeconds(time);
    return fmt::format("{:02}:{:02}", whole / minutes(1), (whole % minutes(1)).count());
}

std::string durationText(MeetingNote::Seconds duration) {
    const auto whole = wholeSeconds(duration);
    if (whole < minutes(1))
        return fmt::format("{} s", whole.count());
    if (whole < hours(1))
        return fmt::format("{} min", whole / minutes(1));
    return fmt::format("{} h {:02} min", whole / hours(1), whole % hours(1) / minutes(1));
}

std::string wallText(std::string_view format, std::chrono::local_seconds time) {
    const std::chrono::sys_seconds asIfUtc(time.time_since_epoch());
    return fmt::format(fmt::runtime(format), fmt::gmtime(asIfUtc));
}

/// "[time] speaker: text", on one line whatever they hold.
std::string lineText(std::string_view time, const MeetingNote::Line& line) {
    const auto speaker = oneLine(line.speaker.value_or(""));
    const auto text = oneLine(line.text);
    return speaker.empty() ? fmt::format("[{}] {}", time, text)
                           : fmt::format("[{}] {}: {}", time, speaker, text);
}

std::string headLine(const MeetingNote& note, const Calendar& calendar) {
    std::vector<std::string> speakers;
    for (const auto& line : note.lines) {
        auto speaker = oneLine(line.speaker.value_or(""));
        if (!speaker.empty() && std::ranges::find(speakers, speaker) == speakers.end())
            speakers.push_back(std::move(speaker));
    }
    auto text = fmt::format("{} · {}", wallText("{:%Y-%m-%d %H:%M}", calendar.local(note.started)),
                            durationText(note.duration));
    if (!speakers.empty())
        text += fmt::format(" · {}", fmt::join(speakers, "、"));
    return text;
}

std::string decisionLines(const std::vector<std::string>& decisions) {
    std::string text;
    for (const auto& decision : decisions)
        text += fmt::format("- {}\n", insideSection(oneLine(decision)));
    return text;
}

std::string todoLines(const std::vector<MeetingNote::Todo>& todos) {
    std::string text;
    for (const auto& todo : todos) {
        const auto owner = oneLine(todo.owner.value_or(""));
        const auto due = oneLine(todo.due.value_or(""));
        text += "- [ ] ";
        if (!owner.empty())
            text += fmt::format("**{}**：", owner);
        text += oneLine(todo.task);
        if (!due.empty())
            text += fmt::format("（{}）", due);
        text += '\n';
    }
    return text;
}

std::string questionLines(const std::vector<MeetingNote::Question>& questions) {
    std::string text;
    for (const auto& question : questions) {
        const auto answer = insideSection(oneLine(question.answer.value_or("")));
        // Without a blank line between them, questions would run into one paragraph.
        text += fmt::format("{}**{}**\n", text.empty() ? "" : "\n", oneLine(question.question));
        if (!answer.empty())
            text += answer + "\n";
    }
    return text;
}

std::string transcriptLines(const std::vector<MeetingNote::Line>& lines) {
    std::string text;
    for (const auto& line : lines)
        text += lineText(clockText(line.start), line) + "\n";
    return text;
}

/// Nothing for an empty content, which is lines or ends without a line break.
std::string section(std::string_view heading, std::string_view content) {
    if (trimmedView(content).empty())
        return {};
    return fmt::format("## {}\n\n{}{}\n", heading, content, content.ends_with('\n') ? "" : "\n");
}

/// The title without what file systems refuse or people cannot see.
std::string fileTitle(std::string_view title) {
    static constexpr std::string_view refused = "/\\:*?\"<>|";
    const auto line = oneLine(withValidUtf8(title));
    std::string text;
    const auto size = static_cast<int32_t>(line.size());
    for (int32_t next = 0; next < size;) {
        const auto begin = static_cast<std::size_t>(next);
        UChar32 c = 0;
        U8_NEXT(line.data(), next, size, c);
        const auto character = line.substr(begin, static_cast<std::size_t>(next) - begin);
        const bool isGap = c == ' ' || refused.contains(character);
        if (isGap && !text.ends_with(' '))
            text += ' ';
        if (!isGap && !u_hasBinaryProperty(c, UCHAR_BIDI_CONTROL))
            text += character;
    }
    return text;
}

std::string_view withoutDotsAtEnds(std::string_view text) {
    while (true) {
        const auto before = text.size();
        text = trimmedView(text);
        text.remove_prefix(text.starts_with('.') ? 1 : 0);
        text.remove_suffix(text.ends_with('.') ? 1 : 0);
        if (text.size() == before)
            return text;
    }
}

/// As many whole characters as fit.
std::string_view firstBytes(std::string_view text, std::size_t mostBytes) {
    auto characters = mostBytes;
    auto first = firstCharacters(text, characters);
    while (first.size() > mostBytes)
        first = firstCharacters(first, --characters);
    return first;
}

}  // namespace

std::string markdown(const MeetingNote& note, const Calendar& calendar) {
    const auto& summary = note.summary;
    const auto title = oneLine(summary.title);
    return fmt::format("# {}\n\n{}\n\n", title.empty() ? untitled : title,
                       headLine(note, calendar)) +
           section("纪要", insideSection(summary.summary)) +
           section("决定", decisionLines(summary.decisions)) +
           section("待办", todoLines(summary.todos)) +
           section("问题与回答", questionLines(summary.questions)) +
           section("跟进消息", insideSection(summary.followUp)) +
           section("转写", transcriptLines(note.lines));
}

std::string transcriptText(const std::vector<MeetingNote::Line>& lines) {
    std::vector<std::string> texts;
    texts.reserve(lines.size());
    for (const auto& line : lines)
        texts.push_back(lineText(minuteText(line.start), line));
    return fmt::format("{}", fmt::join(texts, "\n"));
}

std::string noteFileName(std::chrono::local_seconds started, std::string_view title) {
    const auto date = wallText("{:%Y-%m-%d %H.%M} ", started);
    const auto whole = fileTitle(title);
    const auto mostBytes = mostBytesOfFileName - date.size() - fileExtension.size();
    const auto fitting = withoutDotsAtEnds(firstBytes(withoutDotsAtEnds(whole), mostBytes));
    return fmt::format("{}{}{}", date, fitting.empty() ? untitled : fitting, fileExtension);
}

std::optional<Calendar::UnixTime> timeOfNote(std::string_view fileName, const Calendar& calendar) {
    int year = 0;
    unsigned month = 0;
    unsigned day = 0;
    int hour = 0;
    int minute = 0;
    if (std::sscanf(std::string(fileName.substr(0, 16)).c_str(), "%4d-%2u-%2u %2d.%2d", &year,
                    &month, &day, &hour, &minute) != 5)
        return std::nullopt;
    const std::chrono::year_month_day date{std::chrono::year(year), std::chrono::month(month),
                                           std::chrono::day(day)};
    if (!date.ok())
        return std::nullopt;
    return earliestMoment(calendar, std::chrono::local_days(date) + std::chrono::hours(hour) +
                                        std::chrono::minutes(minute));
}

}  // namespace quillet
