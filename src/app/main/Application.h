#pragma once

#include <asio/signal_set.hpp>
#include <memory>

#include "app/AgentAccess.h"
#include "app/ControlServer.h"
#include "app/DictationDeletion.h"
#include "app/DictationService.h"
#include "app/HistoryRules.h"
#include "app/HotkeyController.h"
#include "app/Housekeeping.h"
#include "app/MCPService.h"
#include "app/MeetingService.h"
#include "app/MemoryService.h"
#include "app/RecordingSession.h"
#include "base/async/IoLoop.h"
#include "base/http/CurlHttpClient.h"
#include "mcp/MCPTools.h"
#include "memory/NightSchedule.h"
#include "memory/NightWork.h"
#include "platform/Paths.h"
#include "platform/absent/AbsentFrontApplication.h"
#include "platform/absent/AbsentIdleMonitor.h"
#include "platform/absent/AbsentInputSource.h"
#include "platform/absent/AbsentKeyPoster.h"
#include "platform/absent/AbsentKeyboardMonitor.h"
#include "platform/absent/AbsentPasteboard.h"
#include "platform/linux/AccessibilityProcess.h"
#include "platform/linux/DecodingProcess.h"
#include "platform/linux/DesktopNotifier.h"
#include "platform/linux/DesktopService.h"
#include "platform/linux/JsonUserDefaults.h"
#include "platform/linux/PulseAudioInput.h"
#include "platform/linux/PulseAudioOutput.h"
#include "platform/linux/PulseAudioPlayer.h"
#include "platform/linux/PulseCallAudio.h"
#include "platform/linux/SecretServiceKeychain.h"
#include "platform/linux/SteadyScheduler.h"
#include "platform/linux/SystemServices.h"
#include "platform/linux/TimerFdAlarm.h"
#include "platform/linux/UPowerSupply.h"
#include "platform/linux/X11Desktop.h"
#include "platform/linux/XdgAutostart.h"
#include "settings/AppProfileStore.h"
#include "settings/ConsentingHttpClient.h"
#include "speech/ModelDownload.h"
#include "speech/VoskTranscriber.h"
#include "ui/PanelWidget.h"
#include "ui/QtLoop.h"
#include "ui/TrayMenu.h"
#include "ui/WindowService.h"
#include "ui/consent/ConsentPrompt.h"
#include "ui/kit/InterfaceLanguage.h"
#include "ui/kit/ReadablePlaceholders.h"
#include "ui/kit/Windows.h"
#include "ui/settings/SettingsWindow.h"

namespace quillet {

/// The desktop application, put together: which implementation stands behind which port, and in
/// which order all of it begins and ends. Members are built from top to bottom.
class Application {
public:
    Application(Paths paths, QtLoop& loop, SteadyScheduler& scheduler,
                JsonRpcDispatcher& dispatcher, const Log& log);
    ~Application();

    void open(WindowKind window) { windows_.open(window); }
    /// Shows the guide to somebody who has not seen it.
    void welcome();
    /// Gives back what was borrowed, then ends Qt's event loop.
    void quit();
    [[nodiscard]] bool hasEnded() const { return hasEnded_; }

private:
    /// The ports of the desktop, or those of none.
    struct Desktop {
        KeyboardMonitor* keyboard = nullptr;
        KeyPoster* keys = nullptr;
        Pasteboard* pasteboard = nullptr;
        FrontApplication* front = nullptr;
        InputSource* inputSource = nullptr;
        IdleMonitor* idle = nullptr;
    };

    [[nodiscard]] Desktop chooseDesktop();
    [[nodiscard]] RecordingSession::Services sessionServices();
    [[nodiscard]] LLMRefiner::Services refinerServices();
    [[nodiscard]] MeetingTranscriber::Services meetingServices();
    [[nodiscard]] NightlyReviewer::Services reviewServices();
    [[nodiscard]] KnowledgeKeeper::Services knowledgeServices();
    [[nodiscard]] NightSchedule::Services nightServices();
    [[nodiscard]] AgentAccess::Services agentServices();
    [[nodiscard]] SettingsWindow::Services settingsServices();
    asio::awaitable<std::map<std::string, std::string>> installedApplications();
    [[nodiscard]] static MCPServer::Limits mcpLimits();
    [[nodiscard]] DesktopService::Calls desktopCalls();
    void offerWindows();
    void offer(WindowKind kind, Windows::Maker make);
    void askToDeleteRecordings();
    [[nodiscard]] std::unique_ptr<QWidget> makeGuide();
    [[nodiscard]] bool canRecognise();
    asio::awaitable<void> typeAgain(std::string text);
    void tell(const std::string& title, const std::string& body);
    void offerInterrupted();
    asio::awaitable<void> offerMeetings();
    void watchSignals();

    Paths paths_;
    QtLoop& loop_;
    Log log_;
    SteadyScheduler& scheduler_;
    SystemCalendar calendar_;
    std::shared_ptr<KernelIds> ids_ = std::make_shared<KernelIds>();
    NotificationCenter notifications_;

    std::unique_ptr<X11Desktop> x11_;
    AbsentKeyboardMonitor noKeyboard_;
    AbsentKeyPoster noKeys_;
    AbsentPasteboard noPasteboard_;
    AbsentFrontApplication noFront_;
    AbsentInputSource noInputSource_;
    AbsentIdleMonitor noIdle_;
    Desktop desktop_;
    AccessibilityProcess focusedField_;
    DesktopNotifier notifier_;
    SecretServiceKeychain keychain_;
    SecretServiceKeychain mcpKeychain_{{}, MCPKey::keychainService};
    MCPKey mcpKey_{mcpKeychain_, *ids_};
    PulseConnection pulse_;
    PulseAudioInput audioInput_;
    PulseAudioOutput audioOutput_;
    PulseCallAudio callAudio_;
    PulseAudioPlayer audioPlayer_{pulse_, scheduler_};
    UPowerSupply power_;
    TimerFdAlarm alarm_;
    XdgAutostart autostart_{XdgAutostart::environmentFolders(), programBeside("quillet-app")};

    JsonUserDefaults defaults_;
    AppSettings settings_;
    AppProfileStore profiles_;
    HistoryRules historyRules_;
    Consent consent_;
    CurlHttpClient http_;
    ConsentingHttpClient speechHttp_{http_, consent_, ServicePurpose::speech};
    ConsentingHttpClient modelHttp_{http_, consent_, ServicePurpose::languageModel};
    CurlHttpClient downloads_;  // writes to the disk where others only wait for the network
    ConsentingHttpClient downloadHttp_{downloads_, consent_, ServicePurpose::modelDownload};
    SpeechClient speechClient_;
    VocabularyDB vocabulary_;
    LLMRefiner llmRefiner_;
    VoskTranscriber onDevice_;
    RecordingArchive archive_;
    SessionStore history_;
    OutputMuter muter_;
    /// A large model takes a while to unpack.
    std::shared_ptr<SerialQueue> modelQueue_ = std::make_shared<SerialQueue>("models");
    std::shared_ptr<SerialQueue> memoryQueue_ = std::make_shared<SerialQueue>("memory");
    SpeechModels models_{paths_.models(), paths_.systemModels};
    ModelDownload modelDownload_{
        {downloadHttp_, modelQueue_, models_, modelCatalogue(paths_.modelCatalogue)}};
    MeetingArchive meetingArchive_;
    MeetingLibrary meetingLibrary_;
    NightlyReviewer reviewer_;

    InterfaceLanguage language_{{notifications_, settings_, paths_.localeFolders, desktopLanguage(),
                                 [this] { windows_.reopen(); }, log_.category("language")}};
    ReadablePlaceholders placeholders_;
    PanelWidget panel_;
    Windows windows_{defaults_};
    ConsentPrompt consentPrompt_{consent_, notifications_};
    RecordingSession session_;
    HotkeyController hotkeys_;
    bool globalKeys_;
    MeetingTranscriber meetings_;
    KnowledgeKeeper knowledge_;
    DictationDeletion deletion_;
    NightWork nightWork_;
    NightSchedule nights_;
    Housekeeping housekeeping_;
    TrayMenu tray_;
    WindowService windowService_{windows_};
    DictationService service_;
    MeetingService meetingService_;
    MemoryService memoryService_;
    std::shared_ptr<SerialQueue> agentQueue_ = std::make_shared<SerialQueue>("agents");
    AgentAccess agentAccess_;
    IoLoop mcpLoop_{"mcp"};
    SteadyScheduler mcpScheduler_{mcpLoop_};
    MCPTools mcpTools_;
    JsonRpcDispatcher mcpRpc_;
    MCPServer mcpServer_;
    MCPService mcpService_;
    DesktopService desktopService_;
    NotificationCenter::Subscription profilesChanged_;
    NotificationCenter::Subscription entryLogged_;
    NotificationCenter::Subscription meetingChanged_;
    asio::signal_set signals_;
    TaskScope tasks_;
    bool quitting_ = false;
    bool hasEnded_ = false;
};

}  // namespace quillet
