#include "ui/memory/KnowledgeModels.h"

#include <algorithm>
#include <ranges>

#include "base/text/CaselessWord.h"
#include "ui/kit/UiText.h"

namespace quillet {

// --- Categories ---

void CategoryModel::show(const KnowledgeKeeper::Snapshot& base) {
    beginResetModel();
    base_ = base;
    counts_ = {base->store.items.size()};
    for (const auto& category : base->store.categories)
        counts_.push_back(static_cast<std::size_t>(
            std::ranges::count(base->store.items, category.id, &Knowledge::Item::category)));
    endResetModel();
}

const Knowledge::Category* CategoryModel::at(int row) const {
    if (!base_ || row < 1 || row >= rowCount())
        return nullptr;
    return &base_->store.categories[static_cast<std::size_t>(row) - 1];
}

std::size_t CategoryModel::itemsIn(int row) const {
    return row < 0 || row >= rowCount() ? 0 : counts_[static_cast<std::size_t>(row)];
}

int CategoryModel::rowOf(const std::string& id) const {
    for (int row = 1; row < rowCount(); ++row) {
        if (at(row)->id == id)
            return row;
    }
    return 0;
}

int CategoryModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(counts_.size());
}

QVariant CategoryModel::data(const QModelIndex& index, int role) const {
    const auto* category = at(index.row());
    if (role == Qt::ToolTipRole && category != nullptr)
        return label(category->about);
    if (role != Qt::DisplayRole)
        return {};
    const auto name = category == nullptr ? label("All") : label(category->name);
    return QStringLiteral("%1 (%2)").arg(name).arg(itemsIn(index.row()));
}

// --- Items ---

void ItemModel::show(const KnowledgeKeeper::Snapshot& base, const Knowledge::Category* category,
                     const std::string& query) {
    const auto words = queryWords(query);
    const std::vector<CaselessWord> wanted(words.begin(), words.end());
    std::vector<const Knowledge::Item*> items;
    if (wanted.empty()) {
        for (const auto& item : base->store.items)
            items.push_back(&item);
        std::ranges::sort(items, std::ranges::greater{}, &Knowledge::Item::lastSeen);
    } else {
        items = Knowledge::search(base->store, wanted);
    }
    if (category != nullptr)
        std::erase_if(items,
                      [id = category->id](const auto* item) { return item->category != id; });
    beginResetModel();
    base_ = base;
    items_ = std::move(items);
    endResetModel();
}

const Knowledge::Item* ItemModel::at(int row) const {
    return row < 0 || row >= rowCount() ? nullptr : items_[static_cast<std::size_t>(row)];
}

int ItemModel::rowOf(const std::string& id) const {
    const auto found = std::ranges::find(items_, id, [](const auto* item) { return item->id; });
    return found == items_.end() ? -1 : static_cast<int>(found - items_.begin());
}

int ItemModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(items_.size());
}

QVariant ItemModel::data(const QModelIndex& index, int role) const {
    const auto* item = at(index.row());
    if (item == nullptr)
        return {};
    if (role == Qt::DisplayRole)
        return fromText(item->title);
    if (role == Qt::ToolTipRole)
        return fromText(item->takeaway);
    return {};
}

}  // namespace quillet
