#include "app/main/Application.h"
#include "speech/SpeechServer.h"
#include "ui/guide/FirstRunGuide.h"
#include "ui/history/HistoryWindow.h"
#include "ui/history/RecordingsWindow.h"
#include "ui/meetings/MeetingsWindow.h"
#include "ui/memory/KnowledgeWindow.h"
#include "ui/memory/ReviewWindow.h"

// How the application's windows are made, and what they are given.

namespace quillet {

void Application::offerWindows() {
    windows_.offer(WindowKind::settings,
                   [this] { return std::make_unique<SettingsWindow>(settingsServices()); });
    windows_.offer(WindowKind::guide, [this] { return makeGuide(); });
    windows_.offer(WindowKind::history, [this] {
        return std::make_unique<HistoryWindow>(HistoryWindow::Services{
            loop_, history_, archive_, deletion_, settings_, calendar_, notifications_,
            audioPlayer_, [this](std::string text) { tasks_.spawn(typeAgain(std::move(text))); },
            [this] { windows_.open(WindowKind::settings); }});
    });
    windows_.offer(WindowKind::recordings, [this] {
        return std::make_unique<RecordingsWindow>(RecordingsWindow::Services{
            loop_, archive_, calendar_, notifications_, audioPlayer_,
            [this](std::string id) { return session_.sendAgain(std::move(id)); }});
    });
    windows_.offer(WindowKind::review, [this] {
        return std::make_unique<ReviewWindow>(ReviewWindow::Services{
            loop_, reviewer_, history_, settings_, calendar_, notifications_});
    });
    windows_.offer(WindowKind::knowledge, [this] {
        return std::make_unique<KnowledgeWindow>(
            KnowledgeWindow::Services{loop_, knowledge_, settings_, calendar_, notifications_});
    });
    windows_.offer(WindowKind::meetings, [this] {
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
        return new RecognitionPage({settings_, notifications_, messages},
                                   settingsServices().recognition);
    };
    return std::make_unique<FirstRunGuide>(FirstRunGuide::Services{
        .loop = loop_,
        .settings = settings_,
        .audioInput = audioInput_,
        .session = session_,
        .hotkeys = hotkeys_,
        .notifications = notifications_,
        .hasGlobalKeys = globalKeys_,
        .makeRecognitionPage = recognition,
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
                        {loop_, paths_.models(), paths_.engineFolders, memoryQueue_}},
        .writing = {loop_, keychain_, llmRefiner_},
        .vocabulary = {{loop_, vocabulary_, calendar_}, ids_},
        .apps = {loop_, profiles_, history_},
        .memory = {loop_, reviewer_, knowledge_, llmRefiner_, calendar_, open},
        .meetings = {onDevice_, llmRefiner_, paths_.meetings(), open},
        .mcp = {loop_, mcpService_},
        .privacy = {loop_, history_, [this] { return deletion_.eraseAll(); }, consent_, calendar_},
    };
}

/// The window that asks has stepped aside for the one before it.
asio::awaitable<void> Application::typeAgain(std::string text) {
    const auto typed = co_await agentAccess_.type(std::move(text));
    if (!typed)
        panel_.showNotice(typed.error());
}

}  // namespace quillet
