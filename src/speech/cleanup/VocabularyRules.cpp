#include "speech/cleanup/VocabularyRules.h"

namespace quillet {

asio::awaitable<VocabularyRules::Matcher> VocabularyRules::current() {
    auto entries = co_await vocabulary_.allEntries();
    if (matcher_ && entries == entries_)
        co_return matcher_;
    auto prepare = [entries]() -> Matcher {
        return std::make_shared<const VocabularyMatcher>(*entries);
    };
    auto matcher = co_await vocabulary_.queue().run(std::move(prepare));
    matcher_ = matcher;
    entries_ = std::move(entries);
    co_return matcher;
}

}  // namespace quillet
