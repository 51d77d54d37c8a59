#include "app/main/Application.h"
#include "platform/linux/DesktopEntries.h"
#include "speech/SpeechServer.h"
#include "ui/guide/FirstRunGuide.h"
#include "ui/guide/RecognitionStep.h"
#include "ui/history/HistoryWindow.h"
#include "ui/history/RecordingsWindow.h"
#include "ui/kit/FirstPaint.h"
#include "ui/meetings/MeetingsWindow.h"
#include "ui/memory/KnowledgeWindow.h"
#include "ui/memory/ReviewWindow.h"

// How the application's windows are made, and what they are given.

namespace quillet {

void Application::offer(WindowKind kind, Windows::Maker make) {
    const auto tell = [log = log_.category("windows"), kind](double ms) {
        log.info("{} painted after {:.1f} ms", nameOf(kind), ms);
    };
    windows_.offer(kind, timed(std::move(make), tell));
}

void Application::offerWindows() {
    offer(WindowKind::settings,
          [this] { return std::make_unique<SettingsWindow>(settingsServices()); });
    offer(WindowKind::guide, [this] { return makeGuide(); });
    offer(WindowKind::history, [this] {
        return std::make_unique<HistoryWindow>(HistoryWindow::Services{
            loop_, history_, archive_, deletion_, settings_, calendar_, notifications_,
            audioPlayer_, [this](std::string text) { tasks_.spawn(typeAgain(std::move(text))); },
            [this] { windows_.open(WindowKind::settings); }});
    });
    offer(WindowKind::recordings, [this] {
        return std::make_unique<RecordingsWindow>(RecordingsWindow::Services{
            loop_, archive_, calendar_, notifications_, audioPlayer_,
            [this](std::string id) { return session_.sendAgain(std::move(id)); }});
    });
    offer(WindowKind::review, [this] {
        return std::make_unique<ReviewWindow>(ReviewWindow::Services{
            loop_, reviewer_, history_, settings_, calendar_, notifications_});
    });
    offer(WindowKind::knowledge, [this] {
        return std::make_unique<KnowledgeWindow>(
            KnowledgeWindow::Services{loop_, knowledge_, settings_, calendar_, notifications_});
    });
    offer(WindowKind::meetings, [this] {
        return std::make_unique<MeetingsWindow>(
            MeetingsWindow::Services{loop_, meetings_, meetingArchive_, meetingLibrary_, calendar_,
                                     notifications_, audioPlayer_});
    });
}

void Application::askToDeleteRecordings() {
    auto* window = windows_.open(WindowKind::recordings);
    if (auto* recordings = dynamic_cast<RecordingsWindow*>(window))
        recordings->askToDeleteAll();
}

std::unique_ptr<QWidget> Application::makeGuide() {
    const auto recognition = [this](MessageBar& messages) -> QWidget* {
        return new RecognitionStep({settings_, notifications_, messages},
                                   settingsServices().recognition, language_.current());
    };
    return std::make_unique<FirstRunGuide>(FirstRunGuide::Services{
        .loop = loop_,
        .settings = settings_,
        .audioInput = audioInput_,
        .session = session_,
        .hotkeys = hotkeys_,
        .notifications = notifications_,
        .hasGlobalKeys = globalKeys_,
        .makeRecognitionStep = recognition,
        .isReady = [this] { return canRecognise(); },
    });
}

bool Application::canRecognise() {
    const auto& record = settings_.record();
    if (record.sttEngineType == STTEngineType::cloud)
        return !speechServer(record).empty();
    return onDevice_.supports(record.languageCode().value_or("mixed")).has_value();
}

void Application::welcome() {
    if (!settings_.isNoted(guideSeenFlag))
        windows_.open(WindowKind::guide);
}

SettingsWindow::Services Application::settingsServices() {
    const auto open = [this](WindowKind kind) { windows_.open(kind); };
    return {
        .settings = settings_,
        .notifications = notifications_,
        .general = {hotkeys_, [this] { return autostart_.isOn(); },
                    [this](bool on) { return autostart_.set(on); }},
        .recognition = {loop_,
                        keychain_,
                        speechClient_,
                        session_,
                        calendar_,
                        {loop_, models_, paths_.engineFolders, modelQueue_, modelDownload_}},
        .writing = {loop_, keychain_, llmRefiner_},
        .vocabulary = {{loop_, vocabulary_, calendar_}, ids_},
        .apps = {loop_, profiles_, history_, [this] { return installedApplications(); }},
        .memory = {loop_, reviewer_, knowledge_, llmRefiner_, calendar_, open},
        .meetings = {onDevice_, llmRefiner_, paths_.meetings(), open},
        .mcp = {loop_, mcpService_},
        .privacy = {loop_, history_, [this] { return deletion_.eraseAll(); }, consent_, calendar_},
    };
}

/// Their names by id. Read anew each time, since it is seldom asked for.
asio::awaitable<std::map<std::string, std::string>> Application::installedApplications() {
    co_return co_await memoryQueue_->run([] {
        DesktopEntries entries(X11Desktop::environmentDataFolders());
        entries.waitUntilRead();
        return entries.names();
    });
}

/// The window that asks has stepped aside for the one before it.
asio::awaitable<void> Application::typeAgain(std::string text) {
    const auto typed = co_await agentAccess_.type(std::move(text));
    if (!typed)
        panel_.showNotice(typed.error());
}

}  // namespace quillet
