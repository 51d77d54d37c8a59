#pragma once

#include <asio/awaitable.hpp>
#include <expected>
#include <functional>
#include <string>

#include "app/Delivery.h"
#include "platform/FocusedField.h"
#include "platform/FrontApplication.h"
#include "settings/AppSettings.h"

namespace quillet {

/// Types texts for AI clients into the application in front. Belongs to the main queue's thread.
class AgentTyping {
public:
    struct Services {
        FrontApplication& frontApplication;
        FocusedField& focusedField;
        AppSettings& settings;
        Delivery& delivery;
        std::function<bool()> isIdle;  ///< no dictation is under way
    };
    /// The error is a sentence for the client.
    using Result = std::expected<void, std::string>;

    explicit AgentTyping(Services services) : services_(std::move(services)) {}

    /// Types the text, without the line breaks at its end.
    [[nodiscard]] asio::awaitable<Result> type(std::string text);

private:
    Services services_;
};

}  // namespace quillet
