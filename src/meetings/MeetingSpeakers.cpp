#include <algorithm>
#include <map>

#include "base/text/Text.h"
#include "meetings/MeetingNote.h"
#include "meetings/MeetingNotesRequest.h"

namespace quillet {

namespace {

constexpr std::string_view voice = "说话人 ";
/// How recognisers begin the label of a voice, in lower case.
constexpr std::string_view labelWords[] = {"speaker", "spk", "说话人", "发言人"};
constexpr std::size_t mostDigits = 4;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Whether this tells voices apart within a label: a number or a letter.
bool isVoiceNumber(std::string_view text) {
    if (text.size() == 1 && text.front() >= 'a' && text.front() <= 'z')
        return true;
    return !text.empty() && text.size() <= mostDigits && std::ranges::all_of(text, isDigit);
}

/// "speaker_0", "SPEAKER_01", "spk1", "1", "A", "说话人 2"; not "Ann".
bool isVoiceLabel(std::string_view speaker) {
    const auto lowered = asciiLowered(speaker);
    std::string_view text = lowered;
    for (const auto word : labelWords) {
        if (!text.starts_with(word))
            continue;
        text.remove_prefix(word.size());
        text.remove_prefix(std::min(text.find_first_not_of(" _-#:"), text.size()));
        return text.empty() || isVoiceNumber(text);
    }
    return isVoiceNumber(text);
}

/// A, B … Z, AA, AB …
std::string letters(std::size_t index) {
    constexpr std::size_t alphabet = 26;
    std::string text;
    for (auto rest = index + 1; rest > 0; rest = (rest - 1) / alphabet)
        text.insert(text.begin(), static_cast<char>('A' + (rest - 1) % alphabet));
    return text;
}

bool isEnglishMeeting(const std::vector<MeetingNote::Line>& lines) {
    std::string said;
    for (const auto& line : lines)
        said.append(line.text).append("\n");
    return isMostlyEnglish(said);
}

}  // namespace

std::vector<MeetingNote::Line> withSpeakersNamed(std::vector<MeetingNote::Line> lines) {
    const bool english = isEnglishMeeting(lines);
    std::map<std::string, std::string> names = {
        {std::string(userSpeaker), english ? "Me" : "我"},
        {std::string(farSpeaker), english ? "Other side" : "对方"}};
    std::size_t voices = 0;
    for (auto& line : lines) {
        const auto label = trimmed(line.speaker.value_or(""));
        if (!names.contains(label))
            names[label] = isVoiceLabel(label) ? std::string(voice) + letters(voices++) : label;
        if (label.empty())
            line.speaker.reset();
        else
            line.speaker = names[label];
    }
    return lines;
}

}  // namespace quillet
