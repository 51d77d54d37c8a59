#include "app/main/Application.h"

#include <fmt/format.h>

#include <QApplication>
#include <csignal>

namespace quillet {

Application::Application(Paths paths, QtLoop& loop, JsonRpcDispatcher& dispatcher, const Log& log)
    : paths_(std::move(paths)),
      loop_(loop),
      log_(log),
      scheduler_(loop),
      desktop_(chooseDesktop()),
      focusedField_(programBeside("quillet-accessibility"), loop, scheduler_,
                    log.category("accessibility")),
      notifier_(log.category("notifications")),
      pulse_(loop, log.category("sound")),
      audioInput_(pulse_, scheduler_, log.category("sound")),
      audioOutput_(pulse_),
      defaults_(paths_.defaultsFile(), log.category("settings")),
      settings_(defaults_, keychain_, notifications_, log.category("settings")),
      profiles_(defaults_, log.category("settings")),
      historyRules_(settings_, notifications_),
      speechClient_(http_, scheduler_, *ids_, log.category("speech")),
      vocabulary_({paths_.vocabularyDatabase(), paths_.legacyDictionary()},
                  log.category("vocabulary"), nullptr),
      llmRefiner_(refinerServices()),
      onDevice_({paths_.engineFolders, paths_.models()}, loop, scheduler_, log.category("speech")),
      archive_(paths_.recordings(), calendar_, log.category("recordings"), nullptr),
      history_(paths_.sessionsDatabase(), historyRules_.rules(), ids_,
               log.category("com.quillet.sessionstore"), nullptr,
               [this] { loop_.enqueue([this] { notifications_.post(entryLoggedNotification); }); }),
      muter_(audioOutput_, paths_.quilletHome() / "muted-output.json", loop, log.category("sound")),
      session_(sessionServices()),
      hotkeys_({*desktop_.keyboard, scheduler_, loop, notifications_, settings_, session_, panel_,
                log.category("keys")}),
      globalKeys_(hotkeys_.start()),
      housekeeping_(
          {loop, scheduler_, calendar_, settings_, history_, archive_, paths_.quilletHome()}),
      tray_(
          {session_, archive_, settings_, calendar_, notifications_, hotkeys_, [this] { quit(); }}),
      service_({session_, archive_, hotkeys_, [this] { tray_.popUp(); }, [this] { quit(); },
                globalKeys_}),
      signals_(loop.executor(), SIGTERM, SIGINT, SIGHUP),
      tasks_(loop) {
    profilesChanged_ = notifications_.subscribe(std::string(settingsChangedNotification),
                                                [this] { profiles_.load(); });
    defaults_.watch(loop);
    muter_.recover();
    offerInterrupted();
    tasks_.spawn(settings_.migrateSecrets());
    service_.offer(dispatcher);
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
        return {&noKeyboard_, &noKeys_, &noPasteboard_, &noFront_, &noInputSource_};
    }
    x11_ = std::move(*opened);
    return {&x11_->keyboardMonitor(), &x11_->keyPoster(), &x11_->pasteboard(),
            &x11_->frontApplication(), &x11_->inputSource()};
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
            log_.category("dictation")};
}

LLMRefiner::Services Application::refinerServices() {
    auto remember = [this](int limit) -> asio::awaitable<LLMRefiner::Memory> {
        auto terms = co_await vocabulary_.topCorrected(limit);
        co_return LLMRefiner::Memory{std::move(terms), {}};
    };
    return {http_, settings_, std::move(remember), log_.category("llm")};
}

void Application::offerInterrupted() {
    const auto recovered = archive_.recoverInterrupted();
    if (recovered == 0)
        return;
    log_.info("{} interrupted recording(s) recovered", recovered);
    const std::string sentence = "An interrupted recording was saved in menu → Recent Recordings";
    panel_.showNotice(sentence);
    notifier_.show("Quillet", sentence);
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
    auto end = [](Application& self) -> asio::awaitable<void> {
        co_await self.session_.shutDown();
        QApplication::quit();
    };
    tasks_.spawn(end(*this));
}

}  // namespace quillet
