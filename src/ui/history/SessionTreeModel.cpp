#include "ui/history/SessionTreeModel.h"

#include <QFont>
#include <algorithm>
#include <numeric>

#include "ui/kit/UiText.h"
#include "ui/kit/WallTime.h"

namespace quillet {

namespace {

enum Column { name, count, columns };

/// The internal id of the rows without parent; of others it is the row of their day, plus one.
constexpr quintptr top = 0;

}  // namespace

QString applicationOf(const VSession& session) {
    if (session.appDisplayName)
        return fromText(*session.appDisplayName);
    return session.appBundleID ? fromText(*session.appBundleID) : label("No application");
}

SessionTreeModel::SessionTreeModel(const Calendar& calendar, QObject* parent)
    : QAbstractItemModel(parent), calendar_(calendar) {}

void SessionTreeModel::setSessions(std::vector<VSession> sessions, const QString& application) {
    beginResetModel();
    days_.clear();
    std::ranges::sort(sessions, std::ranges::greater{}, &VSession::startedAt);
    for (auto& session : sessions) {
        if (!application.isEmpty() && applicationOf(session) != application)
            continue;
        const auto date = wallTime(session.startedAt, calendar_).date();
        if (days_.empty() || days_.back().date != date)
            days_.push_back({.date = date, .sessions = {}});
        days_.back().entryCount += session.entryCount;
        days_.back().sessions.push_back(std::move(session));
    }
    endResetModel();
}

const SessionTreeModel::Day* SessionTreeModel::dayAt(const QModelIndex& index) const {
    if (!index.isValid())
        return nullptr;
    const auto row =
        index.internalId() == top ? static_cast<quintptr>(index.row()) : index.internalId() - 1;
    return row == 0 ? nullptr : &days_[row - 1];
}

const VSession* SessionTreeModel::sessionAt(const QModelIndex& index) const {
    return index.isValid() && index.internalId() != top
               ? &dayAt(index)->sessions[static_cast<std::size_t>(index.row())]
               : nullptr;
}

SessionTreeModel::Choice SessionTreeModel::choiceAt(const QModelIndex& index) const {
    if (const auto* session = sessionAt(index))
        return {.day = {}, .session = session->id};
    if (const auto* day = dayAt(index))
        return {.day = day->date, .session = {}};
    return {};
}

QModelIndex SessionTreeModel::indexOf(const Choice& choice) const {
    for (int row = 0; row < rowCount(); ++row) {
        const auto parent = index(row, name);
        if (choiceAt(parent) == choice)
            return parent;
        for (int child = 0; choice.session && child < rowCount(parent); ++child) {
            if (choiceAt(index(child, name, parent)) == choice)
                return index(child, name, parent);
        }
    }
    return {};
}

QModelIndex SessionTreeModel::index(int row, int column, const QModelIndex& parent) const {
    if (!hasIndex(row, column, parent))
        return {};
    return createIndex(row, column,
                       parent.isValid() ? static_cast<quintptr>(parent.row()) + 1 : top);
}

QModelIndex SessionTreeModel::parent(const QModelIndex& index) const {
    if (!index.isValid() || index.internalId() == top)
        return {};
    return createIndex(static_cast<int>(index.internalId() - 1), name, top);
}

int SessionTreeModel::rowCount(const QModelIndex& parent) const {
    if (!parent.isValid())
        return static_cast<int>(days_.size()) + 1;
    if (parent.internalId() != top || parent.column() != name)
        return 0;
    const auto* day = dayAt(parent);
    return day == nullptr ? 0 : static_cast<int>(day->sessions.size());
}

int SessionTreeModel::columnCount(const QModelIndex& /*parent*/) const {
    return columns;
}

QString SessionTreeModel::textOf(const QModelIndex& index) const {
    if (const auto* session = sessionAt(index))
        return label("{} · {}", toText(clockText(wallTime(session->startedAt, calendar_))),
                     toText(applicationOf(*session)));
    if (const auto* day = dayAt(index))
        return dayText(day->date, wallTime(calendar_.now(), calendar_).date());
    return label("All dictations");
}

int SessionTreeModel::countOf(const QModelIndex& index) const {
    if (const auto* session = sessionAt(index))
        return session->entryCount;
    if (const auto* day = dayAt(index))
        return day->entryCount;
    return std::accumulate(days_.begin(), days_.end(), 0,
                           [](int sum, const Day& day) { return sum + day.entryCount; });
}

QVariant SessionTreeModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid())
        return {};
    if (role == Qt::DisplayRole)
        return index.column() == count ? QVariant(countOf(index)) : QVariant(textOf(index));
    if (role == Qt::AccessibleTextRole)
        return label("{}, {}", toText(textOf(index)),
                     toText(counted("{} dictation", "{} dictations", countOf(index))));
    if (role == Qt::ToolTipRole && index.column() == name)
        return textOf(index);
    if (role == Qt::TextAlignmentRole && index.column() == count)
        return QVariant(Qt::AlignTrailing | Qt::AlignVCenter);
    if (role == Qt::FontRole && index.internalId() == top) {
        QFont font;
        font.setBold(true);
        return font;
    }
    return {};
}

}  // namespace quillet
