#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "platform/Calendar.h"

namespace quillet {

enum class EntryKind { dictation, live };

/// The text that a kind is stored as.
[[nodiscard]] std::string_view storedName(EntryKind kind);
/// What is not known is a dictation.
[[nodiscard]] EntryKind kindStoredAs(std::string_view name);

/// One logged dictation.
struct TranscriptEntry {
    std::string id;
    std::string sessionID;
    Calendar::UnixTime timestamp;
    std::string rawText;    ///< what recognition heard
    std::string finalText;  ///< what was inserted
    bool wasCancelled = false;
    std::optional<std::string> appName;   ///< filled on reading
    std::optional<std::string> replaces;  ///< id of the entry that this one corrects
    std::optional<std::string> appBundleID;
    EntryKind kind = EntryKind::dictation;
};

/// A run of entries in one application without a long pause.
struct VSession {
    std::string id;
    Calendar::UnixTime startedAt;
    std::optional<Calendar::UnixTime> endedAt;  ///< none while open
    std::optional<std::string> appBundleID;
    std::optional<std::string> appDisplayName;
    std::optional<std::string> summary;
    std::vector<std::string> tags;
    int entryCount = 0;
};

}  // namespace quillet
