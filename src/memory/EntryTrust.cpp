#include "memory/EntryTrust.h"

#include <algorithm>
#include <string>
#include <unordered_set>

#include "base/text/Text.h"
#include "memory/TextForms.h"

namespace quillet::KnowledgeDistiller {

namespace {

constexpr std::size_t shortestQuote = 2;
/// Shorter ids, which are not ours, would stand in any text.
constexpr std::size_t shortestId = 8;
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

/// The ids of a store's items, to be found in a text.
class Ids {
public:
    explicit Ids(const Knowledge::Store& store) {
        forms_.reserve(store.items.size());
        for (const auto& item : store.items) {
            if (item.id.size() < shortestId)
                continue;
            forms_.push_back(nameForm(item.id));
            known_.insert(forms_.back());
            lengths_.insert(forms_.back().size());
        }
    }

    [[nodiscard]] bool standIn(std::string_view form) const {
        return std::ranges::any_of(lengths_, [&](std::size_t length) {
            for (std::size_t begin = 0; begin + length <= form.size(); ++begin) {
                if (known_.contains(form.substr(begin, length)))
                    return true;
            }
            return false;
        });
    }

private:
    std::vector<std::string> forms_;
    std::unordered_set<std::string_view> known_;  ///< views of forms_
    std::unordered_set<std::size_t> lengths_;
};

}  // namespace

std::vector<bool> trustedEntries(const Knowledge::Store& store, std::span<const Source> sources) {
    const Ids ids(store);
    std::vector<bool> trusted;
    for (const auto& source : sources) {
        const auto form = plainForm(source.text);
        trusted.push_back(!looksLikeOperations(form) && !ids.standIn(form));
    }
    return trusted;
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
