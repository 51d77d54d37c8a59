#pragma once

#include <QWidget>
#include <string>

#include "base/async/TaskScope.h"
#include "base/notification/NotificationCenter.h"
#include "memory/KnowledgeKeeper.h"
#include "settings/AppSettings.h"

class QLabel;
class QLineEdit;
class QListView;
class QPushButton;
class QTextBrowser;

namespace quillet {

class CategoryModel;
class ItemModel;
class MessageBar;

/// What the user said that is worth keeping: categories, their items, and what each rests on.
class KnowledgeWindow final : public QWidget {
public:
    struct Services {
        Loop& loop;
        KnowledgeKeeper& knowledge;
        AppSettings& settings;
        const Calendar& calendar;
        NotificationCenter& notifications;
    };

    explicit KnowledgeWindow(Services services);

private:
    [[nodiscard]] QWidget* makeCategories();
    [[nodiscard]] QWidget* makeItems();
    [[nodiscard]] QWidget* makeItem();
    [[nodiscard]] QWidget* makeButtons();

    void showBase(const KnowledgeKeeper::Snapshot& base);
    [[nodiscard]] std::string itemToShow(const Knowledge::Store& store) const;
    void showItems();
    void showItem();
    void showState();
    [[nodiscard]] QString emptyText() const;
    void askToDeleteItem();
    void askToDeleteCategory();

    using Deleted = std::expected<void, std::string>;
    asio::awaitable<void> load();
    asio::awaitable<void> remove(asio::awaitable<Deleted> removal);

    Services services_;
    MessageBar* messages_;
    QLabel* state_;
    QLineEdit* search_;
    CategoryModel* categoryModel_;
    QListView* categories_;
    QPushButton* deleteCategory_;
    ItemModel* itemModel_;
    QListView* items_;
    QTextBrowser* page_;
    QPushButton* deleteItem_;
    KnowledgeKeeper::Snapshot base_;
    NotificationCenter::Subscription changed_;
    NotificationCenter::Subscription settingsChanged_;
    TaskScope tasks_;
};

}  // namespace quillet
