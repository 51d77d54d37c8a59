#include "app/AgentTyping.h"

#include <fmt/format.h>
#include <unicode/uchar.h>
#include <unicode/utf8.h>

#include <algorithm>
#include <optional>

#include "app/Messages.h"

namespace quillet {

namespace {

/// Line feed to carriage return, next line, line and paragraph separator.
constexpr std::string_view lineBreaks[] = {"\n", "\v", "\f", "\r", "\u0085", "\u2028", "\u2029"};

std::string withoutTrailingBreaks(std::string text) {
    const auto endsInBreak = [&text] {
        return std::ranges::find_if(lineBreaks,
                                    [&text](std::string_view one) { return text.ends_with(one); });
    };
    for (const auto* found = endsInBreak(); found != std::end(lineBreaks); found = endsInBreak())
        text.resize(text.size() - found->size());
    return text;
}

/// As files of other systems end their lines.
std::string withPlainLineBreaks(std::string_view text) {
    std::string plain;
    plain.reserve(text.size());
    for (std::size_t at = 0; at < text.size(); ++at) {
        if (!text.substr(at).starts_with("\r\n"))
            plain += text[at];
    }
    return plain;
}

/// A character that programs do not take as text: one may end it for them, or be a command.
std::optional<UChar32> controlCharacterIn(std::string_view text) {
    for (std::size_t at = 0; at < text.size();) {
        UChar32 c = 0;
        U8_NEXT(text.data(), at, text.size(), c);
        if (c >= 0 && u_charType(c) == U_CONTROL_CHAR && c != '\t' && c != '\n')
            return c;
    }
    return std::nullopt;
}

}  // namespace

asio::awaitable<AgentTyping::Result> AgentTyping::type(std::string text) {
    const auto refusal = [](std::string_view sentence) {
        return std::unexpected(std::string(sentence));
    };
    if (!services_.isIdle())
        co_return refusal(messages::agentTypingBusy);
    const auto front = services_.frontApplication.current();
    if (front &&
        co_await services_.focusedField.security(front->pid) == FocusedField::Security::secure)
        co_return refusal(messages::passwordField);
    if (front && !services_.settings.isAllowed(front->bundleID))
        co_return refusal(messages::excludedApplication);
    // Looking at the field took a moment.
    if (!services_.isIdle())
        co_return refusal(messages::agentTypingBusy);
    text = withoutTrailingBreaks(withPlainLineBreaks(text));
    if (text.empty())
        co_return refusal(messages::agentEmptyText);
    if (const auto control = controlCharacterIn(text))
        co_return refusal(fmt::format(
            "The text holds a control character (U+{:04X}) — only tabs and line feeds can be typed",
            *control));
    if (!front)
        co_return refusal(messages::agentNotTyped);
    const auto outcome = co_await services_.delivery.type(
        {std::move(text), front->bundleID, Inserter::Request::Otherwise::nothing});
    if (outcome != Inserter::Outcome::pasted)
        co_return refusal(messages::agentNotTyped);
    services_.delivery.forgetLastPaste();
    co_return Result();
}

}  // namespace quillet
