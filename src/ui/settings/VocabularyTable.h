#pragma once

#include <QWidget>
#include <filesystem>
#include <functional>

#include "base/async/TaskScope.h"
#include "platform/Calendar.h"
#include "store/VocabularyDB.h"
#include "ui/kit/MessageBar.h"
#include "ui/settings/EntryDialog.h"

class QLabel;
class QPushButton;
class QSortFilterProxyModel;
class QTreeView;

namespace quillet {

class VocabularyModel;

/// The vocabulary to be searched and changed. What is deleted can be had back.
class VocabularyTable : public QWidget {
public:
    struct Services {
        Loop& loop;
        VocabularyDB& vocabulary;
        const Calendar& calendar;
    };

    VocabularyTable(Services services, MessageBar& messages);

    /// Shows what has changed since.
    void refresh();

protected:
    void showEvent(QShowEvent* event) override;

private:
    using Entries = std::vector<VocabularyDB::SyncEntry>;
    using Tombstones = std::vector<VocabularyDB::Tombstone>;

    void build();
    void enableActions();
    [[nodiscard]] std::vector<VocabEntry> selected() const;
    void add();
    void edit();
    void askToReset();
    void importFile();
    void exportFile();
    EntryDialog* ask(const QString& title, const EntryDialog::Entry& entry);
    asio::awaitable<void> look();
    asio::awaitable<void> learn(EntryDialog::Entry pair);
    asio::awaitable<void> replace(VocabEntry before, EntryDialog::Entry after);
    asio::awaitable<void> remove(std::vector<VocabEntry> entries);
    asio::awaitable<void> restore(Entries entries);
    asio::awaitable<void> reset();
    asio::awaitable<void> readFrom(std::filesystem::path file);
    asio::awaitable<void> writeTo(std::filesystem::path file);
    asio::awaitable<bool> succeeded(bool done);

    Services services_;
    MessageBar& messages_;
    VocabularyModel* model_;
    QSortFilterProxyModel* found_;
    QTreeView* table_;
    QLabel* empty_;
    QPushButton* edit_;
    QPushButton* delete_;
    QPushButton* reset_;
    bool isDeleting_ = false;
    TaskScope tasks_;
};

}  // namespace quillet
