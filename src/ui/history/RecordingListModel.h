#pragma once

#include <QAbstractListModel>
#include <vector>

#include "audio/RecordingArchive.h"

namespace quillet {

/// The recordings that are kept, newest first.
class RecordingListModel : public QAbstractListModel {
public:
    explicit RecordingListModel(const Calendar& calendar, QObject* parent = nullptr)
        : QAbstractListModel(parent), calendar_(calendar) {}

    void setItems(std::vector<RecordingArchive::Item> items);
    [[nodiscard]] const RecordingArchive::Item* itemAt(const QModelIndex& index) const;
    [[nodiscard]] QModelIndex indexOf(const std::string& id) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;

private:
    [[nodiscard]] QString captionOf(const RecordingArchive::Item& item) const;

    const Calendar& calendar_;
    std::vector<RecordingArchive::Item> items_;
};

/// "0:07", "12:30".
[[nodiscard]] QString lengthText(std::chrono::milliseconds length);

}  // namespace quillet
