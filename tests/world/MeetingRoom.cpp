#include <gtest/gtest.h>

#include "world/MeetingRoom.h"

namespace quillet::world {

namespace {

constexpr std::size_t samplesPerBuffer = 320;  // 20 ms
constexpr auto bufferLength = 20ms;
constexpr std::size_t samplesBetweenBreaths = 16'000;

}  // namespace

void MeetingRoom::open() {
    queue = std::make_shared<SerialQueue>(loop.executor());
    settings = std::make_unique<AppSettings>(defaults, keychain, notifications, log);
    permission =
        std::make_unique<ScriptedConsent>(loop, defaults, calendar, notifications, server, llm);
    speechClient = std::make_unique<SpeechClient>(permission->speech, scheduler, ids, log);
    auto remember = [this](int) -> asio::awaitable<LLMRefiner::Memory> {
        co_return LLMRefiner::Memory{{}, profile};
    };
    refiner = std::make_unique<LLMRefiner>(
        LLMRefiner::Services{permission->model, *settings, remember, log});
    archive =
        std::make_unique<MeetingArchive>(folder.path() / "meeting-audio", calendar, log, queue);
    noteStore = std::make_unique<MeetingLibrary>(folder.path() / "meetings", queue);
    meetings = std::make_unique<MeetingTranscriber>(MeetingTranscriber::Services{
        loop, scheduler, calendar, ids, notifications, *settings, audio, *speechClient, transcriber,
        *refiner, *archive, *noteStore, *queue, remember,
        [this](std::string title, std::string body) {
            told.emplace_back(std::move(title), std::move(body));
        },
        log});
    tasks = std::make_unique<TaskScope>(loop);
}

void MeetingRoom::close() {
    tasks.reset();
    meetings.reset();
    noteStore.reset();
    archive.reset();
    refiner.reset();
    speechClient.reset();
    permission.reset();
    settings.reset();
    scheduler.drain();
}

void MeetingRoom::crashAndRestart() {
    // What the disk has at this moment is all that the next run gets.
    const auto saved = folder.path().string() + ".saved";
    std::filesystem::copy(folder.path(), saved, std::filesystem::copy_options::recursive);
    close();
    std::filesystem::remove_all(folder.path());
    std::filesystem::rename(saved, folder.path());
    open();
}

void MeetingRoom::say(Side side, std::string text, std::chrono::milliseconds duration) {
    const auto pcm = words.speak(std::move(text), static_cast<std::size_t>(duration.count()) * 16);
    const std::vector<std::int16_t> nothing(samplesPerBuffer);
    for (std::size_t at = 0; at < pcm.size(); at += samplesPerBuffer) {
        const auto length = std::min(samplesPerBuffer, pcm.size() - at);
        if (at > 0 && at % samplesBetweenBreaths == 0)
            silence(bufferLength);
        pass(bufferLength);
        audio.hear(side, std::span(pcm).subspan(at, length));
        audio.hear(side == me ? them : me, std::span(nothing).first(length));
    }
}

void MeetingRoom::silence(std::chrono::milliseconds duration) {
    const std::vector<std::int16_t> nothing(samplesPerBuffer);
    for (auto passed = 0ms; passed < duration; passed += bufferLength) {
        pass(bufferLength);
        audio.hear(me, nothing);
        audio.hear(them, nothing);
    }
}

std::vector<std::string> MeetingRoom::notes() {
    std::vector<std::string> names;
    for (auto& entry : await(noteStore->entries()))
        names.push_back(std::move(entry.name));
    return names;
}

}  // namespace quillet::world
