#include "refine/LLMError.h"

#include <fmt/format.h>

#include <string_view>

namespace quillet {

namespace {

std::string_view remedyOfStatus(long status) {
    switch (status) {
        case 400:
        case 422:
            return "The server does not understand the request. Check the model's name (llmModel).";
        case 401:
        case 403:
            return "The server refuses the key. Store the right one with "
                   "`quillet keys set llmAPIKey`.";
        case 402:
            return "The account has no credit left.";
        case 404:
        case 405:
            return "The server has no such address or no such model. Check llmBaseURL, which "
                   "usually ends in /v1 and never in /chat/completions, and llmModel.";
        case 429:
            return "Too many requests, or the quota is used up. Try again later.";
        default:
            break;
    }
    if (status >= 300 && status < 400)
        return "The server sends on to another address, which a key must not follow. Enter the "
               "final address as llmBaseURL.";
    return status >= 500 ? "The server has trouble of its own. Try again later." : "";
}

}  // namespace

LLMError LLMError::notConfigured() {
    return {Kind::notConfigured, 0, "LLM not configured"};
}
LLMError LLMError::invalidUrl() {
    return {Kind::invalidUrl, 0, "Invalid LLM URL"};
}
LLMError LLMError::http(long status) {
    return {Kind::http, status, fmt::format("LLM HTTP {}", status)};
}
LLMError LLMError::parseFailure() {
    return {Kind::parseFailure, 0, "LLM response parse failed"};
}
LLMError LLMError::transport(std::string message) {
    return {Kind::transport, 0, std::move(message)};
}

std::string remedy(const LLMError& error) {
    switch (error.kind) {
        case LLMError::Kind::notConfigured:
            return "Enter the server's address (llmBaseURL) and switch the language model on "
                   "(llmEnabled).";
        case LLMError::Kind::invalidUrl:
            return {};
        case LLMError::Kind::http:
            return std::string(remedyOfStatus(error.status));
        case LLMError::Kind::parseFailure:
            return "Something answers there, but not with a whole reply of a language model. Check "
                   "llmBaseURL and llmModel.";
        case LLMError::Kind::transport:
            // What the transport says of a certificate that it does not know.
            if (error.message.contains("certificate"))
                return "The server's certificate is not trusted here. If it is your own, add it to "
                       "the system's trusted certificates.";
            return "Check the network and that llmBaseURL names the right host and port.";
    }
    return {};
}

}  // namespace quillet
