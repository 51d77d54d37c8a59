#include "app/MeetingService.h"

#include <nlohmann/json.hpp>

#include "base/rpc/ControlProtocol.h"
#include "meetings/MeetingMessages.h"

namespace quillet {

namespace {

using nlohmann::json;
using Result = JsonRpcDispatcher::Result;

std::string_view nameOf(const MeetingTranscriber::Phase& phase) {
    if (std::holds_alternative<MeetingTranscriber::Recording>(phase))
        return "recording";
    return std::holds_alternative<MeetingTranscriber::Writing>(phase) ? "writing" : "idle";
}

}  // namespace

void MeetingService::offer(JsonRpcDispatcher& dispatcher) {
    dispatcher.add(std::string(control::meetingStatus), [this](const json&) { return status(); });
    dispatcher.add(std::string(control::meetingStart), [this](const json&) { return start(); });
    dispatcher.add(std::string(control::meetingStop),
                   [this](const json&) { return told(meetings_.stop()); });
    dispatcher.add(std::string(control::meetingRecover),
                   [this](const json&) { return told(meetings_.recover()); });
    dispatcher.add(std::string(control::meetingDiscard),
                   [this](const json&) { return told(meetings_.discard()); });
    dispatcher.add(std::string(control::meetingSummarise),
                   [this](json params) { return summarise(std::move(params)); });
}

asio::awaitable<Result> MeetingService::status() {
    const auto open = co_await meetings_.unfinished();
    json answer = {{"phase", nameOf(meetings_.phase())}, {"unfinished", open.size()}};
    if (const auto* recording = std::get_if<MeetingTranscriber::Recording>(&meetings_.phase())) {
        answer["since"] = recording->since.time_since_epoch().count();
        answer["quiet"] = meetings_.isQuiet();
    }
    co_return answer;
}

asio::awaitable<Result> MeetingService::start() {
    const auto started = co_await meetings_.start();
    if (!started)
        co_return refusal(started.error());
    json answer = json::object();
    if (meetings_.remindsOfConsent())
        answer["reminder"] = meeting_messages::consent;
    co_return answer;
}

asio::awaitable<Result> MeetingService::summarise(json params) {
    const auto note = params.is_object() ? params.value("note", json("")) : json("");
    if (!note.is_string())
        co_return std::unexpected(
            RpcError{rpc_code::invalidParams, "The note is the name of a file."});
    co_return co_await told(meetings_.summarise(note.get<std::string>()));
}

asio::awaitable<Result> MeetingService::told(
    asio::awaitable<MeetingTranscriber::Finished> finishing) {
    auto finished = co_await std::move(finishing);
    if (!finished)
        co_return refusal(std::move(finished.error()));
    co_return json{{"note", *finished ? json(**finished) : json()}};
}

}  // namespace quillet
