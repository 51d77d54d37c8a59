#pragma once

#include <QWidget>
#include <functional>
#include <memory>

#include "platform/IdSource.h"
#include "settings/AppSettings.h"
#include "ui/kit/MessageBar.h"
#include "ui/settings/EntryDialog.h"

class QLabel;
class QPushButton;
class QTreeView;

namespace quillet {

class SnippetModel;

/// The saved texts and what is said for them. What is deleted can be had back.
class SnippetTable : public QWidget {
public:
    struct Services {
        AppSettings& settings;
        std::shared_ptr<IdSource> ids;
    };

    SnippetTable(Services services, MessageBar& messages);

    /// Shows what the settings hold.
    void refresh();

private:
    void build();
    void enableActions();
    [[nodiscard]] int selected() const;
    void add();
    void edit();
    void remove();
    EntryDialog* ask(const QString& title, const Snippet& snippet);
    bool change(const std::function<void(std::vector<Snippet>&)>& edit);

    Services services_;
    MessageBar& messages_;
    SnippetModel* model_;
    QTreeView* table_;
    QLabel* empty_;
    QPushButton* edit_;
    QPushButton* delete_;
};

}  // namespace quillet
