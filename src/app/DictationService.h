#pragma once

#include <functional>
#include <string>
#include <vector>

#include "app/DictationDeletion.h"
#include "app/HotkeyController.h"
#include "app/RecordingSession.h"
#include "base/rpc/JsonRpc.h"

namespace quillet {

/// Offers the controller's operations to the `quillet` command. Belongs to the main queue's thread.
class DictationService {
public:
    struct Services {
        RecordingSession& session;
        RecordingArchive& archive;
        DictationDeletion& deletion;
        const HotkeyController& hotkeys;
        std::function<void()> showMenu;
        std::function<void()> quit;
        bool globalKeys = true;  ///< this desktop shows us the keyboard
    };

    explicit DictationService(Services services) : services_(std::move(services)) {}

    /// Adds the methods; the dispatcher must not outlive this.
    void offer(JsonRpcDispatcher& dispatcher);

private:
    [[nodiscard]] JsonRpcDispatcher::Result status() const;
    [[nodiscard]] JsonRpcDispatcher::Result start(HotkeyMode mode);
    asio::awaitable<JsonRpcDispatcher::Result> dictateForAgent(nlohmann::json params);
    asio::awaitable<JsonRpcDispatcher::Result> deleteHistory();
    asio::awaitable<JsonRpcDispatcher::Result> typeText(nlohmann::json params);
    [[nodiscard]] JsonRpcDispatcher::Result press(HotkeyMode mode);
    [[nodiscard]] JsonRpcDispatcher::Result release();
    [[nodiscard]] JsonRpcDispatcher::Result sendRecording(const std::string& id);

    Services services_;
    bool pressed_ = false;  // the recording that runs began with a press
};

}  // namespace quillet
