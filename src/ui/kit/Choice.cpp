#include "ui/kit/Choice.h"

#include <QAbstractItemView>
#include <algorithm>

namespace quillet {

QModelIndex chosenIn(const QAbstractItemView& view) {
    const auto* selection = view.selectionModel();
    const auto current = view.currentIndex();
    if (selection->isSelected(current))
        return current;
    const auto selected = selection->selectedIndexes();
    const auto first = std::ranges::min_element(selected, {}, [](const QModelIndex& index) {
        return std::pair(index.row(), index.column());
    });
    return first == selected.end() ? QModelIndex() : *first;
}

void onChosen(QAbstractItemView& view, std::function<void()> follow) {
    const auto* selection = view.selectionModel();
    QObject::connect(selection, &QItemSelectionModel::selectionChanged, &view, follow);
    // Of several that are selected, one is gone to.
    QObject::connect(selection, &QItemSelectionModel::currentChanged, &view, std::move(follow));
}

}  // namespace quillet
