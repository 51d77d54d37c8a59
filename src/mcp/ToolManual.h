#pragma once

#include <string>

namespace quillet {

/// What AI clients can ask for, for people to read: Markdown, a section for each tool.
[[nodiscard]] std::string toolManual();

}  // namespace quillet
