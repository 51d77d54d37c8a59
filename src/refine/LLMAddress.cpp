#include "refine/LLMAddress.h"

#include <algorithm>
#include <string_view>

#include "base/http/Url.h"
#include "base/text/Text.h"
#include "settings/CloudflareAccount.h"

namespace quillet {

namespace {

constexpr std::string_view completionsPath = "/chat/completions";
constexpr std::string_view schemeEnd = "://";

std::string_view withoutTrailingSlashes(std::string_view address) {
    return address.substr(0, address.find_last_not_of('/') + 1);
}

bool isBlankOrControl(char c) {
    return (c >= 0 && c <= ' ') || c == '\x7f';
}

/// What is wrong with a base address; empty when nothing is. Nothing of it is repeated: keys are
/// pasted into the wrong field as well.
std::string faultOf(std::string_view base) {
    const auto scheme = base.find(schemeEnd);
    const auto rest = scheme == std::string_view::npos ? base : base.substr(scheme + 3);
    if (rest.substr(0, rest.find_first_of("/?#")).contains('@'))
        return "it holds a user name or a password. Take them out, and store the key with "
               "`quillet keys set llmAPIKey`.";
    if (rest.find_first_of("?#") != std::string_view::npos)
        return "it goes on with “?” or “#”. Leave that part out; a key is stored with "
               "`quillet keys set llmAPIKey`.";
    if (base.empty())
        return "it is blank.";
    if (scheme == std::string_view::npos)
        return "it has no http:// or https:// in front.";
    const auto name = asciiLowered(base.substr(0, scheme));
    if (name != "http" && name != "https")
        return "it begins with neither http:// nor https://.";
    if (std::ranges::any_of(base, isBlankOrControl) || !parseUrl(base))
        return "it is not a complete address.";
    return {};
}

}  // namespace

std::expected<std::string, std::string> chatAddress(const QuilletSettings& settings) {
    const auto base = trimmed(settings.llmBaseURL);
    const auto fault = faultOf(base);
    if (!fault.empty())
        return std::unexpected(fault +
                               " It must be the address that /chat/completions is "
                               "appended to, such as https://api.example.com/v1.");
    const auto resolved = resolvedAddress(withoutTrailingSlashes(base), settings.cloudflareAccount);
    if (!resolved)
        return std::unexpected(
            "it still holds the placeholder ACCOUNT_ID. Set your account's id with "
            "`quillet settings set cloudflareAccount ID`.");
    return *resolved + std::string(completionsPath);
}

}  // namespace quillet
