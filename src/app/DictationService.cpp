#include "app/DictationService.h"

#include <nlohmann/json.hpp>

#include "app/Messages.h"
#include "base/rpc/ControlProtocol.h"

namespace quillet {

namespace {

using nlohmann::json;
using Result = JsonRpcDispatcher::Result;

constexpr std::int64_t longestWait = RecordingSession::longestAgentDictation.count();

/// The mode among the parameters, `dictate` when there is none.
std::expected<HotkeyMode, RpcError> modeOf(const json& params) {
    const auto name = params.is_object() ? params.value("mode", json("dictate")) : json("dictate");
    const auto mode =
        name.is_string() ? hotkeyModeNamed(name.get_ref<const std::string&>()) : std::nullopt;
    if (mode)
        return *mode;
    return std::unexpected(RpcError{
        rpc_code::invalidParams, "The mode is one of dictate, command, translate, live, amend."});
}

}  // namespace

void DictationService::offer(JsonRpcDispatcher& dispatcher) {
    const auto add = [&dispatcher](std::string_view name, std::function<Result(const json&)> call) {
        dispatcher.add(std::string(name), [call = std::move(call)](json params) {
            auto answer = [](std::function<Result(const json&)> f,
                             json p) -> asio::awaitable<Result> { co_return f(p); };
            return answer(call, std::move(params));
        });
    };
    const auto withMode = [](auto call) {
        return [call](const json& params) -> Result {
            const auto mode = modeOf(params);
            if (!mode)
                return std::unexpected(mode.error());
            return call(*mode);
        };
    };
    RecordingSession& session = services_.session;
    add(control::status, [this](const json&) { return status(); });
    add(control::start, withMode([this](HotkeyMode mode) { return start(mode); }));
    add(control::toggle, withMode([this, &session](HotkeyMode mode) -> Result {
            if (session.state() == RecognitionState::idle)
                return start(mode);
            session.toggle(mode);
            return status();
        }));
    add(control::press, withMode([this](HotkeyMode mode) { return press(mode); }));
    add(control::release, [this](const json&) { return release(); });
    add(control::stop, [this, &session](const json&) -> Result {
        if (session.state() != RecognitionState::recording)
            return refusal("Nothing is being recorded.");
        session.stop();
        return status();
    });
    add(control::cancel, [this, &session](const json&) -> Result {
        const bool isIdle = session.state() == RecognitionState::idle;
        if (!session.cancel())
            return refusal(isIdle ? "There is no dictation to cancel."
                                  : "It is too late to cancel: the text is being typed.");
        return status();
    });
    add(control::pasteLast, [this, &session](const json&) -> Result {
        if (const auto reason = session.pasteLast(); !reason.empty())
            return refusal(reason);
        return status();
    });
    add(control::sendRecording, [this](const json& params) -> Result {
        if (!params.is_object() || !params.contains("id") || !params["id"].is_string())
            return std::unexpected(RpcError{rpc_code::invalidParams, "The id is a text."});
        return sendRecording(params["id"].get<std::string>());
    });
    dispatcher.add(std::string(control::dictateForAgent),
                   [this](json params) { return dictateForAgent(std::move(params)); });
    dispatcher.add(std::string(control::typeText),
                   [this](json params) { return typeText(std::move(params)); });
    dispatcher.add(std::string(control::deleteHistory), [this](json) { return deleteHistory(); });
    add(control::showMenu, [this](const json&) -> Result {
        services_.showMenu();
        return status();
    });
    add(control::quit, [this](const json&) -> Result {
        services_.quit();
        return json(true);
    });
}

Result DictationService::status() const {
    const auto& session = services_.session;
    json answer = {{"running", true},
                   {"state", nameOf(session.state())},
                   {"globalKeys", services_.globalKeys},
                   {"conflicts", services_.hotkeys.conflicts()}};
    if (const auto& failure = session.lastSTTError())
        answer["lastError"] = {{"text", failure->sentence},
                               {"detail", failure->error.longText()},
                               {"at", failure->at.time_since_epoch().count()}};
    return answer;
}

Result DictationService::start(HotkeyMode mode) {
    auto& session = services_.session;
    if (session.state() != RecognitionState::idle)
        return refusal("A dictation is under way already.");
    if (const auto reason = session.start(mode); !reason.empty())
        return refusal(reason);
    return status();
}

asio::awaitable<Result> DictationService::dictateForAgent(json params) {
    const auto seconds = params.is_object() ? params.value("seconds", json()) : json();
    if (!seconds.is_number_integer() || seconds < 1)
        co_return std::unexpected(
            RpcError{rpc_code::invalidParams, "The seconds are a whole number from 1 on."});
    auto text = co_await services_.session.dictateForAgent(
        std::chrono::seconds(std::min(seconds.get<std::int64_t>(), longestWait)));
    if (!text)
        co_return refusal(text.error());
    co_return json(std::move(*text));
}

asio::awaitable<Result> DictationService::typeText(json params) {
    auto text = params.is_object() ? params.value("text", json()) : json();
    if (!text.is_string())
        co_return std::unexpected(RpcError{rpc_code::invalidParams, "The text is a text."});
    const auto typed = co_await services_.session.typeText(text.get<std::string>());
    if (!typed)
        co_return refusal(typed.error());
    co_return json(true);
}

asio::awaitable<Result> DictationService::deleteHistory() {
    switch (co_await services_.deletion.eraseAll()) {
        case DictationDeletion::Outcome::done:
            co_return json(true);
        case DictationDeletion::Outcome::partly:
            co_return refusal(
                "The history is deleted, but what was noted of it could not be: see whether the "
                "disk is full, then try again.");
        case DictationDeletion::Outcome::failed:
            break;
    }
    co_return refusal(
        "The history could not be deleted. See whether its file can be written and the disk has "
        "room.");
}

Result DictationService::press(HotkeyMode mode) {
    auto begun = start(mode);
    pressed_ = begun.has_value();
    return begun;
}

Result DictationService::release() {
    if (std::exchange(pressed_, false))
        services_.session.stop();
    return status();
}

Result DictationService::sendRecording(const std::string& id) {
    if (services_.session.state() != RecognitionState::idle)
        return refusal("A dictation is under way already.");
    if (!services_.archive.item(id))
        return refusal("There is no such recording. `quillet recordings list` shows all of them.");
    if (const auto reason = services_.session.sendAgain(id); !reason.empty())
        return refusal(reason);
    return status();
}

}  // namespace quillet
