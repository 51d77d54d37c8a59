#include "simulate/Evening.h"

#include <algorithm>
#include <array>
#include <iomanip>
#include <ostream>

namespace quillet::world {

namespace {

constexpr std::array sentences = {"please send the report to the office before noon",
                                  "请把报告发到办公室去",
                                  "明天的 meeting 改到下午",
                                  "the green door on the left was open again",
                                  "这个 issue 我们下周再看",
                                  "can you read me the last line of the letter",
                                  "窗外下了一整天的雨",
                                  "bring the small ladder and the blue paint",
                                  "把 pull request 合并以后通知大家",
                                  "nobody has heard from the other team since"};

struct Place {
    const char* id;
    const char* name;
};
constexpr std::array places = {
    Place{"org.example.editor", "Editor"},  Place{"org.example.chat", "Chat"},
    Place{"org.example.work", "Work chat"}, Place{"org.example.terminal", "Terminal"},
    Place{"org.example.silent", "Silent"},  Place{"org.example.slow", "Slow"},
    Place{"org.example.login", "Login"},    Place{"com.agilebits.onepassword", "Safe"}};
/// These are turned to less often, for nothing can be dictated there.
constexpr std::size_t closedPlaces = 2;

constexpr Modifiers fnCtrlShift = {Modifier::function, Modifier::control, Modifier::shift};
constexpr Modifiers fnCtrlAlt = {Modifier::function, Modifier::control, Modifier::option};
constexpr Modifiers fnCtrlSuper = {Modifier::function, Modifier::control, Modifier::command};
constexpr Modifiers fnCtrlShiftAlt = {Modifier::function, Modifier::control, Modifier::shift,
                                      Modifier::option};
constexpr std::array chords = {fnCtrl,    fnCtrl,      fnCtrl,      fnCtrl,         fnCtrl,
                               fnCtrlAlt, fnCtrlSuper, fnCtrlSuper, fnCtrlShiftAlt, fnCtrlShift};
constexpr std::array modes = {HotkeyMode::dictate, HotkeyMode::live, HotkeyMode::command,
                              HotkeyMode::translate, HotkeyMode::amend};

constexpr auto slowestFetch = 900ms;
constexpr auto quitWait = 1s;
constexpr int mostQuitWaits = 10;
constexpr auto settling = 10s;
constexpr int mostSettlings = 400;

/// A program, its world, and what happens to them.
class Stage {
public:
    explicit Stage(std::ostream* story);
    ~Stage() { world_.scheduler.afterTurn = nullptr; }

    void happen(const Happening& happening);
    void close(bool inMidWork);
    [[nodiscard]] Witness& witness() { return witness_; }

    // --- what may happen; each returns what there is to tell ---
    using Numbers = const Happening&;
    std::string press(Numbers n);
    std::string growingChord(Numbers n);
    std::string spaceChord(Numbers n);
    std::string speak(Numbers n);
    std::string mumble(Numbers n);
    std::string wait(Numbers n);
    std::string pauseLong(Numbers n);
    std::string jump(Numbers n);
    std::string rest(Numbers n);
    std::string escape(Numbers n);
    std::string superPeriod(Numbers n);
    std::string pasteLast(Numbers n);
    std::string sendAgain(Numbers n);
    std::string commandLine(Numbers n);
    std::string switchTo(Numbers n);
    std::string nowhere(Numbers n);
    std::string copy(Numbers n);
    std::string edit(Numbers n);
    std::string type(Numbers n);
    std::string select(Numbers n);
    std::string pressReturn(Numbers n);
    std::string model(Numbers n);
    std::string modelFails(Numbers n);
    std::string server(Numbers n);
    std::string serverFails(Numbers n);
    std::string device(Numbers n);
    std::string fault(Numbers n);
    std::string mended(Numbers n);
    std::string unplug(Numbers n);
    std::string setting(Numbers n);
    std::string password(Numbers n);
    std::string inputMethod(Numbers n);
    std::string holdKey(Numbers n);
    std::string interrupt(Numbers n);
    std::string agentDictates(Numbers n);
    std::string agentTypes(Numbers n);
    std::string agentsLeave(Numbers n);
    std::string crash(Numbers n);
    std::string quit(Numbers n);

private:
    void openPlaces();
    void cancel(const std::function<void()>& action);
    void hold(Modifiers modifiers, std::chrono::milliseconds time);
    void pass(std::chrono::milliseconds time);
    void restart();
    std::string newMark() { return mark(++marks_); }
    asio::awaitable<void> dictationForAgent(std::chrono::seconds atMost);
    asio::awaitable<void> typingForAgent(std::string text);

    World world_;
    Witness witness_{world_};
    std::optional<TaskScope> agents_{std::in_place, world_.loop};
    std::ostream* story_;
    int marks_ = 0;
    int copies_ = 0;
};

struct Row {
    const char* name;
    std::string (Stage::*act)(Stage::Numbers);
    std::uint32_t weight;  ///< among what happens beside the dictations
};

enum : std::size_t {
    atPress,
    atGrowingChord,
    atSpaceChord,
    atSpeak,
    atMumble,
    atWait,
    atPause,
    atRest,
    atAgentDictates,
    atCommandLine,
    atServer,
};

constexpr std::array rows = {
    Row{"press", &Stage::press, 2},
    Row{"growing chord", &Stage::growingChord, 1},
    Row{"space chord", &Stage::spaceChord, 1},
    Row{"speak", &Stage::speak, 1},
    Row{"mumble", &Stage::mumble, 1},
    Row{"wait", &Stage::wait, 6},
    Row{"pause", &Stage::pauseLong, 2},
    Row{"rest", &Stage::rest, 3},
    Row{"agent dictates", &Stage::agentDictates, 2},
    Row{"command line", &Stage::commandLine, 2},
    Row{"server", &Stage::server, 3},
    Row{"jump", &Stage::jump, 2},
    Row{"Esc", &Stage::escape, 3},
    Row{"Super+Period", &Stage::superPeriod, 2},
    Row{"paste last", &Stage::pasteLast, 4},
    Row{"send again", &Stage::sendAgain, 3},
    Row{"switch", &Stage::switchTo, 14},
    Row{"nowhere", &Stage::nowhere, 1},
    Row{"copy", &Stage::copy, 8},
    Row{"edit", &Stage::edit, 6},
    Row{"type", &Stage::type, 3},
    Row{"select", &Stage::select, 4},
    Row{"Return", &Stage::pressReturn, 6},
    Row{"model", &Stage::model, 6},
    Row{"model fails", &Stage::modelFails, 3},
    Row{"server fails", &Stage::serverFails, 4},
    Row{"device", &Stage::device, 2},
    Row{"fault", &Stage::fault, 4},
    Row{"mended", &Stage::mended, 6},
    Row{"unplug", &Stage::unplug, 2},
    Row{"setting", &Stage::setting, 12},
    Row{"password", &Stage::password, 2},
    Row{"input method", &Stage::inputMethod, 2},
    Row{"hold key", &Stage::holdKey, 2},
    Row{"interrupt", &Stage::interrupt, 1},
    Row{"agent types", &Stage::agentTypes, 3},
    Row{"agents leave", &Stage::agentsLeave, 2},
    Row{"crash", &Stage::crash, 1},
    Row{"quit", &Stage::quit, 1},
};

template <class T, std::size_t size>
const T& pick(const std::array<T, size>& all, std::uint32_t number) {
    return all[number % size];
}

std::chrono::milliseconds between(int least, int most, std::uint32_t number) {
    return std::chrono::milliseconds(least + static_cast<int>(number % (most - least + 1)));
}

std::string told(std::chrono::milliseconds time) {
    return std::to_string(time.count()) + " ms";
}

// --- Stage ---------------------------------------------------------------------------------------

Stage::Stage(std::ostream* story) : story_(story) {
    openPlaces();
    world_.desktop.pasteboard.copyByUser("what was copied before");
    witness_.copied(world_.desktop.pasteboard.text());
    world_.keychain.secrets["sttAPIKey"] = "a key";
    world_.llm.delay = 300ms;
    world_.pass(0ms);
}

void Stage::openPlaces() {
    auto& desktop = world_.desktop;
    for (const auto& place : places)
        desktop.open(place.id, place.name);
    desktop.applications.at("org.example.chat").isChat = true;
    desktop.applications.at("org.example.work").isChat = true;
    desktop.applications.at("org.example.terminal").front.pasteStyle = PasteStyle::terminal;
    desktop.applications.at("org.example.silent").security = FocusedField::Security::unknown;
    desktop.applications.at("org.example.login").security = FocusedField::Security::secure;
    desktop.applications.at("org.example.slow").fetchDelay = slowestFetch;
    desktop.front = places[0].id;
    const AppProfile profiles[] = {
        {"org.example.chat", "Chat", SendKeyType::enter, true, 1.0},
        {"org.example.work", "Work chat", SendKeyType::cmdEnter, true, std::nullopt},
        {"org.example.editor", "Editor", SendKeyType::enter, false, std::nullopt}};
    for (const auto& profile : profiles) {
        if (const auto set = world_.profiles->set(profile); !set)
            witness_.complain(set.error());
    }
}

void Stage::happen(const Happening& happening) {
    const auto& row = rows[happening.what];
    const auto at = world_.calendar.now().time_since_epoch() - 1'750'000'000s;
    const auto details = (this->*row.act)(happening);
    world_.pass(0ms);
    if (story_ == nullptr)
        return;
    *story_ << std::setw(10) << std::fixed << std::setprecision(3) << at.count() << " s  "
            << row.name << (details.empty() ? "" : ": ") << details << "  ["
            << nameOf(world_.state()) << ", "
            << (world_.desktop.front.empty() ? "nowhere" : world_.desktop.front) << "]\n";
}

/// Time passes; a microphone that is open hears the room.
void Stage::pass(std::chrono::milliseconds time) {
    if (world_.microphone.capturing())
        world_.silence(time);
    else
        world_.pass(time);
}

void Stage::hold(Modifiers modifiers, std::chrono::milliseconds time) {
    world_.desktop.hold(modifiers);
    pass(time);
    world_.desktop.hold({});
    world_.pass(1ms);
}

std::string Stage::press(Numbers n) {
    const auto& chord = pick(chords, n.a);
    const auto time = n.b % 8 == 0 ? between(100, 1'500, n.b / 8) : between(20, 90, n.b / 8);
    hold(chord, time);
    return displayName({chord, Key::none}) + " for " + told(time);
}

std::string Stage::growingChord(Numbers n) {
    const auto& chord = pick(chords, n.a);
    world_.desktop.hold(fnCtrl);
    pass(between(5, 200, n.b));
    hold(chord, between(20, 60, n.b));
    return displayName({chord, Key::none});
}

std::string Stage::spaceChord(Numbers) {
    world_.tap(ctrlAlt, Key::space);
    return {};
}

std::string Stage::speak(Numbers n) {
    const auto name = newMark();
    const auto duration = between(25, 150, n.b) * 20;
    witness_.speaks(name);
    world_.say(name + " " + pick(sentences, n.a), duration);
    witness_.spoke(name, duration);
    return name + " for " + told(duration);
}

std::string Stage::mumble(Numbers n) {
    const auto name = newMark();
    const auto duration = between(1, 18, n.b) * 20;
    witness_.speaks(name);
    world_.say(name + " " + pick(sentences, n.a), duration);
    witness_.spoke(name, duration);
    return name + " for " + told(duration);
}

std::string Stage::wait(Numbers n) {
    const auto time = n.a % 3 == 0   ? between(1, 60, n.b)
                      : n.a % 3 == 1 ? between(60, 600, n.b)
                                     : between(600, 3'000, n.b);
    pass(time);
    return told(time);
}

std::string Stage::pauseLong(Numbers n) {
    const auto time = between(2'600, 4'000, n.b);
    pass(time);
    return told(time);
}

std::string Stage::jump(Numbers n) {
    const auto time = world_.microphone.capturing() ? between(5'000, 20'000, n.b)
                                                    : between(60'000, 1'500'000, n.b);
    pass(time);
    return told(time);
}

std::string Stage::rest(Numbers) {
    world_.desktop.hold({});
    if (world_.state() == RecognitionState::recording)
        world_.session->stop();
    for (int i = 0; i < mostSettlings && world_.state() != RecognitionState::idle; ++i)
        world_.pass(settling);
    world_.pass(settling);
    if (!witness_.complaint())
        witness_.settled();
    return {};
}

/// Stops a message from being sent by itself or, where none is, a dictation.
void Stage::cancel(const std::function<void()>& action) {
    if (world_.session->sendPending())
        witness_.calledOff();
    witness_.cancels(action);
}

std::string Stage::escape(Numbers) {
    // The monitor tells of keys that it keeps from the application, or that somebody asked for.
    const bool cancels = world_.desktop.swallows({{}, Key::escape});
    if (!cancels && !world_.desktop.reportsTyping)
        return "for the application";
    const bool sends = world_.session->sendPending();
    cancel([&] { world_.desktop.keyDown(Key::escape); });
    if (sends ? world_.session->sendPending() : cancels && world_.state() != RecognitionState::idle)
        witness_.complain("6: Esc does not cancel");
    return {};
}

std::string Stage::superPeriod(Numbers) {
    const KeyChord chord = {{Modifier::command}, Key::period};
    if (!world_.desktop.swallows(chord) && !world_.desktop.reportsTyping)
        return "for the application";
    const bool sends = world_.session->sendPending();
    world_.tap(chord.modifiers, chord.key);
    if (sends)
        witness_.calledOff();
    return {};
}

std::string Stage::pasteLast(Numbers n) {
    witness_.pastesAgain();
    if (n.a % 4 == 0)
        world_.session->pasteLast();
    else
        world_.tap(ctrlAlt, Key::v);
    return {};
}

std::string Stage::sendAgain(Numbers n) {
    const auto items = world_.archive->items();
    if (items.empty())
        return "nothing there";
    const auto& id = items[n.a % items.size()].id;
    witness_.sendsAgain(id, [&] { world_.session->sendAgain(id); });
    return {};
}

std::string Stage::commandLine(Numbers n) {
    const auto mode = n.a % 2 == 0 ? HotkeyMode::dictate : pick(modes, n.b);
    switch (n.a % 5) {
        case 0:
            world_.session->stop();
            return "stop";
        case 1:
            cancel([&] { world_.session->cancel(); });
            return "cancel";
        case 2:
            world_.session->start(mode);
            return "start " + std::string(nameOf(mode));
        default:
            world_.session->toggle(mode);
            return "toggle " + std::string(nameOf(mode));
    }
}

std::string Stage::switchTo(Numbers n) {
    const auto open = places.size() - (n.a % 5 == 0 ? 0 : closedPlaces);
    world_.desktop.front = places[n.b % open].id;
    return {};
}

std::string Stage::nowhere(Numbers) {
    world_.desktop.front.clear();
    return {};
}

std::string Stage::copy(Numbers) {
    const auto text = "copy " + std::to_string(++copies_);
    world_.desktop.pasteboard.ownerHangs = false;
    world_.desktop.pasteboard.copyByUser(text);
    witness_.copied(text);
    return text;
}

std::string Stage::edit(Numbers n) {
    if (world_.desktop.front.empty())
        return {};
    auto& app = world_.desktop.frontApp();
    app.selection.clear();
    if (n.a % 4 == 0) {
        app.field.clear();
    } else if (const auto at = app.field.rfind("ed "); n.a % 4 == 1 && at != std::string::npos) {
        app.field.replace(at, 3, "ing ");
    } else {
        app.field += n.b % 2 == 0 ? " and more" : "。还有";
    }
    return type(n);
}

std::string Stage::type(Numbers) {
    const bool sends = world_.session->sendPending();
    world_.desktop.type();
    if (sends)
        witness_.calledOff();
    return {};
}

std::string Stage::select(Numbers n) {
    if (world_.desktop.front.empty())
        return {};
    auto& app = world_.desktop.frontApp();
    const auto space = app.field.rfind(' ');
    if (n.a % 3 == 0)
        app.selection.clear();
    else if (n.a % 3 == 1 || space == std::string::npos)
        app.selection = app.field;
    else
        app.selection = app.field.substr(space + 1);
    return "\"" + app.selection + "\"";
}

std::string Stage::pressReturn(Numbers) {
    world_.desktop.pressReturn();
    witness_.calledOff();
    return {};
}

std::string Stage::model(Numbers n) {
    if (n.a % 6 == 0) {
        world_.set("llmEnabled", "false");
        return "off";
    }
    world_.useModel(n.a % 3 == 0 ? "raw" : n.a % 3 == 1 ? "smart" : "polish");
    world_.llm.delay = n.b % 5 == 0 ? between(1'000, 15'000, n.b / 5) : between(1, 900, n.b / 5);
    world_.llm.rewrite = [this, kind = n.b % 7](const std::string& text) -> std::string {
        const bool obeys = world_.session->utterance().intent != VoiceIntent::dictate;
        switch (kind) {
            case 0:
                return "<think>hm</think>" + text;
            case 1:
                return "";
            case 2:
                // What is this short is not held against what was said.
                return obeys || text.size() < 40
                           ? text
                           : "Here is something else altogether, as you asked.";
            case 3:
                return text + text;
            case 4:
                return text + "\n\nIs there anything else?";
            default:
                return text;
        }
    };
    return "answers after " + told(world_.llm.delay);
}

std::string Stage::modelFails(Numbers n) {
    switch (n.a % 5) {
        case 0:
            world_.llm.fail(HttpError::Kind::unreachable);
            return "unreachable";
        case 1:
            world_.llm.fail(HttpError::Kind::timedOut);
            return "timed out";
        case 2:
            world_.llm.answer(500, "oops");
            return "500";
        case 3:
            world_.llm.answer(200, "<html>");
            return "no JSON";
        default:
            world_.llm.say("");
            return "empty";
    }
}

std::string Stage::server(Numbers n) {
    world_.useServer();
    world_.server.delay =
        n.b % 5 == 0 ? between(1'000, 15'000, n.b / 5) : between(10, 900, n.b / 5);
    return "answers after " + told(world_.server.delay);
}

std::string Stage::serverFails(Numbers n) {
    for (std::uint32_t i = 0; i < 1 + n.b % 4; ++i) {
        switch (n.a % 6) {
            case 0:
                world_.server.fail(HttpError::Kind::unreachable);
                break;
            case 1:
                world_.server.fail(HttpError::Kind::timedOut);
                break;
            case 2:
                world_.server.answer(401, "{}");
                break;
            case 3:
                world_.server.answer(429, "");
                break;
            case 4:
                world_.server.answer(200, "<html>");
                break;
            default:
                world_.server.answer(200, R"({"text": ""})");
        }
    }
    return std::to_string(n.a % 6) + ", " + std::to_string(1 + n.b % 4) + " times";
}

std::string Stage::device(Numbers n) {
    world_.transcriber.decodeTime = between(5, n.b % 4 == 0 ? 5'000 : 400, n.b / 4);
    if (n.a % 4 == 0)
        world_.transcriber.failure = OnDeviceTranscriber::Failure::unavailable;
    if (n.a % 4 == 1)
        world_.set("sttEngineType", "apple");
    return told(world_.transcriber.decodeTime) + (n.a % 4 == 0 ? ", fails" : "");
}

std::string Stage::fault(Numbers n) {
    auto& desktop = world_.desktop;
    switch (n.a % 8) {
        case 0:
            desktop.keysFail = true;
            return "keys cannot be posted";
        case 1:
            desktop.fieldHangs = true;
            return "fields hang";
        case 2:
            desktop.pasteboard.refuses = true;
            return "the clipboard refuses";
        case 3:
            desktop.pasteboard.ownerHangs = true;
            witness_.clipboardLost();
            return "the clipboard's owner hangs";
        case 4:
            world_.output.absent = true;
            witness_.outputGone();
            return "no loudspeakers";
        case 5:
            desktop.answerDelay = between(1, 90, n.b);
            return "fields answer after " + told(desktop.answerDelay);
        case 6:
            desktop.pasteboard.managerFetches = true;
            return "a clipboard manager fetches";
        default:
            if (!desktop.front.empty())
                desktop.frontApp().selectsNothing = true;
            return "an application that does not select";
    }
}

std::string Stage::mended(Numbers) {
    auto& desktop = world_.desktop;
    desktop.keysFail = desktop.fieldHangs = desktop.pasteboard.refuses = false;
    desktop.pasteboard.managerFetches = world_.output.absent = false;
    desktop.answerDelay = 0ms;
    for (auto& [id, app] : desktop.applications)
        app.selectsNothing = false;
    world_.microphone.failure.reset();
    world_.transcriber.failure.reset();
    world_.server.replies.clear();
    return {};
}

std::string Stage::unplug(Numbers) {
    world_.microphone.unplug();
    return {};
}

std::string Stage::setting(Numbers n) {
    constexpr std::array switches = {
        "autoSend",       "muteSystemAudioWhileRecording", "useFocusedContext",
        "useScreenTerms", "showsTextWhileSpeaking",        "sessionLoggingEnabled"};
    constexpr std::array outputs = {"raw", "smart", "polish"};
    constexpr std::array languages = {"English", "mixed"};
    std::string name = pick(switches, n.b / 16);
    std::string value = n.b % 3 == 0 ? "true" : "false";
    switch (n.a % 8) {
        case 0:
            name = "sttEngineType";
            value = "apple";
            break;
        case 1:
        case 2:
            world_.useServer();
            return "server";
        case 3:
            name = "dictationOutputMode";
            value = pick(outputs, n.b);
            break;
        case 4:
            name = "selectedLanguage";
            value = pick(languages, n.b);
            break;
        case 5:
            world_.defaults.remove("recordingNotice.liveShown");
            return "consent is asked for again";
        default:
            // Most of the time a history is kept.
            if (name == std::string("sessionLoggingEnabled") && n.b % 16 != 0)
                value = "true";
    }
    world_.set(name, value);
    return name + " = " + value;
}

std::string Stage::password(Numbers n) {
    auto& app = world_.desktop.applications.at(pick(places, n.a % 3).id);
    const bool secure = app.security == FocusedField::Security::secure;
    app.security = secure ? FocusedField::Security::plain : FocusedField::Security::secure;
    app.fieldName = secure ? "field" : "password";
    return app.front.bundleID + (secure ? ": its text field" : ": its password field");
}

std::string Stage::inputMethod(Numbers n) {
    if (world_.session->injectingFlag() > 0 || world_.scheduler.timerCount() > 0)
        return {};
    world_.desktop.inputSource.source = n.a % 2 == 0 ? "pinyin" : "us";
    witness_.inputSourceChosen(world_.desktop.inputSource.source);
    return world_.desktop.inputSource.source;
}

std::string Stage::holdKey(Numbers n) {
    world_.desktop.hold(n.a % 2 == 0 ? Modifiers{Modifier::shift} : Modifiers{Modifier::control});
    if (n.b % 2 == 0)
        pass(between(1, 1'500, n.b));
    return {};
}

std::string Stage::interrupt(Numbers) {
    world_.desktop.interrupt();
    return {};
}

// --- AI clients ----------------------------------------------------------------------------------

asio::awaitable<void> Stage::dictationForAgent(std::chrono::seconds atMost) {
    const auto result = co_await world_.session->dictateForAgent(atMost);
    if (result)
        witness_.returned(*result);
}

asio::awaitable<void> Stage::typingForAgent(std::string text) {
    if (co_await world_.session->typeText(text))
        witness_.typedForAgent(text);
}

std::string Stage::agentDictates(Numbers n) {
    const auto time = std::chrono::seconds(n.a % 4 == 0 ? 1 + n.b % 5 : 60);
    witness_.asksForDictation([&] {
        agents_->spawn(dictationForAgent(time));
        world_.pass(0ms);
    });
    return "for " + told(time);
}

std::string Stage::agentTypes(Numbers n) {
    const auto text = newMark() + " from an AI client" + (n.a % 3 == 0 ? "\n" : "");
    witness_.asksForTyping(text);
    agents_->spawn(typingForAgent(text));
    return text.substr(0, 5);
}

std::string Stage::agentsLeave(Numbers) {
    agents_->cancelAll();
    return {};
}

// --- Ends ----------------------------------------------------------------------------------------

std::string Stage::crash(Numbers) {
    world_.pass(0ms);
    agents_.reset();
    witness_.aboutToCrash();
    restart();
    return {};
}

void Stage::restart() {
    world_.scheduler.afterTurn = nullptr;
    world_.desktop.hold({});
    world_.panel.hide();
    world_.panel.hideCountdown();
    world_.desktop.setReportsTyping(false);
    world_.crashAndRestart();
    agents_.emplace(world_.loop);
    witness_.restarted();
}

std::string Stage::quit(Numbers) {
    agents_->cancelAll();
    witness_.quits([&] {
        const auto down = agents_->spawn(world_.session->shutDown());
        for (int i = 0; i < mostQuitWaits && down.running(); ++i)
            world_.pass(quitWait);
        if (down.running())
            witness_.complain("7: quitting takes too long");
    });
    agents_.reset();
    witness_.aboutToCrash();
    restart();
    return {};
}

void Stage::close(bool inMidWork) {
    if (!inMidWork)
        rest({});
    agents_.reset();
    world_.scheduler.afterTurn = nullptr;
    world_.tearDown();
    witness_.ended();
}

// --- Drawing -------------------------------------------------------------------------------------

class Draw {
public:
    explicit Draw(std::uint64_t seed) : random_(seed) {}

    Happenings evening() {
        const int dictations = 8 + static_cast<int>(number() % 8);
        if (chance(60))
            add(atServer);
        for (int i = 0; i < dictations; ++i) {
            beside(2);
            dictation();
        }
        beside(3);
        return std::move(all_);
    }

private:
    std::uint32_t number() { return static_cast<std::uint32_t>(random_() >> 32U); }
    bool chance(std::uint32_t percent) { return number() % 100 < percent; }
    void add(std::size_t what) { all_.push_back({what, number(), number()}); }

    /// Something by the weights of the table.
    void something() {
        std::uint32_t all = 0;
        for (const auto& row : rows)
            all += row.weight;
        auto at = number() % all;
        std::size_t what = 0;
        for (; at >= rows[what].weight; ++what)
            at -= rows[what].weight;
        add(what);
    }
    void beside(int most) {
        for (auto i = number() % static_cast<std::uint32_t>(most + 1); i > 0; --i)
            something();
    }

    void dictation() {
        const auto way = number() % 100;
        add(way < 74   ? atPress
            : way < 82 ? atSpaceChord
            : way < 88 ? atGrowingChord
            : way < 94 ? atCommandLine
                       : atAgentDictates);
        if (chance(8))
            add(atMumble);
        const bool longOne = chance(30);
        for (auto i = 1 + number() % (longOne ? 5 : 2); i > 0; --i) {
            if (chance(10))
                something();
            add(atSpeak);
            if (longOne || chance(10))
                add(atPause);
            else if (chance(30))
                add(atWait);
        }
        add(atPress);
        for (auto i = number() % 4; i > 0; --i) {
            add(atWait);
            if (chance(35))
                something();
        }
        if (chance(55))
            add(atRest);
    }

    std::mt19937_64 random_;
    Happenings all_;
};

}  // namespace

Happenings drawEvening(std::uint64_t seed) {
    return Draw(seed).evening();
}

Evening liveThrough(const Happenings& happenings, std::ostream* story) {
    Stage stage(story);
    Evening evening;
    for (const auto& happening : happenings) {
        if (stage.witness().complaint())
            break;
        stage.happen(happening);
        ++evening.happened;
    }
    if (!stage.witness().complaint())
        stage.close(happenings.size() % 3 == 0);
    evening.complaint = stage.witness().complaint();
    evening.tally = stage.witness().tally();
    return evening;
}

Happenings shrunk(Happenings happenings) {
    const auto first = liveThrough(happenings);
    if (!first.complaint)
        return happenings;
    happenings.resize(std::max<std::size_t>(first.happened, 0));
    const auto stillFails = [promise = first.complaint->substr(0, 1)](const Happenings& fewer) {
        const auto evening = liveThrough(fewer);
        return evening.complaint && evening.complaint->starts_with(promise);
    };
    for (auto length = std::max<std::size_t>(happenings.size() / 2, 1); length > 0; length /= 2) {
        for (std::size_t at = 0; at + length <= happenings.size();) {
            auto fewer = happenings;
            const auto begin = fewer.begin() + static_cast<std::ptrdiff_t>(at);
            fewer.erase(begin, begin + static_cast<std::ptrdiff_t>(length));
            if (stillFails(fewer))
                happenings = std::move(fewer);
            else
                at += length;
        }
    }
    return happenings;
}

}  // namespace quillet::world
