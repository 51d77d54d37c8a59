#pragma once

#include <filesystem>
#include <memory>
#include <optional>
#include <vector>

namespace quillet {

// The engine's C interface. The library is loaded at run time, so that Quillet builds, starts and
// works with servers where it is not installed.
struct VoskModel;
struct VoskRecognizer;

/// The functions of a loaded engine. Lives as long as anything that it made.
struct VoskLibrary {
    VoskModel* (*modelNew)(const char* path) = nullptr;
    void (*modelFree)(VoskModel*) = nullptr;
    VoskRecognizer* (*recognizerNew)(VoskModel*, float sampleRate) = nullptr;
    void (*recognizerFree)(VoskRecognizer*) = nullptr;
    /// 1 at the end of an utterance, 0 within one, −1 on an error.
    int (*acceptWaveform)(VoskRecognizer*, const short* samples, int count) = nullptr;
    /// Each returns JSON that belongs to the recogniser: {"text": …}, or {"partial": …}.
    const char* (*result)(VoskRecognizer*) = nullptr;
    const char* (*partialResult)(VoskRecognizer*) = nullptr;
    const char* (*finalResult)(VoskRecognizer*) = nullptr;
    void (*setLogLevel)(int) = nullptr;

    /// The library's file in the first of these folders that has it.
    [[nodiscard]] static std::optional<std::filesystem::path> find(
        const std::vector<std::filesystem::path>& folders);
    /// None when the file is no such library.
    [[nodiscard]] static std::shared_ptr<const VoskLibrary> load(const std::filesystem::path& file);
};

}  // namespace quillet
