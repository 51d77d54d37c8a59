#pragma once

#include <QModelIndex>
#include <functional>

class QAbstractItemView;

namespace quillet {

// What is chosen in a list. Assistive technology selects a row without going to it, and a row that
// the keyboard has gone to may not be selected.

/// The current row where it is selected, or else the first that is; none: nothing is.
[[nodiscard]] QModelIndex chosenIn(const QAbstractItemView& view);
/// Calls `follow` whenever that may be another row. The view has its model already.
void onChosen(QAbstractItemView& view, std::function<void()> follow);

}  // namespace quillet
