#pragma once

#include <asio/awaitable.hpp>
#include <stop_token>
#include <string>
#include <vector>

#include "meetings/MeetingLibrary.h"

namespace quillet {

/// The notes that hold all words of a query in their name or text, newest first; with no words, all
/// of them. A search that is told to stop reads no further notes.
[[nodiscard]] asio::awaitable<std::vector<MeetingLibrary::Entry>> notesWith(MeetingLibrary& library,
                                                                            std::string query,
                                                                            std::stop_token stop);

}  // namespace quillet
