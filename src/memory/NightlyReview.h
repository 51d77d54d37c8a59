#pragma once

#include <cstdint>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "memory/NightReport.h"
#include "platform/Calendar.h"
#include "store/VocabularyDB.h"

/// What the nightly review reads, finds and remembers.
namespace quillet::NightlyReview {

/// One dictation as the review sees it.
struct Entry {
    std::string id;  ///< the history's
    Calendar::UnixTime time;
    std::optional<std::string> app;
    std::string heard;                 ///< by recognition
    std::string sent;                  ///< after clean-up and the user's own edits
    std::optional<std::string> again;  ///< a second transcription of the kept recording
    std::optional<std::string> bundleID;
};

/// A misheard word, as the model reports it.
struct Term {
    std::string heard;
    std::string written;
    std::vector<std::int64_t> ids;  ///< numbers of entries, from 1
    double confidence = 0;
    std::string reason;
};

/// A sentence that makes no sense where it was said, as the model reports it.
struct Fix {
    std::int64_t id = 0;
    std::string sent;
    std::string fixed;
    std::string reason;
};

/// What is remembered of the user.
struct Memory {
    std::string profile;
    std::vector<std::string> terms;
    friend bool operator==(const Memory&, const Memory&) = default;
};

enum class Kind { term, fix };
enum class Status {
    pending,    ///< waits for the user
    learned,    ///< by the review itself
    accepted,   ///< by the user
    dismissed,  ///< by the user, be it after it was learned
};

struct Suggestion {
    std::string id;
    Kind kind = Kind::term;
    std::string heard;    ///< of a fix: the sentence as it was sent
    std::string written;  ///< of a fix: the sentence put right
    std::string reason;
    Calendar::UnixTime date;
    Status status = Status::pending;
    /// The history's ids of the dictations that it rests on.
    std::vector<std::string> entries;
};

/// What one night did.
struct Run {
    Calendar::UnixTime date;
    int reviewed = 0;  ///< dictations read
    int fromPhone = 0;
    std::vector<Suggestion> found;
    Memory memoryBefore;
    Memory memoryAfter;
    int failedParts = 0;              ///< batches without a usable answer
    std::vector<VocabEntry> removed;  ///< from the vocabulary, to be put back by an undo
    bool undone = false;
};

struct State {
    std::optional<Calendar::UnixTime> lastRun;
    std::optional<std::string> report;
    std::optional<ReviewCounts> counts;  ///< what the report counts; none: nothing
    std::vector<Suggestion> suggestions;
    Memory memory;
    std::optional<Calendar::UnixTime> phoneReviewedUpTo;
    std::vector<Run> runs;  ///< the latest one last

    /// How the last attempt went, where it counted nothing.
    void tell(std::string_view sentence) {
        report = std::string(sentence);
        counts.reset();
    }
};

inline constexpr std::size_t mostRuns = 90;
inline constexpr std::size_t mostProfileCharacters = 600;
inline constexpr std::size_t mostTerms = 30;

[[nodiscard]] nlohmann::json encode(const State& state);
/// None unless the value is an object. What is absent or of another type takes its default, and of
/// a list whatever can be read is kept, so that files of older versions stay readable.
[[nodiscard]] std::optional<State> decodeState(const nlohmann::json& record);

/// The words that enumerations are stored as.
[[nodiscard]] std::string_view storedName(Kind kind);
[[nodiscard]] std::string_view storedName(Status status);

}  // namespace quillet::NightlyReview
