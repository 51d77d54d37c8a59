#include "ui/settings/VocabularyModel.h"

#include "ui/kit/UiText.h"

namespace quillet {

namespace {

struct Source {
    std::string_view source;
    std::string_view name;
};
constexpr Source sources[] = {
    {vocabulary_source::manual, toTranslate("Added by hand")},
    {vocabulary_source::usage, toTranslate("Use")},
    {vocabulary_source::sync, toTranslate("Another device")},
    {vocabulary_source::edit, toTranslate("Your edits")},
    {vocabulary_source::review, toTranslate("Nightly review")},
    {vocabulary_source::agent, toTranslate("Your AI")},
};

QString shownSource(const std::string& source) {
    const auto* found = std::ranges::find(sources, source, &Source::source);
    return found == std::end(sources) ? fromText(source) : label(found->name);
}

}  // namespace

void VocabularyModel::setEntries(VocabularyDB::Entries entries) {
    if (entries == entries_)
        return;
    beginResetModel();
    entries_ = std::move(entries);
    endResetModel();
}

const VocabEntry& VocabularyModel::entry(int row) const {
    return entries_->at(static_cast<std::size_t>(row));
}

int VocabularyModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(entries_->size());
}

int VocabularyModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : columns;
}

QVariant VocabularyModel::data(const QModelIndex& index, int role) const {
    if (role != Qt::DisplayRole)
        return {};
    const auto& shown = entry(index.row());
    switch (index.column()) {
        case heard:
            return fromText(shown.original);
        case written:
            return fromText(shown.corrected);
        case used:
            return shown.frequency;
        case from:
            return shownSource(shown.source);
        default:
            return {};
    }
}

QVariant VocabularyModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
        case heard:
            return label("Heard");
        case written:
            return label("Written");
        case used:
            return label("Used");
        case from:
            return label("From");
        default:
            return {};
    }
}

}  // namespace quillet
