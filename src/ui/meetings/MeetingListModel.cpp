#include "ui/meetings/MeetingListModel.h"

#include <algorithm>

#include "meetings/MeetingNote.h"
#include "ui/history/TwoLineDelegate.h"
#include "ui/kit/UiText.h"
#include "ui/kit/WallTime.h"
#include "ui/meetings/NoteText.h"

namespace quillet {

namespace {

QString durationText(int minutes) {
    constexpr int perHour = 60;
    if (minutes < perHour)
        return label("{} min", minutes);
    return label("{} h {:02} min", minutes / perHour, minutes % perHour);
}

}  // namespace

void MeetingListModel::setNotes(std::vector<MeetingLibrary::Entry> notes,
                                const MeetingIndex& index) {
    beginResetModel();
    rows_.clear();
    for (auto& note : notes) {
        const auto known = std::ranges::find(index.meetings, note.name, &MeetingIndex::Entry::name);
        const auto named = timeOfNote(note.name, calendar_).value_or(note.modified);
        if (known == index.meetings.end())
            rows_.push_back({std::move(note), named, 0});
        else
            rows_.push_back({std::move(note), known->started, known->minutes});
    }
    endResetModel();
}

const MeetingListModel::Row* MeetingListModel::rowAt(const QModelIndex& index) const {
    return index.isValid() && index.row() < rowCount()
               ? &rows_[static_cast<std::size_t>(index.row())]
               : nullptr;
}

QModelIndex MeetingListModel::indexOf(const std::string& name) const {
    const auto found =
        std::ranges::find_if(rows_, [&](const Row& row) { return row.note.name == name; });
    return found == rows_.end() ? QModelIndex() : index(static_cast<int>(found - rows_.begin()));
}

int MeetingListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(rows_.size());
}

QString MeetingListModel::captionOf(const Row& row) const {
    const auto today = wallTime(calendar_.now(), calendar_).date();
    const auto when = dayAndClockText(wallTime(row.started, calendar_), today);
    return row.minutes == 0 ? when : when + QStringLiteral(" · ") + durationText(row.minutes);
}

QVariant MeetingListModel::data(const QModelIndex& index, int role) const {
    const auto* row = rowAt(index);
    if (row == nullptr)
        return {};
    const auto title = fromText(titleInName(row->note.name));
    switch (role) {
        case Qt::DisplayRole:
            return title;
        case TwoLineDelegate::captionRole:
            return captionOf(*row);
        case Qt::AccessibleTextRole:
            return QString(captionOf(*row) + QStringLiteral("\n") + title);
        default:
            return {};
    }
}

}  // namespace quillet
