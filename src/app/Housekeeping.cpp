#include "app/Housekeeping.h"

namespace quillet {

Housekeeping::Housekeeping(Services services)
    : services_(std::move(services)), tasks_(services_.loop) {
    // What an early version kept of the language model's answers.
    for (const auto* file : {"llm_cache.db", "llm_cache.db-wal", "llm_cache.db-shm"}) {
        std::error_code ignored;
        std::filesystem::remove(services_.quilletHome / file, ignored);
    }
    tasks_.spawn(run());
}

asio::awaitable<void> Housekeeping::run() {
    while (true) {
        co_await services_.archive.deleteExpired();
        co_await services_.meetings.deleteExpired();
        co_await services_.history.purge(services_.settings.record().sessionRetentionDays,
                                         services_.calendar.now());
        co_await services_.scheduler.sleep(std::chrono::days(1));
    }
}

}  // namespace quillet
