#include "ui/history/EntryList.h"

#include <algorithm>

#include "ui/history/TwoLineDelegate.h"
#include "ui/kit/Choice.h"
#include "ui/kit/UiText.h"

namespace quillet {

EntryList::EntryList(const Calendar& calendar, QWidget* parent)
    : QListView(parent), model_(new EntryListModel(calendar, this)) {
    setModel(model_);
    setAccessibleName(label("Dictations"));
    setItemDelegate(new TwoLineDelegate(this));
    setUniformItemSizes(true);
    setSelectionMode(QAbstractItemView::ExtendedSelection);
    onChosen(*this, [this] {
        if (chosen)
            chosen();
    });
}

const TranscriptEntry* EntryList::current() const {
    return model_->entryAt(chosenIn(*this));
}

std::vector<std::string> EntryList::selectedIds() const {
    auto selected = selectionModel()->selectedIndexes();
    std::ranges::sort(selected, {}, &QModelIndex::row);
    std::vector<std::string> ids;
    for (const auto& index : selected)
        ids.push_back(model_->entryAt(index)->id);
    return ids;
}

int EntryList::currentRow() const {
    return chosenIn(*this).row();
}

bool EntryList::choose(const std::string& id) {
    const auto place = model_->indexOf(id);
    if (place.isValid())
        setCurrentIndex(place);
    return place.isValid();
}

void EntryList::chooseNear(int row) {
    if (const auto rows = model_->rowCount(); rows > 0)
        setCurrentIndex(model_->index(std::clamp(row, 0, rows - 1)));
}

}  // namespace quillet
