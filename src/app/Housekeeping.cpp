#include "app/Housekeeping.h"

namespace quillet {

Housekeeping::Housekeeping(Services services) : services_(services), tasks_(services_.loop) {
    tasks_.spawn(run());
}

asio::awaitable<void> Housekeeping::run() {
    while (true) {
        services_.archive.deleteExpired();
        co_await services_.history.purge(services_.settings.record().sessionRetentionDays,
                                         services_.calendar.now());
        co_await services_.scheduler.sleep(std::chrono::days(1));
    }
}

}  // namespace quillet
