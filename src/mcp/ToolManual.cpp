#include "mcp/ToolManual.h"

#include <fmt/format.h>

#include <nlohmann/json.hpp>

#include "mcp/MCPTools.h"

namespace quillet {

namespace {

using nlohmann::json;

std::string argumentLine(const std::string& name, const json& property, bool isRequired) {
    auto line = fmt::format("- `{}` ({}{})", name, property.at("type").get<std::string>(),
                            isRequired ? ", required" : "");
    if (property.contains("description"))
        line += ": " + property["description"].get<std::string>();
    if (property.contains("items"))
        line += ": " + property["items"]["enum"].dump();
    return line + "\n";
}

std::string section(const json& tool) {
    auto text = fmt::format("### {}\n\n{}\n", tool.at("name").get<std::string>(),
                            tool.at("description").get<std::string>());
    const auto& schema = tool.at("inputSchema");
    const auto& required = schema.at("required");
    if (!schema.at("properties").empty())
        text += "\n";
    for (const auto& [name, property] : schema.at("properties").items())
        text += argumentLine(name, property, std::ranges::count(required, json(name)) > 0);
    return text;
}

}  // namespace

std::string toolManual() {
    std::string manual;
    for (const auto& tool : MCPTools::toolDefinitions()) {
        if (!manual.empty())
            manual += "\n";
        manual += section(tool);
    }
    return manual;
}

}  // namespace quillet
