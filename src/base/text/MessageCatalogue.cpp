#include "base/text/MessageCatalogue.h"

#include <bit>
#include <cstdint>
#include <cstring>
#include <fstream>
#include <iterator>

namespace quillet {

namespace {

constexpr std::uint32_t magic = 0x950412de;

std::uint32_t numberAt(std::string_view file, std::size_t offset) {
    std::uint32_t number = 0;
    if (offset + sizeof number <= file.size())
        std::memcpy(&number, file.data() + offset, sizeof number);
    return std::endian::native == std::endian::little ? number : std::byteswap(number);
}

/// The text that a pair of length and offset stands for; none outside of the file.
std::optional<std::string_view> textAt(std::string_view file, std::size_t pair) {
    const std::size_t length = numberAt(file, pair);
    const std::size_t offset = numberAt(file, pair + sizeof(std::uint32_t));
    if (offset > file.size() || length > file.size() - offset)
        return std::nullopt;
    return file.substr(offset, length);
}

std::string_view firstForm(std::string_view text) {
    return text.substr(0, text.find('\0'));
}

}  // namespace

std::expected<MessageCatalogue, std::string> MessageCatalogue::read(
    const std::filesystem::path& file) {
    std::ifstream stream(file, std::ios::binary);
    MessageCatalogue catalogue;
    catalogue.file_ = std::make_unique<const std::string>(std::istreambuf_iterator<char>(stream),
                                                          std::istreambuf_iterator<char>());
    if (!catalogue.index())
        return std::unexpected("No translations can be read from " + file.string());
    return catalogue;
}

bool MessageCatalogue::index() {
    constexpr std::size_t countAt = 8;
    constexpr std::size_t originalsAt = 12;
    constexpr std::size_t translationsAt = 16;
    constexpr std::size_t pairSize = 8;
    const std::string_view file = *file_;
    if (numberAt(file, 0) != magic)
        return false;
    const std::size_t count = numberAt(file, countAt);
    const std::size_t originals = numberAt(file, originalsAt);
    const std::size_t translations = numberAt(file, translationsAt);
    if (count > file.size() / pairSize)
        return false;
    for (std::size_t i = 0; i < count; ++i) {
        const auto english = textAt(file, originals + i * pairSize);
        const auto text = textAt(file, translations + i * pairSize);
        if (!english || !text)
            return false;
        if (!english->empty() && !text->empty())  // the first one describes the file
            texts_.emplace(firstForm(*english), *text);
    }
    return true;
}

std::optional<std::string_view> MessageCatalogue::find(std::string_view english) const {
    const auto found = texts_.find(english);
    return found == texts_.end() ? std::nullopt : std::optional(firstForm(found->second));
}

std::optional<std::string_view> MessageCatalogue::find(std::string_view english, long count) const {
    const auto found = texts_.find(english);
    if (found == texts_.end())
        return std::nullopt;
    const auto singular = firstForm(found->second);
    const bool hasPlural = singular.size() < found->second.size();
    return hasPlural && count != 1 ? firstForm(found->second.substr(singular.size() + 1))
                                   : singular;
}

}  // namespace quillet
