#pragma once

#include <QListView>
#include <string>
#include <vector>

#include "ui/history/EntryListModel.h"

namespace quillet {

/// The dictations that are found, two lines each. Several can be chosen; one of them is shown.
class EntryList : public QListView {
public:
    explicit EntryList(const Calendar& calendar, QWidget* parent = nullptr);

    /// Called when another one is to be shown, or others are chosen.
    std::function<void()> chosen;

    [[nodiscard]] EntryListModel& entries() { return *model_; }
    /// The one that is shown; null where there is none. Good until the entries change.
    [[nodiscard]] const TranscriptEntry* current() const;
    /// Those that are chosen, as they stand in the list.
    [[nodiscard]] std::vector<std::string> selectedIds() const;
    [[nodiscard]] int currentRow() const;
    /// Shows the dictation of this id; false where it is not in the list.
    bool choose(const std::string& id);
    /// The one in this row, or in the last.
    void chooseNear(int row);

private:
    EntryListModel* model_;
};

}  // namespace quillet
