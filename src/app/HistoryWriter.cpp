#include "app/HistoryWriter.h"

namespace quillet {

HistoryWriter::HistoryWriter(Services services) : services_(services) {}

bool HistoryWriter::keeps(const std::optional<std::string>& bundleID) const {
    return services_.settings.record().sessionLoggingEnabled &&
           services_.settings.isAllowed(bundleID.value_or(""));
}

void HistoryWriter::write(Dictation dictation, Failed failed) {
    if (!keeps(dictation.bundleID))
        return;
    services_.tasks.spawn(store(std::move(dictation), services_.calendar.now(), std::move(failed),
                                underWay_.begin()));
}

asio::awaitable<void> HistoryWriter::store(Dictation dictation, Calendar::UnixTime at,
                                           Failed failed, InFlight::Token /*underWay*/) {
    SessionStore::NewEntry entry;
    entry.id = dictation.entryID;
    entry.timestamp = at;
    entry.rawText = std::move(dictation.raw);
    entry.finalText = std::move(dictation.text);
    entry.wasCancelled = dictation.wasCancelled;
    entry.kind = dictation.kind;
    entry.replaces = std::move(dictation.replaces);
    const auto id = co_await services_.history.log(std::move(entry), std::move(dictation.bundleID),
                                                   std::move(dictation.appName));
    if (!id)
        failed(dictation.entryID);
}

}  // namespace quillet
