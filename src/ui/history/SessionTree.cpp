#include "ui/history/SessionTree.h"

#include <QHeaderView>
#include <QMenu>
#include <utility>

#include "ui/kit/Choice.h"
#include "ui/kit/UiText.h"

namespace quillet {

SessionTree::SessionTree(const Calendar& calendar, QWidget* parent)
    : QTreeView(parent), model_(new SessionTreeModel(calendar, this)) {
    setModel(model_);
    setAccessibleName(label("Days and sessions"));
    setHeaderHidden(true);
    setUniformRowHeights(true);
    header()->setStretchLastSection(false);
    header()->setSectionResizeMode(0, QHeaderView::Stretch);
    header()->setSectionResizeMode(1, QHeaderView::ResizeToContents);
    setContextMenuPolicy(Qt::CustomContextMenu);
    onChosen(*this, [this] {
        const bool isAnother = choice() != std::exchange(told_, choice());
        if (isAnother && !isFilling_ && chosen)
            chosen();
    });
    connect(this, &QWidget::customContextMenuRequested, this,
            [this](const QPoint& place) { showMenu(place); });
}

void SessionTree::setSessions(std::vector<VSession> sessions, const QString& application) {
    const auto before = choice();
    const bool isFirst = model_->rowCount() == 1;
    std::vector<Choice> open;
    for (int row = 0; row < model_->rowCount(); ++row) {
        if (const auto day = model_->index(row, 0); isExpanded(day))
            open.push_back(model_->choiceAt(day));
    }
    const bool outer = std::exchange(isFilling_, true);
    model_->setSessions(std::move(sessions), application);
    isFilling_ = outer;
    for (const auto& day : open)
        expand(model_->indexOf(day));
    if (isFirst)
        expand(model_->index(1, 0));
    choose(before);
}

SessionTree::Choice SessionTree::choice() const {
    return model_->choiceAt(chosenIn(*this));
}

void SessionTree::choose(const Choice& choice) {
    const bool outer = std::exchange(isFilling_, true);
    const auto place = model_->indexOf(choice);
    setCurrentIndex(place.isValid() ? place : model_->index(0, 0));
    isFilling_ = outer;
}

void SessionTree::showMenu(const QPoint& place) {
    const auto index = indexAt(place);
    if (!index.isValid() || !wantsDeleted)
        return;
    auto* menu = new QMenu(this);
    menu->setAttribute(Qt::WA_DeleteOnClose);
    menu->addAction(label("Delete…"), this,
                    [this, choice = model_->choiceAt(index)] { wantsDeleted(choice); });
    menu->popup(viewport()->mapToGlobal(place));
}

}  // namespace quillet
