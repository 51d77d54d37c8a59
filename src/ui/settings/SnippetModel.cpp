#include "ui/settings/SnippetModel.h"

#include "base/text/Text.h"
#include "ui/kit/UiText.h"

namespace quillet {

namespace {

constexpr std::size_t shortestTrigger = 2;

}  // namespace

void SnippetModel::setSnippets(std::vector<Snippet> snippets) {
    if (snippets == snippets_)
        return;
    beginResetModel();
    snippets_ = std::move(snippets);
    endResetModel();
}

const Snippet& SnippetModel::snippet(int row) const {
    return snippets_.at(static_cast<std::size_t>(row));
}

int SnippetModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(snippets_.size());
}

int SnippetModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : columns;
}

QVariant SnippetModel::data(const QModelIndex& index, int role) const {
    const auto& shown = snippet(index.row());
    const bool isText = index.column() == typed;
    if (role == Qt::ToolTipRole && isText)
        return fromText(shown.text);
    if (role != Qt::DisplayRole)
        return {};
    return isText ? fromText(shown.text).simplified() : fromText(shown.trigger);
}

QVariant SnippetModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    return section == said ? label("You say") : label("Is typed");
}

std::expected<void, std::string> checkSnippet(const Snippet& snippet,
                                              std::span<const Snippet> all) {
    const auto key = comparisonForm(snippet.trigger);
    if (characterCount(key) < shortestTrigger)
        return std::unexpected(
            translated("What you say needs at least 2 characters, marks and blanks aside."));
    if (snippet.text.empty())
        return std::unexpected(translated("A snippet needs a text to be typed."));
    const bool isTaken = std::ranges::any_of(all, [&](const Snippet& other) {
        return other.id != snippet.id && comparisonForm(other.trigger) == key;
    });
    if (isTaken)
        return std::unexpected(translated("There is a snippet for this already."));
    return {};
}

}  // namespace quillet
