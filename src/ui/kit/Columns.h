#pragma once

class QTreeView;

namespace quillet {

/// Makes a column as wide as what stands in it, with room to the next one; at most half the table.
void fitColumn(QTreeView& table, int column);

}  // namespace quillet
