#pragma once

#include <asio/awaitable.hpp>
#include <chrono>
#include <expected>
#include <functional>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/http/HttpClient.h"
#include "base/log/Log.h"
#include "refine/DictationPrompt.h"
#include "refine/LLMError.h"
#include "settings/AppSettings.h"

namespace quillet {

/// The one way to the language model. Stateless but for its services, which must outlive it; any
/// number of requests may run at once, each with the settings of the moment that it began. Belongs
/// to the main queue's thread; a cancelled task throws operation_aborted and abandons its request.
class LLMRefiner {
public:
    /// What is remembered of the user.
    struct Memory {
        std::vector<std::string> terms;
        std::string profile;
    };
    /// Reads at most this many terms; empty where nobody remembers.
    using ReadMemory = std::function<asio::awaitable<Memory>(int limit)>;

    struct Services {
        HttpClient& http;
        AppSettings& settings;
        ReadMemory memory;
        Log log;
    };
    using Reply = std::expected<std::string, LLMError>;

    static constexpr std::chrono::milliseconds usualTimeout{60'000};

    explicit LLMRefiner(Services services);

    [[nodiscard]] bool isConfigured() const;

    /// Opens the connection that the next request will use, while the user still speaks.
    void prewarm();

    /// Sends one chat body, adjusted to its model, and returns the reply, which may be empty.
    [[nodiscard]] asio::awaitable<Reply> complete(nlohmann::json body,
                                                  std::chrono::milliseconds timeout = usualTimeout);

    enum class Outcome {
        notAsked,   ///< raw mode, no model configured, or nothing to rewrite
        rewritten,  ///< the text is the model's
        rejected,   ///< the rewrite looked wrong; the text is the one that was given
        failed,     ///< there was no reply; the text is the one that was given
    };
    struct Refined {
        std::string text;  ///< may always be inserted
        Outcome outcome = Outcome::notAsked;
        std::string why;  ///< of what was rejected or failed
    };
    /// `screenTerms`, which the window shows, fill up what is remembered of the user's terms.
    [[nodiscard]] asio::awaitable<Refined> refine(std::string text, DictationOutputMode mode,
                                                  DictationPrompt::Situation situation,
                                                  std::string beforeCursor,
                                                  std::vector<std::string> screenTerms = {});

    /// Carries out a spoken instruction, on the selection where there is one.
    [[nodiscard]] asio::awaitable<Reply> command(std::string instruction,
                                                 std::optional<std::string> selection,
                                                 std::string beforeCursor);
    [[nodiscard]] asio::awaitable<Reply> translate(std::string text, std::string targetLanguage);

    /// A sentence on whether the model answers: good news, or what is wrong and what to do.
    struct ConnectionReport {
        bool reachable = false;
        std::string sentence;
    };
    [[nodiscard]] asio::awaitable<ConnectionReport> testConnection();

private:
    asio::awaitable<Reply> send(QuilletSettings record, nlohmann::json body,
                                std::chrono::milliseconds timeout);
    Reply read(const HttpResponse& response) const;
    asio::awaitable<Reply> sendForText(nlohmann::json body, std::string said);
    asio::awaitable<std::string> key(std::string url);
    asio::awaitable<std::string> adviceOnKey(std::string url);

    Services services_;
};

}  // namespace quillet
