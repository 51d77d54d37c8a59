#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <string_view>

namespace quillet {

/// The parts of an http or https address that matter here.
struct Url {
    std::string scheme;  ///< "http" or "https"
    std::string host;    ///< lower case, an IPv6 address in brackets
    std::string path;    ///< begins with "/"
    std::uint16_t port = 0;
    bool hasUserInfo = false;  ///< a user name or a password stands before the host

    /// "scheme://host:port", without path.
    [[nodiscard]] std::string origin() const;
    /// The same as people read it: "host" with the port where it is not that of https, and in full
    /// where nothing is encrypted.
    [[nodiscard]] std::string server() const;
};

/// None unless the text is a complete http or https address with a host.
[[nodiscard]] std::optional<Url> parseUrl(std::string_view text);

/// The host of an address of any scheme, in lower case, an IPv6 address in brackets; empty where
/// there is none.
[[nodiscard]] std::string hostOf(std::string_view url);

}  // namespace quillet
