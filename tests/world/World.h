#pragma once

#include <chrono>
#include <memory>
#include <string>

#include "app/HotkeyController.h"
#include "app/RecordingSession.h"
#include "platform/absent/MemoryUserDefaults.h"
#include "settings/AppProfileStore.h"
#include "world/ScriptedConsent.h"
#include "world/ScriptedDesktop.h"
#include "world/ScriptedLLM.h"
#include "world/ScriptedServices.h"
#include "world/ScriptedSound.h"
#include "world/ScriptedSpeech.h"
#include "world/SimLoop.h"
#include "world/SpokenWords.h"
#include "world/TemporaryFolder.h"

namespace quillet::world {

using namespace std::chrono_literals;

inline constexpr Modifiers fnCtrl = {Modifier::function, Modifier::control};
inline constexpr Modifiers ctrlAlt = {Modifier::control, Modifier::option};

/// The real controller, stores and settings on a virtual clock, in a world that the story scripts:
///     world.tap(fnCtrl); world.say("hello", 2s); world.tap(fnCtrl); world.settle();
///     EXPECT_EQ(world.field(), "hello");
class World {
public:
    World();
    ~World();

    // --- what a user does ---
    /// Presses modifiers alone and lets go of them.
    void tap(Modifiers modifiers);
    /// Presses a key with modifiers and lets go.
    void tap(Modifiers modifiers, Key key);
    /// Speaks for this long, in 20 ms buffers; time passes.
    void say(std::string text, std::chrono::milliseconds duration);
    /// Says nothing for this long.
    void silence(std::chrono::milliseconds duration);
    /// One whole dictation by Fn+Ctrl.
    void dictate(std::string text);

    // --- time ---
    void pass(Scheduler::Duration time) { scheduler.advance(time); }
    /// Lets everything come to rest: 10 s pass.
    void settle() { pass(10s); }

    // --- what there is to see ---
    [[nodiscard]] const std::string& field() { return desktop.frontApp().field; }
    [[nodiscard]] RecognitionState state() const { return session->state(); }
    [[nodiscard]] std::string notice() const { return panel.lastNotice(); }
    [[nodiscard]] std::vector<TranscriptEntry> history();
    template <class T>
    T await(asio::awaitable<T> task);

    // --- changes of the world ---
    void set(std::string_view name, std::string_view value);
    /// Lets recognition be done by a server.
    void useServer();
    /// Lets a language model be asked, in this output mode.
    void useModel(std::string_view outputMode);
    /// Ends the program without a word, as a kill does, and starts it again.
    void crashAndRestart();
    void start();
    /// Ends the program without a word.
    void tearDown();

    TemporaryFolder folder;
    SimLoop loop;
    SimScheduler scheduler{loop};
    SimCalendar calendar{scheduler};
    std::shared_ptr<SimIds> ids = std::make_shared<SimIds>();
    std::shared_ptr<RecordingLogSink> logSink = std::make_shared<RecordingLogSink>();
    Log log{logSink, Log::PrivateText::hide};
    SpokenWords words;
    ScriptedMicrophone microphone{scheduler};
    ScriptedOutput output{scheduler};
    ScriptedDesktop desktop{loop, scheduler};
    ScriptedTranscriber transcriber{scheduler, words};
    ScriptedServer server{scheduler, words};
    ScriptedLLM llm{scheduler};
    ScriptedKeychain keychain;
    ScriptedPanel panel;
    MemoryUserDefaults defaults;
    NotificationCenter notifications;

    // The program itself; made anew by a restart.
    std::shared_ptr<SerialQueue> queue;
    std::unique_ptr<AppSettings> settings;
    std::unique_ptr<AppProfileStore> profiles;
    std::unique_ptr<ScriptedConsent> permission;  ///< the scripted services have it
    std::unique_ptr<SpeechClient> speechClient;
    std::unique_ptr<VocabularyDB> vocabulary;
    std::unique_ptr<LLMRefiner> refiner;
    std::unique_ptr<RecordingArchive> archive;
    std::unique_ptr<OutputMuter> muter;
    std::unique_ptr<SessionStore> store;
    std::unique_ptr<RecordingSession> session;
    std::unique_ptr<HotkeyController> hotkeys;
    std::size_t recovered = 0;
};

template <class T>
T World::await(asio::awaitable<T> task) {
    std::optional<T> result;
    TaskScope scope(loop);
    auto run = [&]() -> asio::awaitable<void> { result.emplace(co_await std::move(task)); };
    scope.spawn(run());
    scheduler.drain();
    if (!result)
        scheduler.advance(60s);
    return std::move(result).value();
}

}  // namespace quillet::world
