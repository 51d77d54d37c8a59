#pragma once

#include <cstdio>
#include <cstdlib>
#include <string_view>

namespace quillet::fuzz {

[[noreturn]] inline void broken(std::string_view law, std::string_view detail = {}) {
    std::fprintf(stderr, "BROKEN: %.*s\n%.*s\n", static_cast<int>(law.size()), law.data(),
                 static_cast<int>(detail.size()), detail.data());
    std::abort();
}

/// What must be so for any input; the detail helps to see why it was not.
inline void require(bool holds, std::string_view law, std::string_view detail = {}) {
    if (!holds)
        broken(law, detail);
}

inline void requireSame(std::string_view found, std::string_view expected, std::string_view law) {
    if (found == expected)
        return;
    std::fprintf(stderr, "expected: %.*s\n", static_cast<int>(expected.size()), expected.data());
    broken(law, found);
}

}  // namespace quillet::fuzz
