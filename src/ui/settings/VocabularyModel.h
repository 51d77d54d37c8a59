#pragma once

#include <QAbstractTableModel>

#include "store/VocabularyDB.h"

namespace quillet {

/// The vocabulary as rows of a table.
class VocabularyModel : public QAbstractTableModel {
public:
    enum Column { heard, written, used, from, columns };

    explicit VocabularyModel(QObject* parent) : QAbstractTableModel(parent) {}

    /// Nothing happens where these are the entries that are shown.
    void setEntries(VocabularyDB::Entries entries);
    [[nodiscard]] const VocabEntry& entry(int row) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                      int role) const override;

private:
    VocabularyDB::Entries entries_ = std::make_shared<const std::vector<VocabEntry>>();
};

}  // namespace quillet
