#include "settings/CloudflareAccount.h"

namespace quillet {

namespace {

bool isHexDigit(char c) {
    return (c >= '0' && c <= '9') || (c >= 'a' && c <= 'f') || (c >= 'A' && c <= 'F');
}

}  // namespace

std::optional<std::string> cloudflareAccountId(std::string_view pasted) {
    constexpr std::size_t digits = 32;
    for (std::size_t begin = 0; begin < pasted.size();) {
        if (!isHexDigit(pasted[begin])) {
            ++begin;
            continue;
        }
        auto end = begin;
        while (end < pasted.size() && isHexDigit(pasted[end]))
            ++end;
        if (end - begin == digits)
            return std::string(pasted.substr(begin, digits));
        begin = end;
    }
    return std::nullopt;
}

std::optional<std::string> resolvedAddress(std::string_view address, std::string_view account) {
    const auto id = cloudflareAccountId(account);
    std::string resolved(address);
    for (auto at = resolved.find(accountPlaceholder); at != std::string::npos;
         at = resolved.find(accountPlaceholder, at + id->size())) {
        if (!id)
            return std::nullopt;
        resolved.replace(at, accountPlaceholder.size(), *id);
    }
    return resolved;
}

}  // namespace quillet
