#include "speech/cleanup/SilenceGuards.h"

#include <unicode/uchar.h>

#include <array>

#include "base/text/Text.h"
#include "speech/cleanup/Pattern.h"
#include "speech/cleanup/RecognitionPrompt.h"

namespace quillet {

namespace {

constexpr std::size_t shortestEcho = 8;
constexpr std::size_t shortestEchoOfAnyPrompt = 20;
constexpr std::size_t fewestSpokenCharacters = 5;

bool echoesDefaultPrompt(const std::string& text, const std::string& prompt) {
    static const std::string model = comparisonForm(defaultRecognitionPrompt);
    static const std::size_t modelLength = characterCount(model);
    if (!prompt.contains(model) || !model.contains(text))
        return false;
    return model.starts_with(text) || model.ends_with(text) ||
           modelLength <= 2 * characterCount(text);
}

bool echoesPrompt(std::string_view transcript, std::string_view promptSent) {
    const auto text = comparisonForm(transcript);
    const auto length = characterCount(text);
    if (length < shortestEcho)
        return false;
    const auto prompt = comparisonForm(promptSent);
    return echoesDefaultPrompt(text, prompt) ||
           (length >= shortestEchoOfAnyPrompt && prompt.ends_with(text));
}

bool isWrittenInAnotherScript(std::string_view transcript, std::string_view language) {
    const bool guarded =
        language.starts_with("mixed") || language.starts_with("zh") || language.starts_with("en");
    if (!guarded)
        return false;
    constexpr UChar32 lastAscii = 0x7F;
    std::size_t letters = 0;
    std::size_t expected = 0;
    const auto text = wide(transcript);
    for (int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
        const UChar32 c = text.char32At(i);
        if (!u_isUAlphabetic(c))
            continue;
        ++letters;
        if (c <= lastAscii || u_hasBinaryProperty(c, UCHAR_IDEOGRAPHIC))
            ++expected;
    }
    return letters > 2 * expected;
}

/// The credits that recognisers have learnt from subtitles and hear in silence.
bool isNothingButCredits(std::string_view transcript) {
    static const std::array<Pattern, 8> credits = {
        Pattern(uR"((中文)?字幕由\s*Amara\.org\s*社区提供)", Pattern::Case::ignored),
        Pattern(uR"(Subtitles by the Amara\.org community)", Pattern::Case::ignored),
        Pattern(u"字幕(志愿者|校对|翻译|制作)", Pattern::Case::ignored),
        Pattern(u"请不吝点赞[^。！!]*", Pattern::Case::ignored),
        Pattern(u"优优独播剧场[^。！!]*", Pattern::Case::ignored),
        Pattern(u"YoYo Television Series Exclusive", Pattern::Case::ignored),
        Pattern(u"(谢谢|感谢)(大家)?(收看|观看)", Pattern::Case::ignored),
        Pattern(u"Thank(s| you) for watching[.!]?", Pattern::Case::ignored),
    };
    const auto text = wide(transcript);
    auto rest = text;
    for (const auto& credit : credits)
        rest = credit.replaceAll(rest, {});
    return rest != text && characterCount(comparisonForm(narrow(rest))) < fewestSpokenCharacters;
}

}  // namespace

bool isSilence(std::string_view transcript, std::string_view promptSent,
               std::string_view language) {
    return echoesPrompt(transcript, promptSent) || isWrittenInAnotherScript(transcript, language) ||
           isNothingButCredits(transcript);
}

bool isOnlyMarks(std::string_view transcript) {
    const auto text = wide(transcript);
    for (int32_t i = 0; i < text.length(); i = text.moveIndex32(i, 1)) {
        const UChar32 c = text.char32At(i);
        if (!u_isUWhiteSpace(c) && !u_ispunct(c))
            return false;
    }
    return true;
}

}  // namespace quillet
