#include "ui/kit/Columns.h"

#include <QTreeView>
#include <algorithm>

namespace quillet {

void fitColumn(QTreeView& table, int column) {
    constexpr int gapInLetters = 3;
    constexpr int mostLetters = 40;
    const int letter = table.fontMetrics().averageCharWidth();
    table.resizeColumnToContents(column);
    table.setColumnWidth(
        column, std::min(table.columnWidth(column) + gapInLetters * letter, mostLetters * letter));
}

}  // namespace quillet
