#pragma once

#include <QTreeView>
#include <functional>

#include "ui/history/SessionTreeModel.h"

namespace quillet {

/// The days and sessions of the history, of which one is chosen, or all.
class SessionTree : public QTreeView {
public:
    using Choice = SessionTreeModel::Choice;

    explicit SessionTree(const Calendar& calendar, QWidget* parent = nullptr);

    /// The user chose another row.
    std::function<void()> chosen;
    /// The user wants to delete what a row stands for.
    std::function<void(Choice choice)> wantsDeleted;

    /// What was open and chosen stays so, where it is still there.
    void setSessions(std::vector<VSession> sessions, const QString& application);
    [[nodiscard]] Choice choice() const;
    /// Chooses a row for the user, without telling.
    void choose(const Choice& choice);

private:
    void showMenu(const QPoint& place);

    SessionTreeModel* model_;
    Choice told_;
    bool isFilling_ = false;  // what changes was not the user's doing
};

}  // namespace quillet
