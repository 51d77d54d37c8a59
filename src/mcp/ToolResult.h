#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>

#include "mcp/MCPTools.h"

/// The ways in which a tool ends.
namespace quillet::tool_result {

inline MCPTools::Result text(std::string text) {
    return {std::move(text), false};
}

/// Pretty-printed with sorted keys.
inline MCPTools::Result json(const nlohmann::json& value) {
    constexpr int indent = 2;
    return {value.dump(indent, ' ', false, nlohmann::json::error_handler_t::replace), false};
}

inline MCPTools::Result failure(std::string_view sentence) {
    return {std::string(sentence), true};
}

}  // namespace quillet::tool_result
