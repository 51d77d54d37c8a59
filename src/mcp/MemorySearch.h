#pragma once

#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/text/CaselessWord.h"
#include "meetings/MeetingLibrary.h"
#include "memory/Knowledge.h"
#include "platform/Calendar.h"
#include "store/SessionStore.h"

/// One search over everything that the user said. Pure; what is searched is given.
namespace quillet {

enum class MemoryKind { dictation, live, meeting, knowledge };

/// The words by which clients name the kinds, in their order.
[[nodiscard]] std::vector<std::string_view> memoryKindNames();
[[nodiscard]] std::string_view nameOf(MemoryKind kind);

struct MemoryQuery {
    std::string text;
    std::vector<std::string> words;  ///< of the text
    std::string app;                 ///< bundle id or display name; empty: any
    std::optional<Calendar::UnixTime> since;
    std::optional<Calendar::UnixTime> until;
    std::vector<std::string> kinds;  ///< empty: all
    std::size_t limit = 0;

    [[nodiscard]] bool wants(MemoryKind kind) const;
    [[nodiscard]] bool wantsHistory() const {
        return wants(MemoryKind::dictation) || wants(MemoryKind::live);
    }
    /// Whether a time lies between `since` and `until`.
    [[nodiscard]] bool covers(Calendar::UnixTime time) const;
};

struct MemoryHit {
    MemoryKind kind = MemoryKind::dictation;
    std::string id;
    Calendar::UnixTime time;
    std::string app;    ///< its name; empty where there is none
    std::string title;  ///< of a meeting or a piece of knowledge
    std::string snippet;
};

/// Begins with what the history has to be asked for.
[[nodiscard]] SessionStore::Filter historyFilter(const MemoryQuery& query);
[[nodiscard]] MemoryHit hitOf(const TranscriptEntry& entry, std::span<const CaselessWord> words);

/// The meeting notes that hold every word.
class NoteSearch {
public:
    NoteSearch(const MemoryQuery& query, const Calendar& calendar);

    void look(const MeetingLibrary::Entry& note, const MeetingLibrary::Content& content);
    [[nodiscard]] std::vector<MemoryHit> take() { return std::move(hits_); }

private:
    const MemoryQuery& query_;
    const Calendar& calendar_;
    std::vector<CaselessWord> words_;
    std::vector<MemoryHit> hits_;
};

/// The items that hold every word, the one seen last first.
[[nodiscard]] std::vector<MemoryHit> searchKnowledge(const Knowledge::Store& store,
                                                     const MemoryQuery& query);

/// What stands around the first of the words in a text, on one line.
[[nodiscard]] std::string snippetOf(std::string_view text, std::span<const CaselessWord> words);

}  // namespace quillet
