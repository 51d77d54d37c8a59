#include "ui/history/TwoLineDelegate.h"

#include <QApplication>
#include <QFontMetrics>
#include <QPainter>

namespace quillet {

namespace {

constexpr int margin = 6;
constexpr int gap = 2;
constexpr double captionScale = 0.85;
constexpr int narrowest = 120;

QFont captionFont(QFont font) {
    font.setPointSizeF(font.pointSizeF() * captionScale);
    return font;
}

/// A line of its own colour: the palette's, and softer for what is beside the point.
QColor softened(const QColor& colour, const QColor& ground) {
    constexpr double share = 0.65;
    const auto mixed = [](int one, int other) {
        return static_cast<int>(one * share + other * (1 - share));
    };
    return {mixed(colour.red(), ground.red()), mixed(colour.green(), ground.green()),
            mixed(colour.blue(), ground.blue())};
}

}  // namespace

void TwoLineDelegate::paint(QPainter* painter, const QStyleOptionViewItem& given,
                            const QModelIndex& index) const {
    QStyleOptionViewItem option = given;
    initStyleOption(&option, index);
    const auto text = option.text;
    option.text.clear();
    const QWidget* widget = option.widget;
    const QStyle* style = widget != nullptr ? widget->style() : QApplication::style();
    style->drawControl(QStyle::CE_ItemViewItem, &option, painter, widget);

    const bool isSelected = option.state.testFlag(QStyle::State_Selected);
    const auto group =
        option.state.testFlag(QStyle::State_Active) ? QPalette::Active : QPalette::Inactive;
    const auto colour =
        option.palette.color(group, isSelected ? QPalette::HighlightedText : QPalette::Text);
    const auto ground = option.palette.color(group, QPalette::Base);
    const auto area = option.rect.adjusted(margin, margin, -margin, -margin);
    const auto draw = [&](const QFont& font, const QColor& pen, const QRect& line,
                          const QString& words) {
        painter->setFont(font);
        painter->setPen(pen);
        painter->drawText(line, Qt::AlignLeading | Qt::AlignVCenter | Qt::TextSingleLine,
                          QFontMetrics(font).elidedText(words, Qt::ElideRight, line.width()));
    };
    painter->save();
    const auto small = captionFont(option.font);
    const QRect first(area.left(), area.top(), area.width(), QFontMetrics(small).height());
    // On the ground of a selection, a softer colour is hard to read.
    draw(small, isSelected ? colour : softened(colour, ground), first,
         index.data(captionRole).toString());
    const QRect second(area.left(), first.bottom() + 1 + gap, area.width(),
                       QFontMetrics(option.font).height());
    draw(option.font, colour, second, text);
    painter->restore();
}

QSize TwoLineDelegate::sizeHint(const QStyleOptionViewItem& option,
                                const QModelIndex& /*index*/) const {
    return {narrowest, QFontMetrics(captionFont(option.font)).height() + gap +
                           QFontMetrics(option.font).height() + 2 * margin};
}

}  // namespace quillet
