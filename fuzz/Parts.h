#pragma once

#include <string_view>

namespace quillet::fuzz {

/// An input made of parts, with a line "==" between any two. The last part, and it alone, may hold
/// such lines itself; parts that are missing are empty.
class Parts {
public:
    explicit Parts(std::string_view input) : rest_(input) {}

    std::string_view next() {
        const auto end = rest_.find(separator);
        const auto part = rest_.substr(0, end);
        rest_ = end == std::string_view::npos ? std::string_view()
                                              : rest_.substr(end + separator.size());
        return part;
    }
    [[nodiscard]] std::string_view last() const { return rest_; }

private:
    static constexpr std::string_view separator = "\n==\n";
    std::string_view rest_;
};

}  // namespace quillet::fuzz
