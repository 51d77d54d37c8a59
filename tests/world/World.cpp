#include "world/World.h"

#include <gtest/gtest.h>

namespace quillet::world {

namespace {

constexpr std::size_t samplesPerBuffer = 320;  // 20 ms
constexpr auto bufferLength = 20ms;
constexpr std::size_t samplesBetweenBreaths = 16'000;
constexpr std::int16_t roomNoise = 20;

std::size_t samplesIn(std::chrono::milliseconds duration) {
    return static_cast<std::size_t>(duration.count()) * 16;
}

}  // namespace

World::World() {
    desktop.open("org.example.editor", "Editor");
    Consent decided(loop, defaults, calendar, notifications);
    for (const auto* service :
         {"speech@speech.example", "speech@api.cloudflare.com", "language-model@model.example"})
        decided.decide(*Consent::parse(service), ConsentDecision::allowed);
    start();
}

World::~World() {
    tearDown();
}

void World::start() {
    queue = std::make_shared<SerialQueue>(loop.executor());
    settings = std::make_unique<AppSettings>(defaults, keychain, notifications, log);
    profiles = std::make_unique<AppProfileStore>(defaults, log);
    permission =
        std::make_unique<ScriptedConsent>(loop, defaults, calendar, notifications, server, llm);
    speechClient = std::make_unique<SpeechClient>(permission->speech, scheduler, *ids, log);
    archive = std::make_unique<RecordingArchive>(
        folder.path() / "Recordings", calendar, log, queue,
        [this] { notifications.post(recordingsChangedNotification); });
    recovered = archive->recoverInterrupted();
    muter = std::make_unique<OutputMuter>(output, folder.path() / "muted-output.json", loop, log);
    muter->recover();
    SessionStore::Rules rules;
    store = std::make_unique<SessionStore>(folder.path() / "sessions.db", std::move(rules), ids,
                                           log, queue, nullptr);
    VocabularyDB::Files files{folder.path() / "vocabulary.db", folder.path() / "dictionary.json"};
    vocabulary = std::make_unique<VocabularyDB>(std::move(files), log, queue);
    auto remember = [this](int limit) -> asio::awaitable<LLMRefiner::Memory> {
        auto terms = co_await vocabulary->topCorrected(limit);
        co_return LLMRefiner::Memory{std::move(terms), {}};
    };
    refiner = std::make_unique<LLMRefiner>(
        LLMRefiner::Services{permission->model, *settings, std::move(remember), log});
    session = std::make_unique<RecordingSession>(RecordingSession::Services{
        loop, scheduler, calendar, *ids, notifications, *settings, *profiles, microphone, *muter,
        *archive, transcriber, *speechClient, *refiner, *vocabulary, *store, panel,
        Inserter::Services{scheduler, loop, desktop.pasteboard, desktop, desktop.inputSource,
                           desktop, desktop, log},
        log});
    hotkeys = std::make_unique<HotkeyController>(HotkeyController::Services{
        desktop, scheduler, loop, notifications, *settings, *session, panel, log});
    EXPECT_TRUE(hotkeys->start());
    scheduler.drain();
}

void World::tearDown() {
    hotkeys.reset();
    session.reset();
    refiner.reset();
    vocabulary.reset();
    store.reset();
    scheduler.drain();
    muter.reset();
    archive.reset();
    speechClient.reset();
    permission.reset();
    profiles.reset();
    settings.reset();
    scheduler.drain();
}

void World::crashAndRestart() {
    // What the disk has at this moment is all that the next run gets.
    scheduler.drain();
    const auto saved = folder.path().string() + ".saved";
    std::filesystem::copy(folder.path(), saved, std::filesystem::copy_options::recursive);
    tearDown();
    std::filesystem::remove_all(folder.path());
    std::filesystem::rename(saved, folder.path());
    start();
}

void World::tap(Modifiers modifiers) {
    desktop.hold(modifiers);
    pass(30ms);
    desktop.hold({});
    pass(1ms);
}

void World::tap(Modifiers modifiers, Key key) {
    desktop.hold(modifiers);
    desktop.keyDown(key);
    pass(30ms);
    desktop.keyUp(key);
    desktop.hold({});
    pass(1ms);
}

void World::say(std::string text, std::chrono::milliseconds duration) {
    const auto pcm = words.speak(std::move(text), samplesIn(duration));
    for (std::size_t at = 0; at < pcm.size(); at += samplesPerBuffer) {
        const auto length = std::min(samplesPerBuffer, pcm.size() - at);
        // Nobody speaks without a breath; a level that never dips would be taken for noise.
        if (at > 0 && at % samplesBetweenBreaths == 0)
            silence(bufferLength);
        microphone.hear(std::span(pcm).subspan(at, length));
        pass(bufferLength);
    }
}

void World::silence(std::chrono::milliseconds duration) {
    const std::vector<std::int16_t> buffer(samplesPerBuffer, roomNoise);
    for (auto passed = 0ms; passed < duration; passed += bufferLength) {
        microphone.hear(buffer);
        pass(bufferLength);
    }
}

void World::dictate(std::string text) {
    tap(fnCtrl);
    say(std::move(text), 1s);
    tap(fnCtrl);
    pass(2s);
}

std::vector<TranscriptEntry> World::history() {
    return await(store->entriesSince(std::nullopt));
}

void World::set(std::string_view name, std::string_view value) {
    const auto result = settings->setFromText(name, value);
    EXPECT_TRUE(result.has_value()) << result.error();
}

void World::useModel(std::string_view outputMode) {
    set("llmEnabled", "true");
    set("llmBaseURL", "https://model.example/v1");
    set("llmModel", "a-model");
    set("dictationOutputMode", outputMode);
}

void World::useServer() {
    set("sttEngineType", "cloud");
    set("sttEndpoint", "https://speech.example/v1/audio/transcriptions");
}

}  // namespace quillet::world
