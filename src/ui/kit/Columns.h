#pragma once

class QTreeView;

namespace quillet {

/// Makes a column as wide as what stands in it, with room to the next one; a long text is cut.
void fitColumn(QTreeView& table, int column);

}  // namespace quillet
