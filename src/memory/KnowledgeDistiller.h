#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <variant>
#include <vector>

#include "memory/Knowledge.h"

/// Builds the request that distils what was said, and applies the reply. Pure; nothing is sent, and
/// nothing that a model replied is believed without the entry that bears it out.
namespace quillet::KnowledgeDistiller {

struct FromMac {};  ///< a dictation of this machine
struct FromPhone {};
struct FromMeeting {
    std::string name;  ///< the note's file name
    Calendar::UnixTime modified;
    int part = 1;  ///< from 1
    int total = 1;
};
using Origin = std::variant<FromMac, FromPhone, FromMeeting>;

/// One entry that is offered to the model.
struct Source {
    Calendar::UnixTime time;
    std::string label;  ///< where it was said, for people and the model
    std::string text;   ///< without secrets
    Origin origin;
    std::optional<std::string> bundleID;
    std::string kind;  ///< "dictation", "live" or "meeting"
};

/// How far one meeting note was read.
struct MeetingParts {
    Calendar::UnixTime modified;
    int read = 0;
};

/// What has been read.
struct Cursor {
    std::optional<Calendar::UnixTime> readUpTo;
    std::optional<Calendar::UnixTime> phoneReadUpTo;
    std::map<std::string, Calendar::UnixTime> meetings;  ///< by note name, when read to its end
    std::map<std::string, MeetingParts> meetingParts;    ///< of notes that were read in part
};
[[nodiscard]] nlohmann::json encode(const Cursor& cursor);
[[nodiscard]] Cursor decodeCursor(const nlohmann::json& record);
/// Notes what has been read.
void advance(Cursor& cursor, std::span<const Source> read);

/// One operation of a reply.
struct Op {
    enum class Kind { add, enrich, revise, skip };
    Kind kind = Kind::skip;
    std::string item;
    std::string category;
    std::string newName;
    std::string newAbout;
    std::string title;
    std::string takeaway;
    std::string note;
    std::string reason;
    std::string quote;
    std::int64_t entry = 0;  ///< from 1
    double confidence = 0;
    friend bool operator==(const Op&, const Op&) = default;
};

inline constexpr double leastConfidence = 0.7;
inline constexpr std::size_t mostEntriesInRequest = 40;
inline constexpr std::size_t mostCharactersInRequest = 16'000;
/// Known items that a request shows at most: those nearest to its entries, then the latest.
inline constexpr std::size_t mostKnownItems = 120;
/// Characters of one part of a meeting note.
inline constexpr std::size_t mostCharactersInPart = 4'000;

/// The number of sources at the begin of `sources` that make up the next request: as many as fit,
/// and at least one.
[[nodiscard]] std::size_t batchSize(std::span<const Source> sources);

/// A meeting note in parts, cut between lines where that is possible.
[[nodiscard]] std::vector<std::string> partsOf(std::string_view note);

/// The chat body. Entries are numbered from 1. Reads all items of the store: not for the main
/// thread.
[[nodiscard]] nlohmann::json request(std::string_view model, const Knowledge::Store& store,
                                     std::span<const Source> sources, const Calendar& calendar,
                                     Calendar::UnixTime now);

/// More than a reply of the length that is asked for holds.
inline constexpr std::size_t mostOpsInReply = 200;
/// None when the reply holds no JSON object with a list of ops. Ops that cannot be read are kept as
/// `skip` with no confidence, so that they are counted; those past `mostOpsInReply` are not.
[[nodiscard]] std::optional<std::vector<Op>> readOps(std::string_view reply);

/// What became of the ops of one reply.
struct Applied {
    int added = 0;
    int enriched = 0;
    int revised = 0;
    int leftOut = 0;  ///< no entry, quote, item or confidence bears them out
    std::vector<std::string> addedCategories;  ///< names

    Applied& operator+=(const Applied& other);
};
using FreshId = std::function<std::string()>;
/// Applies each op that its entry bears out: the quote stands verbatim in the entry that it names,
/// and the entry is none that speaks of items' ids or of operations itself. What changes an item
/// must also speak of the same as the item where the quote stands. An addition under a title that
/// the category has goes to that item. Texts are cut to one line of a sensible length.
Applied apply(Knowledge::Store& store, std::span<const Op> ops, std::span<const Source> sources,
              const FreshId& freshId);

}  // namespace quillet::KnowledgeDistiller
