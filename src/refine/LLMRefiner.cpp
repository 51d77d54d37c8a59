#include "refine/LLMRefiner.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "base/async/Checkpoint.h"
#include "base/http/Url.h"
#include "base/text/Text.h"
#include "refine/LLMAddress.h"
#include "refine/LLMReply.h"
#include "refine/RewriteGuards.h"

namespace quillet {

namespace {

using DictationPrompt::CleanupStyle;
using nlohmann::json;

constexpr std::chrono::milliseconds smartTimeout{12'000};
constexpr std::chrono::milliseconds polishTimeout{30'000};
constexpr std::chrono::milliseconds writingTimeout{30'000};
constexpr std::chrono::milliseconds testTimeout{20'000};
constexpr int tokensOfTest = 300;
constexpr int mostTerms = 50;
/// Bytes; several times what the tokens that are asked for make.
constexpr std::size_t longestWriting = 20'000;
constexpr long ok = 200;
constexpr const char* keyName = "llmAPIKey";

bool configured(const QuilletSettings& record) {
    return record.llmEnabled && !record.llmBaseURL.empty();
}

/// Why a reply is no rewrite of a text; none when it is one.
std::optional<std::string> faultOf(const std::string& text, const std::string& reply,
                                   CleanupStyle style) {
    if (reply.empty())
        return "the reply is empty";
    if (holdsThinking(reply, text))
        return "the reply holds the model's thinking";
    if (auto reason = rejectionReason(text, reply, style))
        return reason;
    if (answersInstead(text, reply))
        return "the reply answers instead of editing";
    return std::nullopt;
}

HttpRequest requestOf(std::string url, const json& body, const std::string& key,
                      std::chrono::milliseconds timeout) {
    HttpRequest request;
    request.method = "POST";
    request.url = std::move(url);
    request.timeout = timeout;
    request.largestAnswer = largestTextAnswer;
    if (!key.empty())
        request.headers.emplace_back("Authorization", "Bearer " + key);
    request.headers.emplace_back("Content-Type", "application/json");
    // What was read off a screen need not be well-formed; a dictation is not lost for it.
    request.body = std::make_shared<const std::string>(
        body.dump(-1, ' ', false, json::error_handler_t::replace));
    return request;
}

}  // namespace

LLMRefiner::LLMRefiner(Services services) : services_(std::move(services)) {}

bool LLMRefiner::isConfigured() const {
    return configured(services_.settings.record());
}

void LLMRefiner::prewarm() {
    if (!isConfigured())
        return;
    if (const auto address = chatAddress(services_.settings.record()))
        services_.http.prewarm(*address);
}

asio::awaitable<LLMRefiner::Reply> LLMRefiner::complete(json body,
                                                        std::chrono::milliseconds timeout) {
    return send(services_.settings.record(), std::move(body), timeout);
}

asio::awaitable<LLMRefiner::Reply> LLMRefiner::send(QuilletSettings record, json body,
                                                    std::chrono::milliseconds timeout) {
    if (!configured(record))
        co_return std::unexpected(LLMError::notConfigured());
    const auto address = chatAddress(record);
    if (!address)
        co_return std::unexpected(LLMError::invalidUrl());
    const auto secret = co_await key(*address);
    auto request =
        requestOf(*address, DictationPrompt::applyModelQuirks(std::move(body)), secret, timeout);
    const auto response = co_await services_.http.perform(std::move(request));
    if (!response) {
        co_await checkpoint();
        co_return std::unexpected(LLMError::transport(response.error()));
    }
    co_return read(*response);
}

asio::awaitable<std::string> LLMRefiner::key(std::string url) {
    auto value = co_await services_.settings.secretFor(keyName, std::move(url));
    if (value)
        co_return std::move(*value);
    // A server that needs no key still answers.
    services_.log.error("The API key could not be read: {}", explanation(value.error()));
    co_return std::string();
}

LLMRefiner::Reply LLMRefiner::read(const HttpResponse& response) const {
    if (response.status != ok) {
        services_.log.error("LLM HTTP {}", response.status);
        return std::unexpected(LLMError::http(response.status));
    }
    auto reply = parseReply(response.body);
    if (!reply) {
        services_.log.error("LLM response parse failed");
        return std::unexpected(LLMError::parseFailure());
    }
    return std::move(*reply);
}

asio::awaitable<LLMRefiner::Refined> LLMRefiner::refine(std::string text, DictationOutputMode mode,
                                                        DictationPrompt::Situation situation,
                                                        std::string beforeCursor,
                                                        std::vector<std::string> screenTerms) {
    const auto record = services_.settings.record();
    DictationPrompt::Cleanup cleanup;
    cleanup.text = trimmed(text);
    if (mode == DictationOutputMode::raw || !configured(record) || cleanup.text.empty())
        co_return Refined{std::move(text), Outcome::notAsked, ""};

    Memory memory;
    if (services_.memory)
        memory = co_await services_.memory(mostTerms);
    for (auto& term : screenTerms) {
        if (std::ranges::find(memory.terms, term) == memory.terms.end())
            memory.terms.push_back(std::move(term));
    }
    if (memory.terms.size() > mostTerms)
        memory.terms.resize(mostTerms);
    const bool polish = mode == DictationOutputMode::polish;
    cleanup.model = record.llmModel;
    cleanup.style = polish ? CleanupStyle::polish : CleanupStyle::smart;
    cleanup.vocabulary = std::move(memory.terms);
    cleanup.profile = std::move(memory.profile);
    cleanup.situation = std::move(situation);
    cleanup.beforeCursor = std::move(beforeCursor);

    auto body = DictationPrompt::cleanupRequest(cleanup);
    auto reply = co_await send(record, std::move(body), polish ? polishTimeout : smartTimeout);
    if (!reply) {
        services_.log.error("Failed: {}", reply.error().message);
        co_return Refined{std::move(text), Outcome::failed, reply.error().message};
    }
    if (auto fault = faultOf(cleanup.text, *reply, cleanup.style)) {
        services_.log.error("LLM rewrite rejected: {}", *fault);
        co_return Refined{std::move(text), Outcome::rejected, std::move(*fault)};
    }
    services_.log.info("{} -> {}", services_.log.hidden(cleanup.text),
                       services_.log.hidden(*reply));
    co_return Refined{std::move(*reply), Outcome::rewritten, ""};
}

asio::awaitable<LLMRefiner::Reply> LLMRefiner::command(std::string instruction,
                                                       std::optional<std::string> selection,
                                                       std::string beforeCursor) {
    DictationPrompt::Command command;
    command.model = services_.settings.record().llmModel;
    command.instruction = std::move(instruction);
    command.selection = std::move(selection);
    command.beforeCursor = std::move(beforeCursor);
    auto said = fmt::format("{}\n{}\n{}", command.instruction, command.selection.value_or(""),
                            command.beforeCursor);
    return sendForText(DictationPrompt::commandRequest(command), std::move(said));
}

asio::awaitable<LLMRefiner::Reply> LLMRefiner::translate(std::string text,
                                                         std::string targetLanguage) {
    DictationPrompt::Translation translation;
    translation.model = services_.settings.record().llmModel;
    translation.text = text;
    translation.targetLanguage = std::move(targetLanguage);
    return sendForText(DictationPrompt::translateRequest(translation), std::move(text));
}

/// A reply that is to be typed: neither empty nor with thinking that was not said.
asio::awaitable<LLMRefiner::Reply> LLMRefiner::sendForText(json body, std::string said) {
    auto reply = co_await complete(std::move(body), writingTimeout);
    if (reply && (reply->empty() || reply->size() > longestWriting || holdsThinking(*reply, said)))
        reply = std::unexpected(LLMError::parseFailure());
    if (!reply)
        services_.log.error("Failed: {}", reply.error().message);
    co_return reply;
}

asio::awaitable<LLMRefiner::ConnectionReport> LLMRefiner::testConnection() {
    const auto record = services_.settings.record();
    auto body = DictationPrompt::plainRequest(record.llmModel, "Reply with OK.", tokensOfTest);
    const auto reply = co_await send(record, std::move(body), testTimeout);
    if (reply)
        co_return ConnectionReport{true, record.llmModel.empty()
                                             ? "The language model answers."
                                             : fmt::format("{} answers.", record.llmModel)};
    const auto& error = reply.error();
    std::string advice = remedy(error);
    const auto address = chatAddress(record);
    if (error.kind == LLMError::Kind::invalidUrl)
        advice = address ? "" : address.error();
    else if (error.status == 401 || error.status == 403)
        advice = co_await adviceOnKey(*address);
    co_return ConnectionReport{
        false, advice.empty() ? error.message : fmt::format("{}: {}", error.message, advice)};
}

/// On a key that was refused: it may also be that none was sent.
asio::awaitable<std::string> LLMRefiner::adviceOnKey(std::string url) {
    const auto server = parseUrl(url);
    const auto stored = co_await services_.settings.secret(keyName);
    if (!stored)
        co_return std::string(explanation(stored.error()));
    if (stored->empty())
        co_return "It wants a key, and none is stored. Store it with `quillet keys set llmAPIKey`.";
    if (server && !services_.settings.isSecretFor(keyName, *server))
        co_return fmt::format(
            "The stored key was given for {} and is not sent to {}. Store this server's key with "
            "`quillet keys set llmAPIKey`.",
            services_.settings.secretHost(keyName), server->server());
    co_return remedy(LLMError::http(401));
}

}  // namespace quillet
