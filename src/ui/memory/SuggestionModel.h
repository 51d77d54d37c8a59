#pragma once

#include <QAbstractTableModel>
#include <optional>
#include <string>
#include <vector>

#include "memory/NightlyReview.h"

namespace quillet {

/// The suggestions that wait for the user, the latest first.
class SuggestionModel final : public QAbstractTableModel {
public:
    enum Column { heard, written, reason, columns };

    using QAbstractTableModel::QAbstractTableModel;

    /// Shows those of the state that wait; does nothing and is false while they are the same.
    bool show(const NightlyReview::State& state);
    [[nodiscard]] const NightlyReview::Suggestion& at(int row) const {
        return waiting_.at(static_cast<std::size_t>(row));
    }
    [[nodiscard]] int count() const { return static_cast<int>(waiting_.size()); }

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] int columnCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] QVariant headerData(int section, Qt::Orientation orientation,
                                      int role) const override;

private:
    std::vector<NightlyReview::Suggestion> waiting_;
    bool shown_ = false;
};

}  // namespace quillet
