#include "speech/VoskTranscriber.h"

#include <atomic>
#include <nlohmann/json.hpp>

#include "base/async/Loop.h"
#include "speech/VoskLibrary.h"

namespace quillet {

namespace {

constexpr float sampleRate = 16'000;
/// Recordings are recognised in pieces of this many samples, so that a dictation that begins
/// meanwhile does not wait for the end of a long file.
constexpr std::size_t samplesAtOnce = 16'000;

std::string member(const char* json, const char* name) {
    const auto value = nlohmann::json::parse(json == nullptr ? "" : json, nullptr, false);
    if (!value.is_object() || !value.contains(name) || !value[name].is_string())
        return {};
    return value[name].get<std::string>();
}

void appendWords(std::string& text, std::string_view words) {
    if (!text.empty() && !words.empty())
        text += ' ';
    text += words;
}

}  // namespace

/// The library and the model in memory. Used on the recogniser's queue only.
class VoskTranscriber::Engine {
public:
    explicit Engine(Log log) : log_(std::move(log)) {}
    ~Engine() { unload(); }
    Engine(const Engine&) = delete;
    Engine& operator=(const Engine&) = delete;

    /// A recogniser for the model in this folder; none when it cannot be had.
    VoskRecognizer* begin(const std::vector<std::filesystem::path>& engineFolders,
                          const std::filesystem::path& modelFolder) {
        if (!library_) {
            const auto file = VoskLibrary::find(engineFolders);
            library_ = file ? VoskLibrary::load(*file) : nullptr;
        }
        if (!library_) {
            log_.error("The speech engine's library cannot be loaded");
            return nullptr;
        }
        if (model_ == nullptr || modelFolder_ != modelFolder) {
            unload();
            model_ = library_->modelNew(modelFolder.c_str());
            modelFolder_ = modelFolder;
        }
        if (model_ == nullptr) {
            log_.error("The model in {} cannot be loaded", modelFolder.string());
            return nullptr;
        }
        return library_->recognizerNew(model_, sampleRate);
    }

    /// Recognisers that are still at work keep the model's memory alive by themselves.
    void unload() {
        if (model_ != nullptr)
            library_->modelFree(model_);
        model_ = nullptr;
    }

    [[nodiscard]] const std::shared_ptr<const VoskLibrary>& functions() const { return library_; }

private:
    Log log_;
    std::shared_ptr<const VoskLibrary> library_;
    VoskModel* model_ = nullptr;
    std::filesystem::path modelFolder_;
};

/// One recognition. Used on the recogniser's queue only, but for `abandoned`.
class VoskTranscriber::Decoding {
public:
    ~Decoding() {
        if (recognizer_ != nullptr)
            library_->recognizerFree(recognizer_);
    }

    void begin(Engine& engine, const std::vector<std::filesystem::path>& engineFolders,
               const std::filesystem::path& modelFolder) {
        recognizer_ = engine.begin(engineFolders, modelFolder);
        library_ = engine.functions();
    }

    void accept(std::span<const std::int16_t> samples) {
        if (recognizer_ == nullptr || abandoned)
            return;
        const int ended =
            library_->acceptWaveform(recognizer_, samples.data(), static_cast<int>(samples.size()));
        if (ended > 0)
            appendWords(text_, member(library_->result(recognizer_), "text"));
    }

    /// All words so far, those of the unfinished utterance included.
    [[nodiscard]] std::string partial() const {
        std::string text = text_;
        if (recognizer_ != nullptr)
            appendWords(text, member(library_->partialResult(recognizer_), "partial"));
        return text;
    }

    std::expected<std::string, Failure> finish() {
        if (recognizer_ == nullptr)
            return std::unexpected(Failure::unavailable);
        appendWords(text_, member(library_->finalResult(recognizer_), "text"));
        return text_;
    }

    std::atomic<bool> abandoned = false;
    std::string lastPartial;

private:
    std::shared_ptr<const VoskLibrary> library_;
    VoskRecognizer* recognizer_ = nullptr;
    std::string text_;
};

class VoskTranscriber::VoskStream final : public Stream {
public:
    VoskStream(VoskTranscriber& owner, std::shared_ptr<Decoding> decoding, OnPartial onPartial)
        : loop_(owner.loop_),
          queue_(owner.queue_),
          decoding_(std::move(decoding)),
          onPartial_(onPartial ? std::make_shared<OnPartial>(std::move(onPartial)) : nullptr) {}

    ~VoskStream() override { decoding_->abandoned = true; }

    void feed(std::span<const std::int16_t> samples) override {
        queue_.post([decoding = decoding_, loop = &loop_, onPartial = std::weak_ptr(onPartial_),
                     chunk = std::vector<std::int16_t>(samples.begin(), samples.end())] {
            decoding->accept(chunk);
            if (!onPartial.expired() && !decoding->abandoned)
                report(*decoding, *loop, onPartial);
        });
    }

    asio::awaitable<std::expected<std::string, Failure>> finish() override {
        onPartial_.reset();
        auto work = [decoding = decoding_] { return decoding->finish(); };
        co_return co_await queue_.run(std::move(work));
    }

private:
    static void report(Decoding& decoding, Loop& loop, const std::weak_ptr<OnPartial>& onPartial) {
        auto text = decoding.partial();
        if (text == decoding.lastPartial)
            return;
        decoding.lastPartial = text;
        loop.enqueue([onPartial, text = std::move(text)]() mutable {
            if (const auto callback = onPartial.lock())
                (*callback)(std::move(text));
        });
    }

    Loop& loop_;
    SerialQueue& queue_;
    std::shared_ptr<Decoding> decoding_;
    std::shared_ptr<OnPartial> onPartial_;
};

VoskTranscriber::VoskTranscriber(Options options, Loop& loop, Scheduler& scheduler, Log log)
    : options_(std::move(options)),
      loop_(loop),
      scheduler_(scheduler),
      models_(options_.models, options_.systemModels),
      engine_(std::make_shared<Engine>(std::move(log))),
      queue_("recogniser"),
      tasks_(loop) {}

VoskTranscriber::~VoskTranscriber() {
    tasks_.cancelAndJoin();
    queue_.post([engine = std::move(engine_)] {});
    queue_.waitUntilIdle();
}

std::expected<void, OnDeviceTranscriber::Failure> VoskTranscriber::supports(
    std::string_view language) {
    if (!VoskLibrary::find(options_.engineFolders))
        return std::unexpected(Failure::unavailable);
    if (!models_.find(language))
        return std::unexpected(Failure::unsupportedLanguage);
    return {};
}

std::unique_ptr<OnDeviceTranscriber::Stream> VoskTranscriber::stream(std::string language,
                                                                     OnPartial onPartial) {
    unloadLater();
    return std::make_unique<VoskStream>(*this, beginDecoding(language), std::move(onPartial));
}

std::shared_ptr<VoskTranscriber::Decoding> VoskTranscriber::beginDecoding(
    std::string_view language) {
    // Whoever lets go of it last, the recogniser is freed where it is used.
    const std::shared_ptr<Decoding> decoding(new Decoding, [this](Decoding* done) {
        queue_.post([owned = std::unique_ptr<Decoding>(done)] {});
    });
    const auto model = models_.find(language);
    queue_.post([decoding, engine = engine_, folders = options_.engineFolders,
                 folder = model ? model->folder : std::filesystem::path()] {
        decoding->begin(*engine, folders, folder);
    });
    return decoding;
}

asio::awaitable<std::expected<std::string, OnDeviceTranscriber::Failure>>
VoskTranscriber::recognise(std::shared_ptr<const std::vector<std::int16_t>> samples,
                           std::string language) {
    if (const auto supported = supports(language); !supported)
        co_return std::unexpected(supported.error());
    unloadLater();
    const auto decoding = beginDecoding(language);
    for (std::size_t at = 0; at < samples->size(); at += samplesAtOnce) {
        const auto piece =
            std::span(*samples).subspan(at, std::min(samplesAtOnce, samples->size() - at));
        auto accept = [decoding, samples, piece] { decoding->accept(piece); };
        co_await queue_.run(std::move(accept));
    }
    auto finish = [decoding] { return decoding->finish(); };
    auto result = co_await queue_.run(std::move(finish));
    unloadLater();
    co_return result;
}

void VoskTranscriber::unloadLater() {
    unload_.cancel();
    unload_ = tasks_.spawn(unloadAfterRest());
}

asio::awaitable<void> VoskTranscriber::unloadAfterRest() {
    co_await scheduler_.sleep(modelKeptFor);
    queue_.post([engine = engine_] { engine->unload(); });
}

}  // namespace quillet
