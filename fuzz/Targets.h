#pragma once

#include <string_view>

/// What is fuzzed. Each function takes any bytes, feeds them to the code of its name, and ends the
/// program when a law is broken. Each reads its input as a person would write one; the corpora show
/// how.
namespace quillet::fuzz {

/// The text rules: vocabulary, snippets, spoken addresses, marks and silence.
void cleanup(std::string_view input);
/// A language model's response, and what is thought of its reply.
void reply(std::string_view input);
/// A speech server's response.
void response(std::string_view input);
/// The request that a speech server gets.
void multipart(std::string_view input);
/// A client's HTTP request.
void request(std::string_view input);
/// A client's message of JSON-RPC.
void message(std::string_view input);

}  // namespace quillet::fuzz
