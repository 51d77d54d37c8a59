#include "ui/settings/KeyNames.h"

#include <fmt/ranges.h>

#include <algorithm>

namespace quillet {

std::vector<std::string> keyNamesIn(std::string_view typed) {
    constexpr std::string_view between = ", \t;，、";
    std::vector<std::string> names;
    while (!typed.empty()) {
        const auto begin = typed.find_first_not_of(between);
        if (begin == std::string_view::npos)
            break;
        const auto end = std::min(typed.find_first_of(between, begin), typed.size());
        std::string name(typed.substr(begin, end - begin));
        if (std::ranges::find(names, name) == names.end())
            names.push_back(std::move(name));
        typed.remove_prefix(end);
    }
    return names;
}

std::string joinedKeyNames(const std::vector<std::string>& names) {
    return fmt::format("{}", fmt::join(names, ", "));
}

}  // namespace quillet
