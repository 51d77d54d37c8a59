#pragma once

#include <string>

#include "base/http/HttpClient.h"

namespace quillet {

/// Why a language model gave no reply.
struct LLMError {
    enum class Kind {
        notConfigured,
        invalidUrl,
        http,          ///< an answer of another status than 200
        parseFailure,  ///< an answer without a reply that could be used
        transport,     ///< no answer
    };
    Kind kind = Kind::transport;
    long status = 0;      ///< http
    std::string message;  ///< for the user; holds neither a key nor what the server wrote
    HttpError::Kind cause = HttpError::Kind::unreachable;  ///< transport

    [[nodiscard]] static LLMError notConfigured();
    [[nodiscard]] static LLMError invalidUrl();
    [[nodiscard]] static LLMError http(long status);
    [[nodiscard]] static LLMError parseFailure();
    [[nodiscard]] static LLMError transport(const HttpError& error);

    friend bool operator==(const LLMError&, const LLMError&) = default;
};

/// What the user can do about it, as sentences; empty where that is not known.
[[nodiscard]] std::string remedy(const LLMError& error);

}  // namespace quillet
