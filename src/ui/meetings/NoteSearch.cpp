#include "ui/meetings/NoteSearch.h"

#include <algorithm>

#include "base/text/CaselessWord.h"

namespace quillet {

asio::awaitable<std::vector<MeetingLibrary::Entry>> notesWith(MeetingLibrary& library,
                                                              std::string query,
                                                              std::stop_token stop) {
    const auto words = queryWords(query);
    if (words.empty())
        co_return co_await library.entries();
    std::vector<MeetingLibrary::Entry> found;
    const std::vector<CaselessWord> wanted(words.begin(), words.end());
    auto look = [&found, &wanted, stop = std::move(stop)](const MeetingLibrary::Entry& note,
                                                          const MeetingLibrary::Content& content) {
        if (stop.stop_requested())
            return;
        const auto text = note.name + "\n" + content();
        if (std::ranges::all_of(wanted, [&](const auto& word) { return word.isIn(text); }))
            found.push_back(note);
    };
    co_await library.forEach(std::move(look));
    co_return found;
}

}  // namespace quillet
