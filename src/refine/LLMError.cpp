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

std::string_view remedyOfTransport(const LLMError& error) {
    switch (error.cause) {
        case HttpError::Kind::tooLarge:
            return "No language model writes so much. Check that llmBaseURL names one.";
        case HttpError::Kind::badUrl:
            return "Check how llmBaseURL is written.";
        case HttpError::Kind::badHeader:
            return "Store the key again, on one line, with `quillet keys set llmAPIKey`.";
        case HttpError::Kind::notAllowed:
            return "";  // the message says it
        case HttpError::Kind::timedOut:
            return "The server takes too long. Try again, or choose a faster model.";
        case HttpError::Kind::cancelled:
        case HttpError::Kind::unreachable:
        case HttpError::Kind::broken:
            break;
    }
    // What the transport says of a certificate that it does not know.
    if (error.message.contains("certificate"))
        return "The server's certificate is not trusted here. If it is your own, add it to the "
               "system's trusted certificates.";
    if (error.message.contains("SSL"))
        return "The server does not speak TLS there. Check whether llmBaseURL should begin with "
               "http:// or name another port.";
    return "Check the network and that llmBaseURL names the right host and port.";
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
LLMError LLMError::transport(const HttpError& error) {
    LLMError result{Kind::transport, 0, error.message, error.kind};
    // The library speaks of its own disk here.
    if (error.kind == HttpError::Kind::tooLarge)
        result.message = "The answer is too long";
    return result;
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
            return std::string(remedyOfTransport(error));
    }
    return {};
}

}  // namespace quillet
