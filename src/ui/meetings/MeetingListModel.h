#pragma once

#include <QAbstractListModel>
#include <vector>

#include "meetings/MeetingLibrary.h"

namespace quillet {

/// The notes of meetings, newest first.
class MeetingListModel : public QAbstractListModel {
public:
    struct Row {
        MeetingLibrary::Entry note;
        Calendar::UnixTime started;
        int minutes = 0;  ///< 0: not known
    };

    explicit MeetingListModel(const Calendar& calendar, QObject* parent = nullptr)
        : QAbstractListModel(parent), calendar_(calendar) {}

    void setNotes(std::vector<MeetingLibrary::Entry> notes, const MeetingIndex& index);
    [[nodiscard]] const Row* rowAt(const QModelIndex& index) const;
    [[nodiscard]] QModelIndex indexOf(const std::string& name) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;

private:
    [[nodiscard]] QString captionOf(const Row& row) const;

    const Calendar& calendar_;
    std::vector<Row> rows_;
};

}  // namespace quillet
