#include "simulate/Witness.h"

#include <fmt/format.h>

#include <algorithm>

#include "app/Messages.h"

namespace quillet::world {

namespace {

constexpr std::size_t markLength = 5;
/// So much speech makes a dictation.
constexpr auto shortestVoice = RecordingSession::minRecordingDuration;
/// A crash may take so much of what was said last.
constexpr auto lostByCrash = 1'100ms;
/// Loudspeakers are switched on again within this time.
constexpr auto unmuting = 200ms;
/// A recording that is cancelled while it is being stopped ends its capture a moment later.
constexpr auto closingMicrophone = 20ms;
/// From the look at the field to the paste keys. A field that does not tell is typed into.
constexpr auto longestInsert = 2s;
/// An application that is slow to fetch may get what the user copied meanwhile.
constexpr auto slowestFetch = 5s;

bool isDigit(char c) {
    return c >= '0' && c <= '9';
}

/// Where the last result is. What is said to be copied or saved is looked for there instead.
bool saysThatItCanBePasted(const std::string& notice) {
    return notice.find("Ctrl+Option+V") != std::string::npos;
}

std::string joined(const std::vector<std::string>& messages) {
    std::string all;
    for (const auto& one : messages)
        all.append(one).append("\n");
    return all;
}

}  // namespace

std::string mark(int number) {
    const auto digits = std::to_string(number);
    return "w" + std::string(markLength - 1 - digits.size(), '0') + digits;
}

std::vector<std::string> marksIn(std::string_view text) {
    std::vector<std::string> found;
    for (std::size_t at = 0; at + markLength <= text.size(); ++at) {
        const auto part = text.substr(at, markLength);
        if (part[0] == 'w' && std::ranges::all_of(part.substr(1), isDigit))
            found.emplace_back(part);
    }
    return found;
}

namespace {

void addMarks(std::set<std::string>& all, std::string_view text) {
    for (auto& one : marksIn(text))
        all.insert(std::move(one));
}

}  // namespace

Witness::Witness(World& world) : world_(world) {
    clipboard_ = world_.desktop.pasteboard.text();
    restarted();
}

void Witness::complain(std::string what) {
    if (!complaint_)
        complaint_ = std::move(what);
}

// --- What the user does --------------------------------------------------------------------------

void Witness::speaks(const std::string& mark) {
    auto& words = words_[mark];
    if (!running_ || running_->forAgent)
        return;
    running_->holds.insert(mark);
    if (running_->target)
        words.mayGoTo.insert(*running_->target);
}

void Witness::spoke(const std::string& mark, std::chrono::milliseconds duration) {
    const bool whole = running_ && !running_->again && state_ == RecognitionState::recording &&
                       !world_.microphone.failure;
    if (whole && duration >= shortestVoice) {
        running_->said.push_back({mark, world_.scheduler.now()});
        count("sentences");
    } else {
        ++words_[mark].doubtful;
    }
}

void Witness::cancels(const std::function<void()>& action) {
    cancelling_ = true;
    action();
    look();
    cancelling_ = false;
}

void Witness::copied(const std::string& text) {
    clipboard_ = text;
    copiedAt_ = world_.scheduler.now();
}

void Witness::pastesAgain() {
    for (const auto& mark : marksIn(world_.session->lastOutput().value_or("")))
        words_[mark].mayGoTo.insert(world_.desktop.front);
}

void Witness::sendsAgain(const std::string& recordingID, const std::function<void()>& action) {
    const bool begins = world_.session->state() == RecognitionState::idle;
    action();
    look();
    const auto samples = world_.archive->samples(recordingID);
    if (!begins || !samples)
        return;
    for (const auto& mark : marksIn(world_.words.transcript(*samples))) {
        words_[mark].mayGoTo.insert(world_.desktop.front);
        if (running_ && running_->again) {
            running_->heardBefore.push_back(mark);
            running_->holds.insert(mark);
        }
    }
}

void Witness::asksForDictation(const std::function<void()>& action) {
    askedByAgent_ = true;
    action();
    askedByAgent_ = false;
}

void Witness::asksForTyping(const std::string& text) {
    for (const auto& mark : marksIn(text))
        words_[mark].mayGoTo.insert(world_.desktop.front);
}

void Witness::returned(const std::string& text) {
    for (const auto& mark : marksIn(text))
        words_[mark].returned = true;
    count("returned to an AI client");
}

void Witness::typedForAgent(const std::string& text) {
    addMarks(typedForAgent_, text);
    count("typed for an AI client");
}

// --- What is seen --------------------------------------------------------------------------------

void Witness::look() {
    if (!world_.session)
        return;
    if (world_.desktop.fieldHangs)
        fieldsHungAt_ = world_.scheduler.now();
    lookAtPastes();
    lookAtReturns();
    lookAtState();
    lookAtFields();
    lookAtClipboard();
    lookAtFlags();
    lookAtLoudspeakers();
    notices_ = world_.panel.notices.size();
}

void Witness::lookAtState() {
    const auto was = std::exchange(state_, world_.session->state());
    if (was == RecognitionState::idle && state_ != RecognitionState::idle)
        begin(state_);
    else if (was != RecognitionState::idle && state_ == RecognitionState::idle)
        end(was);
}

void Witness::begin(RecognitionState state) {
    running_ = Dictation{};
    running_->forAgent = askedByAgent_;
    running_->again = state == RecognitionState::refining;
    if (world_.desktop.applications.contains(world_.desktop.front))
        running_->target = world_.desktop.front;
    if (running_->target && !running_->forAgent && !world_.settings->isAllowed(*running_->target))
        complain("3: a dictation begins in " + *running_->target + ", which is excluded");
    sendable_.clear();
    count(running_->again ? "recordings sent again" : "dictations");
}

bool Witness::toldSince(std::size_t notice) const {
    const auto& notices = world_.panel.notices;
    return std::any_of(notices.begin() + static_cast<std::ptrdiff_t>(notice), notices.end(),
                       saysThatItCanBePasted);
}

void Witness::end(RecognitionState was) {
    idleSince_ = world_.scheduler.now();
    auto dictation = std::move(*running_);
    running_.reset();
    const auto& utterance = world_.session->utterance();
    dictation.isLive = utterance.live;
    dictation.amends = utterance.amend;
    const bool saidSomething = world_.panel.notices.size() > notices_;
    const bool refused =
        was == RecognitionState::recording && saidSomething &&
        (world_.notice() == messages::passwordField || world_.notice() == messages::nothingToAmend);
    dictation.told = toldSince(notices_);
    dictation.fate = cancelling_ ? Fate::cancelled
                     : quitting_ ? Fate::quit
                     : refused   ? Fate::refused
                                 : Fate::finished;
    if (!world_.output.absent)
        mayStayMuted_ = false;
    countDelivery(dictation);
    if (dictation.fate == Fate::cancelled)
        count("cancelled");
    else if (dictation.fate == Fate::refused)
        count("refused after the start");
    else
        done_.push_back(std::move(dictation));
    if (done_.empty() || done_.back().fate != Fate::finished || cancelling_ || refused)
        return;

    std::optional<std::set<std::string>> kept;
    for (auto& said : done_.back().said) {
        const auto& words = words_[said.mark];
        const auto& last = world_.session->lastOutput();
        const bool isLast = last && last->find(said.mark) != std::string::npos;
        said.told = isLast && done_.back().told;
        if (words.seen || words.left || words.returned || isLast)
            continue;
        if (!kept)
            kept = archived();
        if (!kept->contains(said.mark))
            complain("1: " + said.mark + " is lost when its dictation ends");
    }
}

/// Whether the text belongs to the dictation that is being delivered.
bool Witness::isDelivered(const std::string& text) const {
    if (!running_ || running_->forAgent || !world_.session->utterance().commitAt)
        return false;
    return std::ranges::any_of(
        marksIn(text), [this](const std::string& mark) { return running_->holds.contains(mark); });
}

/// A dictation that was delivered is due in the history.
void Witness::countDelivery(const Dictation& dictation) {
    const auto& utterance = world_.session->utterance();
    const bool keeps = world_.settings->record().sessionLoggingEnabled &&
                       (dictation.forAgent || !utterance.bundleID ||
                        world_.settings->isAllowed(*utterance.bundleID));
    const bool delivered = dictation.isLive ? !world_.session->live().output.empty()
                                            : utterance.processedText.has_value();
    if (delivered && keeps && !utterance.entryID)
        complain("8: a dictation is delivered and not written down");
    if (!delivered)
        return;
    count(dictation.isLive ? "live, delivered" : dictation.amends ? "amended" : "delivered");
    if (!utterance.entryID)
        return;
    for (const auto& mark : dictation.holds)
        words_[mark].isLive = words_[mark].isLive || dictation.isLive;
    const auto written = marksIn(joined(world_.session->live().raw));
    for (const auto& said : dictation.said) {
        auto& words = words_[said.mark];
        // A part of live writing that was not recognised, or not yet, is not in the history.
        const bool whole = dictation.fate == Fate::finished && world_.session->live().failed == 0;
        const bool missing =
            dictation.isLive && !whole && std::ranges::find(written, said.mark) == written.end();
        ++(missing ? words.doubtful : words.deliveries);
    }
    for (const auto& mark : dictation.heardBefore)
        ++words_[mark].deliveries;
}

void Witness::lookAtPastes() {
    if (world_.desktop.pastesPosted == pastes_.count)
        return;
    pastes_.count = world_.desktop.pastesPosted;
    pastes_.before = std::exchange(pastes_.last, world_.desktop.pasteboard.text());
    pastes_.at = world_.scheduler.now();
    const auto& front = world_.desktop.front;
    const auto found = world_.desktop.applications.find(front);
    if (found == world_.desktop.applications.end())
        return;
    const auto& text = pastes_.last;
    const bool couldBeSeen = world_.scheduler.now() - fieldsHungAt_ > longestInsert;
    if (found->second.security == FocusedField::Security::secure && couldBeSeen)
        complain("3: \"" + text + "\" is typed into a password field of " + front);
    if (!world_.settings->isAllowed(front))
        complain("3: \"" + text + "\" is typed into " + front + ", which is excluded");
    for (const auto& mark : marksIn(text)) {
        if (!words_[mark].mayGoTo.contains(front))
            complain(fmt::format("2: {} is typed into {}", mark, front));
    }
    if (marksIn(text).empty())
        complain("2: \"" + text + "\" is typed, which nobody said");
    sendable_.clear();
    const auto plan = planFor(front);
    if (isDelivered(text) && !world_.session->utterance().live && plan)
        sendable_[front] = *plan;
}

std::optional<SendPlan> Witness::planFor(const std::string& app) const {
    return sendPlanFor(app, *world_.profiles, world_.settings->record());
}

void Witness::lookAtReturns() {
    const auto& posted = world_.desktop.returnsPosted;
    if (posted.size() == returns_)
        return;
    if (posted.size() > returns_ + 1)
        complain("5: two Returns at once");
    returns_ = posted.size();
    const auto& [style, front] = posted.back();
    const auto found = sendable_.find(front);
    if (found == sendable_.end()) {
        complain("5: a Return that nobody wants, in " + front);
        return;
    }
    const auto wanted =
        found->second.sendKey == SendKeyType::enter ? ReturnStyle::alone : ReturnStyle::withCommand;
    if (style != wanted)
        complain("5: the wrong send key, in " + front);
    sendable_.clear();
    count("sent by itself");
}

void Witness::lookAtFields() {
    const auto& desktop = world_.desktop;
    const auto fetched = static_cast<std::size_t>(desktop.pastesPosted) - desktop.fetchesDue;
    if (fetched == fetches_)
        return;
    fetches_ = fetched;
    for (const auto& [id, app] : desktop.applications) {
        for (const auto& mark : marksIn(app.field + app.afterCaret + joined(app.messages))) {
            words_[mark].seen = true;
            // A command may write anew what is selected here.
            words_[mark].mayGoTo.insert(id);
        }
        auto& wrong = fetchedRestored_[id];
        if (std::exchange(wrong, app.fetchedRestored) != app.fetchedRestored)
            lookAtWrongFetch(id);
    }
}

/// Words that the application did not get, because the clipboard held others when it fetched them.
void Witness::lookAtWrongFetch(const std::string& app) {
    const auto now = world_.scheduler.now();
    const bool userCopied = now - copiedAt_ <= slowestFetch;
    if (!userCopied)
        complain("4: " + app + " was told to paste, and the clipboard held something else");
    for (const auto& text : {pastes_.last, pastes_.before})
        for (const auto& mark : marksIn(text))
            words_[mark].overtaken = true;
    count("overtaken by a copy");
}

void Witness::lookAtClipboard() {
    const auto& pasteboard = world_.desktop.pasteboard;
    if (pasteboard.changeCount() == copies_)
        return;
    copies_ = pasteboard.changeCount();
    if (!pasteboard.ours || pasteboard.transient)
        return;
    clipboard_ = pasteboard.text();
    for (const auto& mark : marksIn(*clipboard_))
        words_[mark].left = true;
    count("left on the clipboard");
}

void Witness::lookAtFlags() {
    const auto& session = *world_.session;
    const auto& desktop = world_.desktop;
    const bool recording = state_ == RecognitionState::recording;
    const bool idle = state_ == RecognitionState::idle;
    const auto* shown = idle ? "" : recording ? "recording" : "working";
    if (session.recordingFlag() != recording || session.refiningFlag() != (!idle && !recording))
        complain("6: the flags do not agree with the state");
    if (idle && world_.microphone.capturing() &&
        world_.scheduler.now() - idleSince_ > closingMicrophone)
        complain("6: the microphone is open while idle");
    if (recording && !world_.microphone.capturing() && !world_.microphone.failure)
        complain("6: the microphone is closed while recording");
    if (world_.panel.showing != shown)
        complain("6: the panel shows \"" + world_.panel.showing + "\" instead of \"" + shown +
                 "\"");
    if (world_.panel.countdown.has_value() != session.sendPending())
        complain("6: the countdown that is shown does not agree with sendPending");
    if (desktop.swallows({{}, Key::escape}) != session.escapeCancels())
        complain(
            "6: Esc is kept from the application when it cancels nothing, or not when it does");
    if (desktop.reportsTyping != session.wantsTyping())
        complain("6: typing is reported when nobody wants it, or not when somebody does");
}

void Witness::lookAtLoudspeakers() {
    if (state_ != RecognitionState::idle || !world_.output.muted || mayStayMuted_)
        return;
    if (world_.scheduler.now() - idleSince_ > unmuting)
        complain("6: the loudspeakers stay muted");
}

// --- Ends ----------------------------------------------------------------------------------------

void Witness::quits(const std::function<void()>& action) {
    quitting_ = true;
    action();
    quitting_ = false;
    const auto& pasteboard = world_.desktop.pasteboard;
    if (clipboard_ && !pasteboard.refuses && pasteboard.text() != *clipboard_)
        complain("4: the clipboard does not come back when the program quits");
    if (world_.output.muted && !mayStayMuted_)
        complain("6: the loudspeakers stay muted when the program quits");
}

void Witness::aboutToCrash() {
    if (running_) {
        const auto limit = world_.scheduler.now() - lostByCrash;
        std::erase_if(running_->said, [limit](const Said& said) { return said.end > limit; });
        running_->fate = Fate::crashed;
        running_->isLive = world_.session->utterance().live;
        done_.push_back(std::move(*running_));
        running_.reset();
        count("crashed in mid-dictation");
    }
    // What is being written down may or may not have arrived.
    for (auto& [mark, words] : words_) {
        ++words.doubtful;
        words.mayMiss = true;
    }
    const auto& pasteboard = world_.desktop.pasteboard;
    if (world_.session->injectingFlag() > 0 || (pasteboard.ours && pasteboard.transient))
        clipboard_.reset();
    inputSource_ = world_.desktop.inputSource.source;
    mayStayMuted_ = world_.output.absent;
    sendable_.clear();
    state_ = RecognitionState::idle;
    idleSince_ = world_.scheduler.now();
}

void Witness::restarted() {
    world_.scheduler.afterTurn = [this] { look(); };
    look();
}

std::set<std::string> Witness::archived() const {
    std::set<std::string> found;
    for (const auto& item : world_.archive->items()) {
        if (const auto samples = world_.archive->samples(item.id))
            addMarks(found, world_.words.transcript(*samples));
    }
    return found;
}

void Witness::settled() {
    if (world_.state() != RecognitionState::idle || world_.session->injectingFlag() != 0 ||
        world_.session->sendPending())
        complain("6: it does not come to rest");
    for (const auto& dictation : done_)
        checkNothingIsLost(dictation);
    for (const auto& mark : typedForAgent_) {
        if (!words_[mark].seen && !words_[mark].overtaken)
            complain("1: the AI client was told that " + mark + " is typed, and it is not");
    }
    const auto& pasteboard = world_.desktop.pasteboard;
    if (clipboard_ && pasteboard.text() != *clipboard_)
        complain("4: the clipboard holds \"" + pasteboard.text() + "\" instead of \"" +
                 *clipboard_ + "\"");
    const auto& source = world_.desktop.inputSource.source;
    if (source != inputSource_)
        complain("4: the keyboard stays set to \"" + source + "\"");
    if (world_.logSink->has("ended unexpectedly"))
        complain("7: an exception has left a task");
    checkHistory();
    done_.clear();
    typedForAgent_.clear();
}

/// Words that were heard are typed, copied, returned or kept, or else the user was told of them.
void Witness::checkNothingIsLost(const Dictation& dictation) {
    std::optional<std::set<std::string>> kept;
    for (const auto& said : dictation.said) {
        const auto& words = words_[said.mark];
        if (words.seen) {
            count("words typed");
            continue;
        }
        if (words.left || words.returned || words.overtaken)
            continue;
        if (!kept)
            kept = archived();
        if (kept->contains(said.mark))
            count("words kept as a recording");
        else if (dictation.fate == Fate::quit && isInHistory(said.mark))
            count("words in the history when the program quit");
        else if (said.told)
            count("words that the user was told of");
        else
            complain("1: " + said.mark + " is nowhere");
    }
}

bool Witness::isInHistory(const std::string& mark) {
    return std::ranges::any_of(world_.history(), [&mark](const TranscriptEntry& entry) {
        return entry.rawText.find(mark) != std::string::npos;
    });
}

void Witness::checkHistory() {
    const auto all = world_.history();
    std::map<std::string, std::size_t> found;
    for (const auto& entry : all) {
        checkEntry(entry, all);
        for (const auto& mark : marksIn(entry.rawText))
            ++found[mark];
    }
    for (auto& [mark, words] : words_) {
        const auto least = words.mayMiss ? words.confirmed : words.deliveries;
        const auto most = words.deliveries + words.doubtful;
        if (found[mark] < least || found[mark] > most)
            complain("8: " + mark + " is " + std::to_string(found[mark]) +
                     " times in the history instead of " + std::to_string(words.deliveries));
        words.deliveries = words.confirmed = found[mark];
        words.doubtful = 0;
        words.mayMiss = false;
    }
}

void Witness::checkEntry(const TranscriptEntry& entry, const std::vector<TranscriptEntry>& all) {
    for (const auto& mark : marksIn(entry.rawText)) {
        if (entry.kind == EntryKind::live && !words_[mark].isLive)
            complain("8: " + mark + " is down as live");
    }
    if (!entry.replaces)
        return;
    const auto replaced = std::ranges::find(all, *entry.replaces, &TranscriptEntry::id);
    if (replaced == all.end() || replaced->appBundleID != entry.appBundleID)
        complain("8: " + entry.rawText + " replaces an entry of another application, or none");
}

void Witness::ended() {
    if (world_.scheduler.timerCount() != world_.desktop.fetchesDue)
        complain("7: timers outlive the program");
    if (world_.loop.drain() > 0)
        complain("7: work outlives the program");
}

}  // namespace quillet::world
