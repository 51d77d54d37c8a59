#pragma once

#include <QStyledItemDelegate>

namespace quillet {

/// Draws the rows of a list with a small line (when, where) above a line of text.
class TwoLineDelegate : public QStyledItemDelegate {
public:
    /// The small line's text; the other line is the display role's.
    static constexpr int captionRole = Qt::UserRole + 1;

    using QStyledItemDelegate::QStyledItemDelegate;

    void paint(QPainter* painter, const QStyleOptionViewItem& option,
               const QModelIndex& index) const override;
    [[nodiscard]] QSize sizeHint(const QStyleOptionViewItem& option,
                                 const QModelIndex& index) const override;
};

}  // namespace quillet
