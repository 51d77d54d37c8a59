#pragma once

#include <optional>
#include <string>
#include <string_view>
#include <vector>

namespace quillet::fuzz {

/// One part of a multipart/form-data body, as a server sees it.
struct FormPart {
    std::string name;
    std::optional<std::string> fileName;
    std::string contentType;
    std::string content;
    friend bool operator==(const FormPart&, const FormPart&) = default;
};

/// The parts of a body; none when it is not one that every server reads alike.
[[nodiscard]] std::optional<std::vector<FormPart>> readForm(std::string_view body,
                                                            std::string_view boundary);

}  // namespace quillet::fuzz
