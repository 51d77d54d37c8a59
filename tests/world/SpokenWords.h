#pragma once

#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <span>
#include <string>
#include <vector>

namespace quillet::world {

/// Speech that a scripted recogniser can read back from the samples alone: every sentence has a
/// loudness of its own. Samples that went missing go missing from the transcript too.
class SpokenWords {
public:
    [[nodiscard]] std::vector<std::int16_t> speak(std::string text, std::size_t samples) {
        sentences_.push_back({std::move(text), samples});
        const auto loudness = loudnessOf(sentences_.size() - 1);
        std::vector<std::int16_t> pcm(samples);
        for (std::size_t i = 0; i < samples; ++i)
            pcm[i] = static_cast<std::int16_t>(i % 2 == 0 ? loudness : -loudness);
        return pcm;
    }

    [[nodiscard]] std::string transcript(std::span<const std::int16_t> samples) const {
        std::vector<std::size_t> heard(sentences_.size());
        std::vector<std::size_t> order;
        for (const auto sample : samples) {
            const int loudness = std::abs(static_cast<int>(sample));
            if (loudness < firstLoudness || (loudness - firstLoudness) % loudnessStep != 0)
                continue;
            const auto index = static_cast<std::size_t>((loudness - firstLoudness) / loudnessStep);
            if (index >= heard.size())
                continue;
            if (heard[index]++ == 0)
                order.push_back(index);
        }
        std::string text;
        for (const auto index : order) {
            const auto& sentence = sentences_[index];
            const auto letters = sentence.text.size() * heard[index] / sentence.samples;
            if (!text.empty() && letters > 0)
                text += ' ';
            text += sentence.text.substr(0, letters);
        }
        return text;
    }

private:
    static constexpr int firstLoudness = 3'000;
    static constexpr int loudnessStep = 8;
    static int loudnessOf(std::size_t index) {
        return firstLoudness + loudnessStep * static_cast<int>(index);
    }

    struct Sentence {
        std::string text;
        std::size_t samples;
    };
    std::vector<Sentence> sentences_;
};

}  // namespace quillet::world
