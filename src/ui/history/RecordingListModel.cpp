#include "ui/history/RecordingListModel.h"

#include <algorithm>
#include <cmath>

#include "ui/history/TwoLineDelegate.h"
#include "ui/kit/UiText.h"
#include "ui/kit/WallTime.h"

namespace quillet {

namespace {

QString lineOf(const RecordingArchive::Item& item) {
    return item.text ? fromText(*item.text).simplified() : label("Not recognised yet");
}

}  // namespace

QString lengthText(std::chrono::milliseconds length) {
    constexpr int secondsPerMinute = 60;
    constexpr int twoDigits = 2;
    constexpr int decimal = 10;
    const auto seconds = std::chrono::round<std::chrono::seconds>(length).count();
    return QStringLiteral("%1:%2")
        .arg(seconds / secondsPerMinute)
        .arg(seconds % secondsPerMinute, twoDigits, decimal, QLatin1Char('0'));
}

void RecordingListModel::setItems(std::vector<RecordingArchive::Item> items) {
    beginResetModel();
    items_ = std::move(items);
    endResetModel();
}

const RecordingArchive::Item* RecordingListModel::itemAt(const QModelIndex& index) const {
    return index.isValid() && index.row() < rowCount()
               ? &items_[static_cast<std::size_t>(index.row())]
               : nullptr;
}

QModelIndex RecordingListModel::indexOf(const std::string& id) const {
    const auto found = std::ranges::find(items_, id, &RecordingArchive::Item::id);
    return found == items_.end() ? QModelIndex() : index(static_cast<int>(found - items_.begin()));
}

int RecordingListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(items_.size());
}

QString RecordingListModel::captionOf(const RecordingArchive::Item& item) const {
    const auto today = wallTime(calendar_.now(), calendar_).date();
    const auto length =
        std::chrono::round<std::chrono::milliseconds>(std::chrono::duration<double>(item.seconds));
    return label("{} · {}", toText(dayAndClockText(wallTime(item.date, calendar_), today)),
                 toText(lengthText(length)));
}

QVariant RecordingListModel::data(const QModelIndex& index, int role) const {
    const auto* item = itemAt(index);
    if (item == nullptr)
        return {};
    switch (role) {
        case Qt::DisplayRole:
            return lineOf(*item);
        case TwoLineDelegate::captionRole:
            return captionOf(*item);
        case Qt::AccessibleTextRole:
            return QString(captionOf(*item) + QStringLiteral("\n") + lineOf(*item));
        case Qt::ToolTipRole:
            return item->text ? QVariant(fromText(*item->text)) : QVariant();
        default:
            return {};
    }
}

}  // namespace quillet
