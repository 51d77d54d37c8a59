#include "speech/cleanup/RecognitionPrompt.h"

namespace quillet {

const std::string_view defaultRecognitionPrompt =
    "以下是普通话语音的简体中文转写，中间可能夹杂 English 单词，比如 "
    "Quillet、Claude、bug、API，英文保持原样，不要翻译。我把这个 feature 的 bug 修好了，明天再 "
    "review "
    "一下 code，然后 deploy。";

std::string recognitionPrompt(std::span<const std::string> terms) {
    std::string prompt(defaultRecognitionPrompt);
    std::string_view gap;
    for (const auto& term : terms.first(std::min(terms.size(), mostTermsInRecognitionPrompt))) {
        prompt += gap;
        prompt += term;
        gap = "、";
    }
    return prompt;
}

}  // namespace quillet
