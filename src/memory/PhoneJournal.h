#pragma once

#include <filesystem>
#include <optional>
#include <string>
#include <vector>

#include "platform/Calendar.h"

namespace quillet {

/// What was dictated on the user's phone, where its journal is put beside our own files: a JSON
/// list of {"time": seconds since 1970, "heard", "sent", "app"}.
struct PhoneDictation {
    Calendar::UnixTime time;
    std::string heard;
    std::string sent;
    std::optional<std::string> app;
};

inline constexpr std::string_view phoneJournalName = "Dictations-iPhone.json";

/// Those after a time and not later than now, oldest first; none where there is no journal. Blocks
/// while it reads.
[[nodiscard]] std::vector<PhoneDictation> readPhoneJournal(const std::filesystem::path& file,
                                                           std::optional<Calendar::UnixTime> after,
                                                           Calendar::UnixTime now);

}  // namespace quillet
