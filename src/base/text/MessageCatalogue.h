#pragma once

#include <expected>
#include <filesystem>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <unordered_map>

namespace quillet {

/// The texts of one language, as gettext's compiler writes them (`.mo`). Read by ourselves because
/// the system's own reader gives them only where the system has that language installed.
class MessageCatalogue {
public:
    /// The error is a sentence for the log.
    [[nodiscard]] static std::expected<MessageCatalogue, std::string> read(
        const std::filesystem::path& file);

    /// The translation; none when there is none. Valid as long as the catalogue.
    [[nodiscard]] std::optional<std::string_view> find(std::string_view english) const;
    /// The form for this count. The languages that we have need one form only, or English's rule.
    [[nodiscard]] std::optional<std::string_view> find(std::string_view english, long count) const;

private:
    MessageCatalogue() = default;
    [[nodiscard]] bool index();

    std::unique_ptr<const std::string> file_;  // stays where it is when this is moved
    /// Keyed by the English text, in the singular where there are two.
    std::unordered_map<std::string_view, std::string_view> texts_;
};

}  // namespace quillet
