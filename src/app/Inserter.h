#pragma once

#include <asio/awaitable.hpp>
#include <functional>
#include <optional>
#include <string>

#include "base/async/Event.h"
#include "base/async/Scheduler.h"
#include "base/async/TaskScope.h"
#include "base/log/Log.h"
#include "platform/FocusedField.h"
#include "platform/FrontApplication.h"
#include "platform/InputSource.h"
#include "platform/KeyPoster.h"
#include "platform/Pasteboard.h"

namespace quillet {

/// Puts text into the application in front by way of the clipboard, and gives the clipboard back.
/// Belongs to the main queue's thread. Inserts take turns.
class Inserter {
public:
    enum class Outcome {
        pasted,
        appChanged,  ///< another application is in front: the text is on the clipboard
        copied,      ///< it could not be pasted: the text is on the clipboard
        lost,        ///< not even the clipboard took it
        withheld,    ///< it could not be pasted, and nothing else was to be done with it
    };
    struct Request {
        std::string text;
        /// Into this application, if it is in front when it comes to that. None: it was meant for
        /// no application, so it is not pasted.
        std::optional<std::string> bundleID;
        /// What becomes of a text that cannot be pasted.
        enum class Otherwise { copy, nothing } otherwise = Otherwise::copy;
        /// Called when its turn has come, with the application and window that it will go into.
        std::function<void(const FrontApp&)> begun = nullptr;
        /// Called when everything else is ready, just before the keys are pressed; false: do not.
        std::function<asio::awaitable<bool>(FrontApp)> ready = nullptr;
    };
    struct Services {
        Scheduler& scheduler;
        Loop& loop;
        Pasteboard& pasteboard;
        KeyPoster& keys;
        InputSource& inputSource;
        FrontApplication& frontApplication;
        FocusedField& focusedField;
        Log log;
        /// Whether anything may be typed into this application; none: always.
        std::function<bool(const std::string& bundleID)> isAllowed = nullptr;
    };

    /// `injectingChanged` is called whenever the number of inserts in flight changes.
    Inserter(Services services, std::function<void(int)> injectingChanged);

    [[nodiscard]] asio::awaitable<Outcome> insert(Request request);

    /// Puts the text on the clipboard for the user to paste.
    [[nodiscard]] asio::awaitable<Outcome> copy(std::string text);

    /// Gives the clipboard back, if that is still due, as soon as the paste has been fetched.
    /// Before the program ends.
    [[nodiscard]] asio::awaitable<void> restoreNow();

    [[nodiscard]] int injectingCount() const { return injectingCount_; }

private:
    class Injecting;
    class Turn;
    class GivingBack;

    asio::awaitable<Outcome> leave(std::string text, Outcome meaning);
    asio::awaitable<Outcome> giveUp(const Request& request, Outcome meaning);
    asio::awaitable<void> untilModifiersReleased();
    asio::awaitable<void> takeSnapshot();
    asio::awaitable<std::optional<std::uint64_t>> own(const std::string& text, PasteStyle style);
    asio::awaitable<Outcome> paste(Request request);
    asio::awaitable<bool> borrowClipboard(const Request& request, const FrontApp& front);
    asio::awaitable<bool> isSecure(pid_t application);
    void giveBack();
    asio::awaitable<void> selectAsciiInputSource();
    asio::awaitable<void> reselectInputSource();
    asio::awaitable<void> takeForeignCopy(const std::string& text);
    asio::awaitable<void> fetched();
    [[nodiscard]] static bool holds(const PasteboardSnapshot& snapshot, const std::string& text);
    asio::awaitable<void> restoreClipboard();
    asio::awaitable<void> restore();
    [[nodiscard]] std::optional<FrontApp> target(const Request& request) const;

    Services services_;
    std::function<void(int)> injectingChanged_;
    int injectingCount_ = 0;
    Event free_;  // set while no insert is under way
    std::optional<PasteboardSnapshot> clipboardSnapshot_;
    std::uint64_t ownChangeCount_ = 0;
    TaskHandle clipboardRestore_;
    TaskHandle inputSourceRestore_;
    std::string previousInputSource_;  // empty when there is nothing to go back to
    TaskScope tasks_;                  // last, so that it ends before what it uses
};

}  // namespace quillet
