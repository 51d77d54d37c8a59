#include "app/HistoryWriter.h"

namespace quillet {

HistoryWriter::HistoryWriter(Services services) : services_(services) {
    idle_.set();
}

void HistoryWriter::write(std::string raw, std::string text, std::optional<std::string> bundleID,
                          std::optional<std::string> appName, Written written) {
    if (!services_.settings.record().sessionLoggingEnabled ||
        !services_.settings.isAllowed(bundleID.value_or("")))
        return;
    SessionStore::NewEntry entry;
    entry.timestamp = services_.calendar.now();
    entry.rawText = std::move(raw);
    entry.finalText = std::move(text);
    ++underWay_;
    idle_.reset();
    services_.tasks.spawn(
        store(std::move(entry), std::move(bundleID), std::move(appName), std::move(written)));
}

asio::awaitable<void> HistoryWriter::store(SessionStore::NewEntry entry,
                                           std::optional<std::string> bundleID,
                                           std::optional<std::string> appName, Written written) {
    auto id =
        co_await services_.history.log(std::move(entry), std::move(bundleID), std::move(appName));
    if (--underWay_ == 0)
        idle_.set();
    written(std::move(id));
}

}  // namespace quillet
