#pragma once

#include <chrono>
#include <filesystem>
#include <memory>
#include <vector>

#include "base/async/Scheduler.h"
#include "base/async/SerialQueue.h"
#include "base/async/TaskScope.h"
#include "base/log/Log.h"
#include "speech/OnDeviceTranscriber.h"
#include "speech/SpeechModels.h"

namespace quillet {

/// Speech recognition by Vosk models, on a thread of its own. The model is loaded when the first
/// recording begins, which takes less time than a sentence, and given back when it has not been
/// used for some minutes. Outlives the streams that it gave out.
class VoskTranscriber final : public OnDeviceTranscriber {
public:
    static constexpr std::chrono::minutes modelKeptFor{5};

    struct Options {
        std::vector<std::filesystem::path> engineFolders;
        std::filesystem::path models;
        /// May be empty, and be left out.
        std::filesystem::path systemModels = {};  // NOLINT(readability-redundant-member-init)
    };

    VoskTranscriber(Options options, Loop& loop, Scheduler& scheduler, Log log);
    ~VoskTranscriber() override;

    std::expected<void, Failure> supports(std::string_view language) override;
    std::unique_ptr<Stream> stream(std::string language, OnPartial onPartial) override;
    asio::awaitable<std::expected<std::string, Failure>> recognise(
        std::shared_ptr<const std::vector<std::int16_t>> samples, std::string language) override;

private:
    class Engine;
    class Decoding;
    class VoskStream;

    [[nodiscard]] std::shared_ptr<Decoding> beginDecoding(std::string_view language);
    void unloadLater();
    asio::awaitable<void> unloadAfterRest();

    Options options_;
    Loop& loop_;
    Scheduler& scheduler_;
    SpeechModels models_;
    std::shared_ptr<Engine> engine_;  // touched on queue_ only
    SerialQueue queue_;
    TaskHandle unload_;
    TaskScope tasks_;
};

}  // namespace quillet
