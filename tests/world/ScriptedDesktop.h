#pragma once

#include <algorithm>
#include <functional>
#include <map>
#include <optional>
#include <string>

#include "base/async/Event.h"
#include "base/async/TaskScope.h"
#include "platform/FocusedField.h"
#include "platform/FrontApplication.h"
#include "platform/InputSource.h"
#include "platform/KeyPoster.h"
#include "platform/KeyboardMonitor.h"
#include "platform/Pasteboard.h"
#include "world/SimLoop.h"

namespace quillet::world {

/// An application with one text field.
struct ScriptedApplication {
    FrontApp front;
    std::string field;       ///< the text up to the caret
    std::string afterCaret;  ///< and what stands after it
    std::string selection;   ///< the end of `field`; a paste replaces it
    std::string fieldName = "field";
    std::string window;   ///< what else can be read
    bool isChat = false;  ///< Return sends what the field holds
    std::vector<std::string> messages;
    bool selectsNothing = false;  ///< says that it has selected, and has not
    FocusedField::Security security = FocusedField::Security::plain;
    std::optional<DesktopRect> caret;         ///< where it is
    std::chrono::milliseconds fetchDelay{5};  ///< from the paste keys to fetching the clipboard
    int fetchedRestored = 0;                  ///< pastes that found something else than was meant
};

/// The field of an application as the accessibility interface tells of it, in code points.
class ScriptedField final : public TextField {
public:
    explicit ScriptedField(ScriptedApplication& app) : app_(&app) {}

    [[nodiscard]] std::string window() const { return app_->window; }

    std::string name() override { return app_->front.bundleID + "/" + app_->fieldName; }
    std::optional<int> length() override { return count(app_->field) + count(app_->afterCaret); }
    std::optional<int> caret() override { return count(app_->field); }
    std::optional<Range> selection() override {
        const int end = count(app_->field);
        return Range{end - count(app_->selection), end};
    }
    std::optional<std::string> text(Range range) override {
        return part(app_->field + app_->afterCaret, range);
    }
    bool select(Range range) override {
        if (app_->selectsNothing)
            return true;
        const auto whole = app_->field + app_->afterCaret;
        app_->field = part(whole, {0, range.end});
        app_->afterCaret = part(whole, {range.end, count(whole)});
        app_->selection = part(whole, range);
        return true;
    }
    void unselect(int caret) override { (void)select({caret, caret}); }
    bool wait() override { return false; }

private:
    static bool isContinuation(char c) { return (static_cast<unsigned char>(c) & 0xC0U) == 0x80; }
    static int count(const std::string& text) {
        return static_cast<int>(std::ranges::count_if(text, std::not_fn(isContinuation)));
    }
    static std::string part(const std::string& text, Range range) {
        std::string found;
        int at = -1;
        for (const char c : text) {
            at += isContinuation(c) ? 0 : 1;
            if (at >= range.start && at < range.end)
                found += c;
        }
        return found;
    }

    ScriptedApplication* app_;
};

/// A clipboard with an owner.
class ScriptedPasteboard final : public Pasteboard {
public:
    explicit ScriptedPasteboard(SimScheduler& scheduler) : scheduler_(scheduler) {}

    asio::awaitable<PasteboardSnapshot> snapshot() override {
        if (ownerHangs) {
            co_await scheduler_.sleep(std::chrono::milliseconds(500));
            co_return PasteboardSnapshot{};
        }
        co_return PasteboardSnapshot{items, true};
    }
    asio::awaitable<std::expected<std::uint64_t, Error>> writeText(std::string text,
                                                                   Lifetime lifetime,
                                                                   Reach reach) override {
        if (refuses)
            co_return std::unexpected(Error::refused);
        items.assign(1, PasteboardItem{"UTF8_STRING", std::move(text)});
        transient = lifetime == Lifetime::transient;
        primaryToo = reach == Reach::clipboardAndPrimary;
        ours = true;
        ownerHangs = false;
        fetched_.reset();
        if (managerFetches)
            fetched_.set();
        co_return ++count_;
    }
    asio::awaitable<bool> restore(PasteboardSnapshot snapshot, std::uint64_t ifCount) override {
        if (count_ != ifCount)
            co_return false;
        items = std::move(snapshot.items);
        ours = false;
        ++count_;
        ++restores;
        co_return true;
    }
    std::uint64_t changeCount() const override { return count_; }
    void forgetFetches() override { fetched_.reset(); }
    asio::awaitable<void> waitUntilFetched() override { co_await fetched_.wait(); }

    void copyByUser(std::string text) {
        items.assign(1, PasteboardItem{"UTF8_STRING", std::move(text)});
        ours = false;
        ++count_;
    }
    [[nodiscard]] std::string text() const { return items.empty() ? "" : items.front().bytes; }
    std::string fetch() {
        if (ours)
            fetched_.set();
        return text();
    }

    std::vector<PasteboardItem> items;
    bool ownerHangs = false;
    bool refuses = false;
    bool managerFetches = false;  ///< a clipboard manager takes every text at once
    bool transient = false;
    bool primaryToo = false;
    bool ours = false;
    int restores = 0;

private:
    SimScheduler& scheduler_;
    std::uint64_t count_ = 1;
    Event fetched_;
};

/// A keyboard that is set to a Latin layout or to an input method.
class ScriptedInputSource final : public InputSource {
public:
    std::string current() override { return source; }
    bool canTypeAscii() override { return source != "pinyin"; }
    bool select(std::string_view id) override {
        source = id;
        selected.emplace_back(id);
        return true;
    }

    std::string source = "us";
    std::vector<std::string> selected;
};

/// Keyboard, windows and fields. The story's user types and switches applications here.
class ScriptedDesktop final : public KeyboardMonitor,
                              public KeyPoster,
                              public FrontApplication,
                              public FocusedField {
public:
    ScriptedDesktop(SimLoop& loop, SimScheduler& scheduler)
        : pasteboard(scheduler), scheduler_(scheduler), tasks_(loop) {}

    // --- the story's side ---

    ScriptedApplication& open(std::string bundleID, std::string name) {
        auto& app = applications[bundleID];
        app.front.bundleID = bundleID;
        app.front.displayName = std::move(name);
        app.front.pid = static_cast<pid_t>(applications.size()) + 100;
        front = std::move(bundleID);
        return app;
    }
    ScriptedApplication& frontApp() { return applications.at(front); }
    void hold(Modifiers modifiers) {
        held = modifiers;
        send({KeyboardEvent::Kind::modifiersChanged, Key::none, held, false});
    }
    void keyDown(Key key) { send({KeyboardEvent::Kind::keyDown, key, held, false}); }
    /// The user types; the application has it in its field already.
    void type() {
        if (reportsTyping)
            keyDown(Key::other);
    }
    /// The user presses Return.
    void pressReturn() {
        keyDown(Key::returnKey);
        receiveReturn();
    }
    void keyUp(Key key) { send({KeyboardEvent::Kind::keyUp, key, held, false}); }
    void interrupt() { send({KeyboardEvent::Kind::interrupted, Key::none, held, false}); }
    void reportConflict(KeyChord chord, std::string owner) {
        onConflict_({chord, std::move(owner)});
    }
    [[nodiscard]] bool swallows(KeyChord chord) const {
        return std::ranges::find(swallowed, chord) != swallowed.end();
    }

    // --- the ports ---

    std::expected<void, KeyboardMonitor::Error> start(OnEvent onEvent,
                                                      OnConflict onConflict) override {
        onEvent_ = std::move(onEvent);
        onConflict_ = std::move(onConflict);
        return {};
    }
    void setSwallowed(std::vector<KeyChord> chords) override { swallowed = std::move(chords); }
    void setReportsTyping(bool reports) override { reportsTyping = reports; }
    std::vector<std::string> setFunctionKeys(std::vector<std::string>) override { return {}; }

    Modifiers heldModifiers() override { return held; }
    asio::awaitable<std::expected<void, KeyPoster::Error>> postPaste(PasteStyle) override {
        if (keysFail)
            co_return std::unexpected(KeyPoster::Error::unavailable);
        ++pastesPosted;
        if (applications.contains(front))
            tasks_.spawn(pasteInto(front));
        co_return std::expected<void, KeyPoster::Error>();
    }
    asio::awaitable<std::expected<void, KeyPoster::Error>> postReturn(ReturnStyle style) override {
        if (keysFail)
            co_return std::unexpected(KeyPoster::Error::unavailable);
        returnsPosted.push_back({style, front});
        send({KeyboardEvent::Kind::keyDown, Key::returnKey, {}, true});
        receiveReturn();
        co_return std::expected<void, KeyPoster::Error>();
    }
    asio::awaitable<std::expected<void, KeyPoster::Error>> postKey(KeyChord) override {
        co_return std::expected<void, KeyPoster::Error>();
    }

    std::optional<FrontApp> current() override {
        const auto found = applications.find(front);
        return found == applications.end() ? std::nullopt : std::optional(found->second.front);
    }
    asio::awaitable<Security> security(pid_t application) override {
        if (fieldHangs) {
            co_await scheduler_.sleep(std::chrono::milliseconds(100));
            co_return Security::unknown;
        }
        co_await scheduler_.sleep(answerDelay);
        for (const auto& [id, app] : applications) {
            if (app.front.pid == application)
                co_return app.security;
        }
        co_return Security::unknown;
    }

    asio::awaitable<Selection> selection(pid_t application) override {
        auto field = co_await readable(application);
        if (!field)
            co_return Selection{};
        co_return FocusedTextReader(*field).selection();
    }
    asio::awaitable<std::optional<Surroundings>> surroundings(pid_t application,
                                                              Extent extent) override {
        auto field = co_await readable(application);
        if (!field)
            co_return std::nullopt;
        co_return FocusedTextReader(*field).surroundings(extent);
    }
    asio::awaitable<Selecting> select(pid_t application, std::string text) override {
        auto field = co_await readable(application);
        if (!field)
            co_return Selecting::unreadable;
        co_return FocusedTextReader(*field).select(text);
    }
    asio::awaitable<std::string> visibleText(pid_t application, std::size_t) override {
        const auto field = co_await readable(application);
        co_return field ? field->window() : std::string();
    }
    asio::awaitable<std::optional<DesktopRect>> caretRect(pid_t application) override {
        for (const auto& [id, app] : applications) {
            if (app.front.pid == application)
                co_return app.caret;
        }
        co_return std::nullopt;
    }

    ScriptedPasteboard pasteboard;
    ScriptedInputSource inputSource;
    std::map<std::string, ScriptedApplication> applications;
    std::string front;
    Modifiers held;
    std::vector<KeyChord> swallowed;
    bool reportsTyping = false;
    bool keysFail = false;
    bool fieldHangs = false;
    std::chrono::milliseconds answerDelay{};  ///< of questions about the field
    int pastesPosted = 0;
    std::size_t fetchesDue = 0;  ///< pastes that the application has still to fetch
    struct PostedReturn {
        ReturnStyle style;
        std::string bundleID;
    };
    std::vector<PostedReturn> returnsPosted;  ///< by the program

private:
    /// The application's field, if it may be read.
    asio::awaitable<std::optional<ScriptedField>> readable(pid_t application) {
        const auto seen = co_await security(application);
        for (auto& [id, app] : applications) {
            if (app.front.pid == application && seen == Security::plain)
                co_return ScriptedField(app);
        }
        co_return std::nullopt;
    }
    void receiveReturn() {
        if (!applications.contains(front))
            return;
        auto& app = frontApp();
        if (app.isChat) {
            app.messages.push_back(app.field + app.afterCaret);
            app.field.clear();
            app.afterCaret.clear();
            app.selection.clear();
        } else {
            app.field += '\n';
        }
    }
    void send(const KeyboardEvent& event) {
        if (onEvent_)
            onEvent_(event);
    }
    asio::awaitable<void> pasteInto(std::string bundleID) {
        auto& app = applications.at(bundleID);
        const auto meant = pasteboard.text();
        ++fetchesDue;
        co_await scheduler_.sleep(app.fetchDelay);
        --fetchesDue;
        const auto text = pasteboard.fetch();
        if (text != meant)
            ++app.fetchedRestored;
        if (app.field.ends_with(app.selection))
            app.field.resize(app.field.size() - std::exchange(app.selection, {}).size());
        app.field += text;
    }

    SimScheduler& scheduler_;
    OnEvent onEvent_;
    OnConflict onConflict_;
    TaskScope tasks_;
};

}  // namespace quillet::world
