#pragma once

#include <array>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "meetings/MeetingTranscriber.h"
#include "platform/absent/MemoryUserDefaults.h"
#include "world/ScriptedConsent.h"
#include "world/ScriptedLLM.h"
#include "world/ScriptedServices.h"
#include "world/ScriptedSpeech.h"
#include "world/SimLoop.h"
#include "world/SpokenWords.h"
#include "world/TemporaryFolder.h"

namespace quillet::world {

using namespace std::chrono_literals;

/// Both sides of a call, as the story plays them.
class ScriptedCallAudio final : public CallAudio {
public:
    explicit ScriptedCallAudio(SimScheduler& scheduler) : scheduler_(scheduler) {}

    std::unique_ptr<Capture> start(Side side, CallAudioSink& sink) override {
        sinks_[index(side)] = &sink;
        sink.stateChanged(states[index(side)]);
        return std::make_unique<ScriptedCapture>(*this, side);
    }
    void hear(Side side, std::span<const std::int16_t> samples) {
        auto* sink = sinks_[index(side)];
        if (sink != nullptr && states[index(side)] == CallAudioSink::State::running)
            sink->samplesArrived(samples);
    }
    void become(Side side, CallAudioSink::State state) {
        states[index(side)] = state;
        if (sinks_[index(side)] != nullptr)
            sinks_[index(side)]->stateChanged(state);
    }
    [[nodiscard]] bool capturing() const { return sinks_[0] != nullptr || sinks_[1] != nullptr; }
    static std::size_t index(Side side) { return static_cast<std::size_t>(side); }

    std::array<CallAudioSink::State, 2> states{};

private:
    class ScriptedCapture final : public Capture {
    public:
        ScriptedCapture(ScriptedCallAudio& owner, Side side) : owner_(owner), side_(side) {}
        ~ScriptedCapture() override { owner_.sinks_[index(side_)] = nullptr; }
        asio::awaitable<void> stop() override {
            co_await owner_.scheduler_.sleep(5ms);
            owner_.sinks_[index(side_)] = nullptr;
        }

    private:
        ScriptedCallAudio& owner_;
        Side side_;
    };

    SimScheduler& scheduler_;
    std::array<CallAudioSink*, 2> sinks_{};
};

/// The real recorder of meetings on a virtual clock, in a room that the story scripts.
class MeetingRoom {
public:
    using Side = CallAudio::Side;
    static constexpr auto me = Side::microphone;
    static constexpr auto them = Side::systemAudio;

    MeetingRoom() { open(); }
    ~MeetingRoom() { close(); }

    void open();
    void close();
    /// Ends the program without a word, as a kill does, and starts it again.
    void crashAndRestart();

    void set(std::string_view name, std::string_view value) {
        EXPECT_TRUE(settings->setFromText(name, value).has_value());
    }
    void useServer() {
        set("sttEngineType", "cloud");
        set("sttEndpoint", "https://stt.example.org/v1/audio/transcriptions");
    }
    void useModel() {
        set("llmEnabled", "true");
        set("llmBaseURL", "https://llm.example.org/v1");
        set("llmModel", "notes-model");
    }

    /// One side speaks for this long; time passes.
    void say(Side side, std::string text, std::chrono::milliseconds duration);
    void silence(std::chrono::milliseconds duration);
    void pass(Scheduler::Duration time) { scheduler.advance(time); }

    /// Begins something that ends later, such as `meetings->stop()`.
    template <class T>
    std::shared_ptr<std::optional<T>> begin(asio::awaitable<T> task) {
        auto result = std::make_shared<std::optional<T>>();
        auto run = [](auto awaited, auto kept) -> asio::awaitable<void> {
            kept->emplace(co_await std::move(awaited));
        };
        tasks->spawn(run(std::move(task), result));
        scheduler.drain();
        return result;
    }
    template <class T>
    T await(asio::awaitable<T> task, Scheduler::Duration within = 600s) {
        auto result = begin(std::move(task));
        if (!*result)
            scheduler.advance(within);
        return std::move(*result).value();
    }
    MeetingTranscriber::Started start() {
        auto begun = begin(meetings->start());
        if (!*begun)
            scheduler.advance(3s);
        return begun->value();
    }
    MeetingTranscriber::Finished stop() { return await(meetings->stop()); }

    [[nodiscard]] std::vector<std::string> notes();
    [[nodiscard]] std::string note(const std::string& name) {
        return await(noteStore->read(name)).value_or("");
    }
    [[nodiscard]] bool wasTold(std::string_view title) const {
        return std::ranges::find(told, title, &std::pair<std::string, std::string>::first) !=
               told.end();
    }

    TemporaryFolder folder;
    SimLoop loop;
    SimScheduler scheduler{loop};
    SimCalendar calendar{scheduler};
    SimIds ids;
    std::shared_ptr<RecordingLogSink> logSink = std::make_shared<RecordingLogSink>();
    Log log{logSink, Log::PrivateText::hide};
    SpokenWords words;
    ScriptedCallAudio audio{scheduler};
    ScriptedTranscriber transcriber{scheduler, words};
    ScriptedServer server{scheduler, words};
    ScriptedLLM llm{scheduler};
    ScriptedKeychain keychain;
    MemoryUserDefaults defaults;
    NotificationCenter notifications;
    std::string profile;
    std::vector<std::pair<std::string, std::string>> told;

    // The program itself; made anew by a restart.
    std::shared_ptr<SerialQueue> queue;
    std::unique_ptr<AppSettings> settings;
    std::unique_ptr<ScriptedConsent> permission;
    std::unique_ptr<SpeechClient> speechClient;
    std::unique_ptr<LLMRefiner> refiner;
    std::unique_ptr<MeetingArchive> archive;
    std::unique_ptr<MeetingLibrary> noteStore;
    std::unique_ptr<MeetingTranscriber> meetings;
    std::unique_ptr<TaskScope> tasks;
};

}  // namespace quillet::world
