#pragma once

#include <map>
#include <optional>
#include <set>
#include <string>
#include <string_view>
#include <vector>

#include "world/World.h"

namespace quillet::world {

/// How often each thing was met.
using Tally = std::map<std::string, int>;

/// The marks in a text, which tell whatever was said or sent in an evening apart: "w0042".
[[nodiscard]] std::vector<std::string> marksIn(std::string_view text);
[[nodiscard]] std::string mark(int number);

/// Watches the program from outside and holds against it what it promises. It is told of what the
/// user does, looks at the world at every stop of the clock, and keeps the first complaint.
class Witness {
public:
    explicit Witness(World& world);

    // --- what the user does ---
    /// A sentence begins, and has ended: it was heard whole if the same dictation still runs.
    void speaks(const std::string& mark);
    void spoke(const std::string& mark, std::chrono::milliseconds duration);
    /// Something that may cancel what is under way.
    void cancels(const std::function<void()>& action);
    /// No message is to be sent by itself any more.
    void calledOff() { sendable_.clear(); }
    void copied(const std::string& text);
    void clipboardLost() { clipboard_.reset(); }
    void inputSourceChosen(std::string source) { inputSource_ = std::move(source); }
    /// The last result, or a recording, is wanted in the application in front.
    void pastesAgain();
    void sendsAgain(const std::string& recordingID, const std::function<void()>& action);
    void outputGone() { mayStayMuted_ = true; }

    // --- what AI clients do ---
    void asksForDictation(const std::function<void()>& action);
    void asksForTyping(const std::string& text);
    void returned(const std::string& text);
    void typedForAgent(const std::string& text);

    // --- ends ---
    void quits(const std::function<void()>& action);
    void aboutToCrash();
    void restarted();
    /// Everything has come to rest.
    void settled();
    /// The program has been torn down.
    void ended();

    /// What the program did wrong first, beginning with the promise's number.
    [[nodiscard]] const std::optional<std::string>& complaint() const { return complaint_; }
    void complain(std::string what);
    [[nodiscard]] const Tally& tally() const { return tally_; }

private:
    /// What became of something that was said, or sent by an AI client.
    struct Words {
        std::set<std::string> mayGoTo;  ///< applications
        bool seen = false;              ///< in a field or a message
        bool left = false;              ///< on the clipboard, for the user
        bool returned = false;
        bool overtaken = false;      ///< another text was on the clipboard when these were fetched
        std::size_t deliveries = 0;  ///< entries of the history that are due
        std::size_t confirmed = 0;   ///< those of them that have been seen there
        std::size_t doubtful = 0;    ///< what may be there beside them, or may not
        bool mayMiss = false;        ///< a crash may have taken what is not confirmed
        bool isLive = false;
    };
    struct Said {
        std::string mark;
        Scheduler::TimePoint end;
        bool told = false;  ///< the user was told how to paste it
    };
    enum class Fate { running, finished, cancelled, refused, crashed, quit };
    struct Dictation {
        std::optional<std::string> target;
        bool forAgent = false;
        bool again = false;  ///< an archived recording
        std::vector<Said> said;
        std::vector<std::string> heardBefore;  ///< the marks of an archived recording
        std::set<std::string> holds;           ///< all marks that its text may hold
        Fate fate = Fate::running;
        bool told = false;  ///< the user was told how to paste the last result
        bool isLive = false;
        bool amends = false;
    };

    void look();
    void lookAtPastes();
    void lookAtReturns();
    void lookAtFields();
    void lookAtWrongFetch(const std::string& app);
    void lookAtClipboard();
    void lookAtState();
    void lookAtFlags();
    void lookAtLoudspeakers();
    void begin(RecognitionState state);
    void end(RecognitionState was);
    void countDelivery(const Dictation& dictation);
    void checkNothingIsLost(const Dictation& dictation);
    [[nodiscard]] bool isInHistory(const std::string& mark);
    void checkHistory();
    void checkEntry(const TranscriptEntry& entry, const std::vector<TranscriptEntry>& all);
    [[nodiscard]] std::optional<SendPlan> planFor(const std::string& app) const;
    [[nodiscard]] bool isDelivered(const std::string& text) const;
    [[nodiscard]] std::set<std::string> archived() const;
    [[nodiscard]] bool toldSince(std::size_t notice) const;
    void count(const std::string& what) { ++tally_[what]; }

    World& world_;
    std::map<std::string, Words> words_;
    std::optional<Dictation> running_;
    std::vector<Dictation> done_;  // since everything was at rest last
    std::set<std::string> typedForAgent_;
    std::map<std::string, SendPlan> sendable_;  // applications that may get a Return
    std::optional<std::string> clipboard_;      // what is to be on it at rest; none: not known
    std::string inputSource_ = "us";
    bool cancelling_ = false;
    bool quitting_ = false;
    bool askedByAgent_ = false;
    bool mayStayMuted_ = false;

    // What was seen last.
    RecognitionState state_ = RecognitionState::idle;
    struct Pastes {
        int count = 0;
        std::string last;
        std::string before;
        Scheduler::TimePoint at;
    } pastes_;
    std::size_t returns_ = 0;
    std::size_t notices_ = 0;
    std::size_t fetches_ = 0;
    std::map<std::string, int> fetchedRestored_;
    std::uint64_t copies_ = 0;
    Scheduler::TimePoint idleSince_;
    Scheduler::TimePoint copiedAt_;
    Scheduler::TimePoint fieldsHungAt_;

    std::optional<std::string> complaint_;
    Tally tally_;
};

}  // namespace quillet::world
