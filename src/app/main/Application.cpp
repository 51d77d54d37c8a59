#include "app/main/Application.h"

#include <fmt/format.h>

#include <QApplication>
#include <csignal>

#include "base/Version.h"
#include "mcp/MCPProtocol.h"
#include "meetings/MeetingMessages.h"
#include "memory/PhoneJournal.h"
#include "ui/guide/FirstRunGuide.h"

namespace quillet {

Application::Application(Paths paths, QtLoop& loop, SteadyScheduler& scheduler,
                         JsonRpcDispatcher& dispatcher, const Log& log)
    : paths_(std::move(paths)),
      loop_(loop),
      log_(log),
      scheduler_(scheduler),
      desktop_(chooseDesktop()),
      focusedField_(programBeside("quillet-accessibility"), loop, scheduler_,
                    log.category("accessibility")),
      notifier_(log.category("notifications")),
      pulse_(loop, log.category("sound")),
      audioInput_(pulse_, scheduler_, log.category("sound")),
      audioOutput_(pulse_),
      callAudio_(pulse_, scheduler_),
      alarm_(loop),
      defaults_(paths_.defaultsFile(), log.category("settings")),
      settings_(defaults_, keychain_, notifications_, log.category("settings")),
      profiles_(defaults_, log.category("settings")),
      historyRules_(settings_, notifications_),
      consent_(loop, defaults_, calendar_, notifications_),
      speechClient_(speechHttp_, scheduler_, *ids_, log.category("speech")),
      vocabulary_({paths_.vocabularyDatabase(), paths_.legacyDictionary()},
                  log.category("vocabulary"), nullptr),
      llmRefiner_(refinerServices()),
      onDevice_({paths_.engineFolders, paths_.models(), paths_.systemModels}, loop, scheduler_,
                log.category("speech")),
      archive_(paths_.recordings(), calendar_, log.category("recordings"), nullptr,
               [this] {
                   loop_.enqueue([this] { notifications_.post(recordingsChangedNotification); });
               }),
      history_(
          paths_.sessionsDatabase(), historyRules_.rules(), ids_,
          log.category("com.quillet.sessionstore"), nullptr,
          [this] { loop_.enqueue([this] { notifications_.post(entryLoggedNotification); }); },
          [this](const std::vector<std::string>&) {
              loop_.enqueue([this] { notifications_.post(entriesDeletedNotification); });
          }),
      muter_(audioOutput_, paths_.quilletHome() / "muted-output.json", loop, log.category("sound")),
      meetingArchive_(paths_.meetingAudio(), calendar_, log.category("meetings"), nullptr),
      meetingLibrary_(paths_.meetings(), memoryQueue_),
      reviewer_(reviewServices()),
      session_(sessionServices()),
      hotkeys_({*desktop_.keyboard, scheduler_, loop, notifications_, settings_, session_, panel_,
                log.category("keys")}),
      globalKeys_(hotkeys_.start()),
      meetings_(meetingServices()),
      knowledge_(knowledgeServices()),
      deletion_({loop, history_, archive_, knowledge_, reviewer_, session_}),
      nightWork_(calendar_, reviewer_, knowledge_),
      nights_(nightServices()),
      housekeeping_({loop, scheduler_, calendar_, settings_, history_, archive_, meetingArchive_,
                     paths_.quilletHome()}),
      tray_({loop, session_, archive_, meetings_, settings_, calendar_, notifications_, hotkeys_,
             [this](WindowKind kind) { windows_.open(kind); }, [this] { askToDeleteRecordings(); },
             [this] { quit(); }}),
      service_({session_, archive_, deletion_, hotkeys_, [this] { tray_.popUp(); },
                [this] { quit(); }, globalKeys_}),
      meetingService_(meetings_),
      memoryService_(reviewer_, knowledge_),
      agentAccess_(agentServices()),
      mcpTools_({mcpLoop_, mcpScheduler_, loop, calendar_, settings_, history_, vocabulary_,
                 meetingLibrary_, reviewer_, knowledge_, agentAccess_}),
      mcpServer_({mcpLoop_, mcpScheduler_, mcpRpc_, loop, mcpKey_, log.category("mcp")},
                 MCPServer::usualPort, mcpLimits()),
      mcpService_({loop, mcpLoop_, notifications_, settings_, mcpKey_, mcpServer_}),
      desktopService_(loop, desktopCalls(), log.category("desktop")),
      signals_(loop.executor(), SIGTERM, SIGINT, SIGHUP),
      tasks_(loop) {
    profilesChanged_ = notifications_.subscribe(std::string(settingsChangedNotification),
                                                [this] { profiles_.load(); });
    meetingChanged_ = notifications_.subscribe(std::string(meetingChangedNotification),
                                               [this] { muter_.hold(meetings_.isRecording()); });
    entryLogged_ = notifications_.subscribe(std::string(entryLoggedNotification),
                                            [this] { mcpTools_.entryLogged(); });
    defaults_.watch(loop);
    muter_.recover();
    offerInterrupted();
    tasks_.spawn(offerMeetings());
    tasks_.spawn(reviewer_.ledger().load());
    tasks_.spawn(settings_.migrateSecrets());
    offerWindows();
    windowService_.offer(dispatcher);
    service_.offer(dispatcher);
    meetingService_.offer(dispatcher);
    memoryService_.offer(dispatcher);
    mcpService_.offer(dispatcher);
    offerMCP(mcpRpc_, mcpTools_, *memoryQueue_, version, log.category("mcp"));
    watchSignals();
    if (!globalKeys_)
        log_.info(
            "This desktop shows no application its keys; bind \"quillet toggle\" to a key "
            "there");
}

Application::~Application() = default;

Application::Desktop Application::chooseDesktop() {
    X11Desktop::Options options;
    options.dataFolders = X11Desktop::environmentDataFolders();
    auto opened = X11Desktop::open(std::move(options), loop_, log_.category("desktop"));
    if (!opened) {
        log_.error("There is no X display: keys, clipboard and pasting are not available");
        return {&noKeyboard_, &noKeys_, &noPasteboard_, &noFront_, &noInputSource_, &noIdle_};
    }
    x11_ = std::move(*opened);
    return {&x11_->keyboardMonitor(),  &x11_->keyPoster(),   &x11_->pasteboard(),
            &x11_->frontApplication(), &x11_->inputSource(), &x11_->idleMonitor()};
}

RecordingSession::Services Application::sessionServices() {
    return {loop_,
            scheduler_,
            calendar_,
            *ids_,
            notifications_,
            settings_,
            profiles_,
            audioInput_,
            muter_,
            archive_,
            onDevice_,
            speechClient_,
            llmRefiner_,
            vocabulary_,
            history_,
            panel_,
            {scheduler_, loop_, *desktop_.pasteboard, *desktop_.keys, *desktop_.inputSource,
             *desktop_.front, focusedField_, log_.category("insert")},
            log_.category("dictation"),
            [this] { return reviewer_.state().memory.terms; }};
}

LLMRefiner::Services Application::refinerServices() {
    auto remember = [this](int limit) { return reviewer_.ledger().memory(limit); };
    return {modelHttp_, settings_, std::move(remember), log_.category("llm")};
}

MeetingTranscriber::Services Application::meetingServices() {
    return {loop_,
            scheduler_,
            calendar_,
            *ids_,
            notifications_,
            settings_,
            callAudio_,
            speechClient_,
            onDevice_,
            llmRefiner_,
            meetingArchive_,
            meetingLibrary_,
            *memoryQueue_,
            [this](int limit) { return reviewer_.ledger().memory(limit); },
            [this](const std::string& title, const std::string& body) { tell(title, body); },
            log_.category("meetings")};
}

NightlyReviewer::Services Application::reviewServices() {
    return {loop_,
            calendar_,
            *ids_,
            notifications_,
            settings_,
            history_,
            vocabulary_,
            archive_,
            speechClient_,
            llmRefiner_,
            {paths_.review(), paths_.reviewProgress()},
            paths_.quilletHome() / phoneJournalName,
            memoryQueue_,
            log_.category("review")};
}

KnowledgeKeeper::Services Application::knowledgeServices() {
    return {loop_,
            calendar_,
            ids_,
            notifications_,
            settings_,
            history_,
            meetingLibrary_,
            llmRefiner_,
            paths_.knowledge(),
            paths_.quilletHome() / phoneJournalName,
            memoryQueue_,
            log_.category("knowledge")};
}

NightSchedule::Services Application::nightServices() {
    const auto isOn = [this] {
        return settings_.record().nightlyReview && settings_.record().rememberWhatISay &&
               llmRefiner_.isConfigured();
    };
    return {loop_,
            scheduler_,
            calendar_,
            *desktop_.idle,
            power_,
            alarm_,
            isOn,
            [this] { return nightWork_.lastRun(); },
            [this] { return nightWork_.run(); }};
}

/// AI clients must leave descriptors for everything else.
MCPServer::Limits Application::mcpLimits() {
    MCPServer::Limits limits;
    limits.connections = std::min(limits.connections, descriptorsAllowed() / 2);
    return limits;
}

AgentAccess::Services Application::agentServices() {
    return {loop_,
            scheduler_,
            calendar_,
            settings_,
            session_,
            archive_,
            onDevice_,
            speechClient_,
            vocabulary_,
            agentQueue_,
            [tools = programBeside("quillet-tools")](
                const FileDescriptor& file, std::chrono::seconds longest,
                const std::stop_token& stop) { return decodeAudio(tools, file, longest, stop); },
            log_.category("agents"),
            [this] { return reviewer_.state().memory.terms; }};
}

/// What launchers and docks ask for.
DesktopService::Calls Application::desktopCalls() {
    return {[this] {
                if (settings_.isNoted(guideSeenFlag))
                    tray_.popUp();
                else
                    windows_.open(WindowKind::guide);
            },
            [this](const std::string& action) {
                if (const auto window = windowNamed(action))
                    windows_.open(*window);
            }};
}

void Application::tell(const std::string& title, const std::string& body) {
    const auto shownTitle = translated(title);
    const auto shownBody = translated(body);
    panel_.showNotice(body.empty() ? shownTitle : shownTitle + "\n" + shownBody);
    notifier_.show(shownTitle, shownBody);
}

/// A meeting that broke off is offered to be finished.
asio::awaitable<void> Application::offerMeetings() {
    const auto open = co_await meetings_.unfinished();
    if (!open.empty())
        tell(std::string(meeting_messages::interrupted),
             std::string(meeting_messages::interruptedAdvice));
}

void Application::offerInterrupted() {
    const auto recovered = archive_.recoverInterrupted();
    if (recovered == 0)
        return;
    log_.info("{} interrupted recording(s) recovered", recovered);
    const auto sentence =
        translated("An interrupted recording was saved in menu → Recent Recordings");
    panel_.showNotice(sentence);
    notifier_.show(translated("Quillet"), sentence);
}

void Application::watchSignals() {
    signals_.async_wait([this](asio::error_code error, int) {
        if (!error)
            quit();
    });
}

void Application::quit() {
    if (std::exchange(quitting_, true))
        return;
    windows_.closeAll();
    auto end = [](Application& self) -> asio::awaitable<void> {
        co_await self.mcpService_.shutDown();
        co_await self.meetings_.shutDown();
        co_await self.session_.shutDown();
        self.hasEnded_ = true;
        QApplication::quit();
    };
    tasks_.spawn(end(*this));
}

}  // namespace quillet
