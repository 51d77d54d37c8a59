#include "ui/kit/Columns.h"

#include <QTreeView>
#include <algorithm>

namespace quillet {

void fitColumn(QTreeView& table, int column) {
    constexpr int gapInLetters = 3;
    table.resizeColumnToContents(column);
    const int needed =
        table.columnWidth(column) + gapInLetters * table.fontMetrics().averageCharWidth();
    const int most = std::max(table.viewport()->width() / 2, table.columnWidth(column) / 2);
    table.setColumnWidth(column, std::min(needed, most));
}

}  // namespace quillet
