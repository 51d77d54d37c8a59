#include "memory/EntryTrust.h"

#include <algorithm>

#include "base/text/Text.h"
#include "memory/TextForms.h"

namespace quillet::KnowledgeDistiller {

namespace {

constexpr std::size_t shortestQuote = 2;
/// Bytes on either side of a quote that tell what it is about.
constexpr std::size_t passageMargin = 900;

std::string replaced(std::string_view text, std::string_view mark, std::string_view by) {
    std::string result;
    result.reserve(text.size());
    while (true) {
        const auto at = text.find(mark);
        result += text.substr(0, at);
        if (at == std::string_view::npos)
            return result;
        result += by;
        text.remove_prefix(at + mark.size());
    }
}

/// The form in which a text in disguise looks like the plain one.
std::string plainForm(std::string_view text) {
    auto form = nameForm(text);
    for (const auto* mark : {"\\", "\u200B", "\u200C", "\u200D", "\u2060", "\uFEFF"})
        form = replaced(form, mark, "");
    for (const auto* mark : {"“", "”", "„", "‘", "’", "「", "」", "'"})
        form = replaced(form, mark, "\"");
    return form;
}

bool looksLikeOperations(std::string_view form) {
    return form.contains("\"ops\"") ||
           (form.contains("\"op\"") && (form.contains("\"quote\"") || form.contains("\"item\"")));
}

bool beginsCharacter(std::string_view text, std::size_t at) {
    return at >= text.size() || (static_cast<unsigned char>(text[at]) & 0xC0) != 0x80;
}

}  // namespace

EntryTrust::EntryTrust(const Knowledge::Store& store, std::span<const Source> sources) {
    for (const auto& item : store.items) {
        auto id = plainForm(item.id);
        if (id.empty())
            continue;
        lengths_.insert(id.size());
        ids_.insert(std::move(id));
    }
    for (const auto& source : sources) {
        const auto form = plainForm(source.text);
        trusted_.push_back(!looksLikeOperations(form) && !holdsId(form));
    }
}

bool EntryTrust::holdsId(std::string_view form) const {
    return std::ranges::any_of(lengths_, [&](std::size_t length) {
        for (std::size_t begin = 0; begin + length <= form.size(); ++begin) {
            if (ids_.contains(std::string(form.substr(begin, length))))
                return true;
        }
        return false;
    });
}

std::string_view quoteOf(const Op& op) {
    const auto quote = trimmedView(op.quote);
    return firstCharacters(quote, shortestQuote - 1).size() < quote.size() ? quote
                                                                           : std::string_view();
}

std::string_view passageWith(std::string_view quote, std::string_view entry) {
    const auto at = entry.find(quote);
    if (quote.empty() || at == std::string_view::npos)
        return {};
    auto begin = at - std::min(at, passageMargin);
    while (!beginsCharacter(entry, begin))
        ++begin;
    auto end = std::min(entry.size(), at + quote.size() + passageMargin);
    while (!beginsCharacter(entry, end))
        --end;
    return entry.substr(begin, end - begin);
}

}  // namespace quillet::KnowledgeDistiller
