#include "ui/history/EntryListModel.h"

#include <algorithm>
#include <set>

#include "ui/history/TwoLineDelegate.h"
#include "ui/kit/UiText.h"
#include "ui/kit/WallTime.h"

namespace quillet {

QString captionOf(const TranscriptEntry& entry, const Calendar& calendar) {
    const auto today = wallTime(calendar.now(), calendar).date();
    QStringList parts{dayAndClockText(wallTime(entry.timestamp, calendar), today)};
    if (entry.appName)
        parts << fromText(*entry.appName);
    if (entry.kind == EntryKind::live)
        parts << label("Live writing");
    if (entry.replaces)
        parts << label("Changed a dictation");
    if (entry.wasCancelled)
        parts << label("Cancelled");
    return parts.join(QStringLiteral(" · "));
}

QString lineOf(const TranscriptEntry& entry) {
    return fromText(entry.finalText.empty() ? entry.rawText : entry.finalText).simplified();
}

EntryListModel::EntryListModel(const Calendar& calendar, QObject* parent)
    : QAbstractListModel(parent), calendar_(calendar) {}

void EntryListModel::setEntries(std::vector<TranscriptEntry> entries, bool hasMore) {
    beginResetModel();
    entries_ = std::move(entries);
    hasMore_ = hasMore;
    isAsking_ = false;
    endResetModel();
}

void EntryListModel::append(std::vector<TranscriptEntry> page, bool hasMore) {
    hasMore_ = hasMore;
    isAsking_ = false;
    if (page.empty())
        return;
    const auto first = static_cast<int>(entries_.size());
    beginInsertRows({}, first, first + static_cast<int>(page.size()) - 1);
    std::ranges::move(page, std::back_inserter(entries_));
    endInsertRows();
}

void EntryListModel::addNewest(std::vector<TranscriptEntry> page) {
    std::set<std::string> known;
    for (const auto& entry : entries_)
        known.insert(entry.id);
    const auto behind =
        std::ranges::find_if(page, [&](const auto& entry) { return known.contains(entry.id); });
    page.erase(behind, page.end());
    if (page.empty())
        return;
    beginInsertRows({}, 0, static_cast<int>(page.size()) - 1);
    entries_.insert(entries_.begin(), std::make_move_iterator(page.begin()),
                    std::make_move_iterator(page.end()));
    endInsertRows();
}

void EntryListModel::remove(const std::vector<std::string>& ids) {
    for (const auto& id : ids) {
        const auto place = indexOf(id);
        if (!place.isValid())
            continue;
        beginRemoveRows({}, place.row(), place.row());
        entries_.erase(entries_.begin() + place.row());
        endRemoveRows();
    }
}

const TranscriptEntry* EntryListModel::entryAt(const QModelIndex& index) const {
    return index.isValid() && index.row() < rowCount()
               ? &entries_[static_cast<std::size_t>(index.row())]
               : nullptr;
}

QModelIndex EntryListModel::indexOf(const std::string& id) const {
    const auto found = std::ranges::find(entries_, id, &TranscriptEntry::id);
    return found == entries_.end() ? QModelIndex()
                                   : index(static_cast<int>(found - entries_.begin()));
}

int EntryListModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : static_cast<int>(entries_.size());
}

QVariant EntryListModel::data(const QModelIndex& index, int role) const {
    const auto* entry = entryAt(index);
    if (entry == nullptr)
        return {};
    switch (role) {
        case Qt::DisplayRole:
            return lineOf(*entry);
        case TwoLineDelegate::captionRole:
            return captionOf(*entry, calendar_);
        case Qt::AccessibleTextRole:
            return QString(captionOf(*entry, calendar_) + QStringLiteral("\n") + lineOf(*entry));
        default:
            return {};
    }
}

bool EntryListModel::canFetchMore(const QModelIndex& parent) const {
    return !parent.isValid() && hasMore_ && !isAsking_;
}

void EntryListModel::fetchMore(const QModelIndex& parent) {
    if (!canFetchMore(parent) || !wantsMore)
        return;
    isAsking_ = true;
    wantsMore();
}

}  // namespace quillet
