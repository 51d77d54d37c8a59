#pragma once

#include "base/rpc/JsonRpc.h"
#include "meetings/MeetingTranscriber.h"

namespace quillet {

/// Offers meetings to the `quillet` command. Belongs to the main queue's thread.
class MeetingService {
public:
    explicit MeetingService(MeetingTranscriber& meetings) : meetings_(meetings) {}

    /// Adds the methods; the dispatcher must not outlive this.
    void offer(JsonRpcDispatcher& dispatcher);

private:
    asio::awaitable<JsonRpcDispatcher::Result> status();
    asio::awaitable<JsonRpcDispatcher::Result> start();
    asio::awaitable<JsonRpcDispatcher::Result> summarise(nlohmann::json params);
    static asio::awaitable<JsonRpcDispatcher::Result> told(
        asio::awaitable<MeetingTranscriber::Finished> finishing);

    MeetingTranscriber& meetings_;
};

}  // namespace quillet
