#include "ui/memory/KnowledgeWindow.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QLineEdit>
#include <QListView>
#include <QPushButton>
#include <QShortcut>
#include <QSplitter>
#include <QTextBrowser>
#include <QVBoxLayout>
#include <algorithm>

#include "ui/kit/Choice.h"
#include "ui/kit/MessageBar.h"
#include "ui/kit/Question.h"
#include "ui/kit/UiText.h"
#include "ui/memory/KnowledgeModels.h"
#include "ui/memory/MemoryPages.h"

namespace quillet {

namespace {

constexpr QSize usualSize(940, 540);
constexpr int columns[] = {220, 260, 460};

QWidget* columnOf(std::initializer_list<QWidget*> widgets, QWidget* grows) {
    auto* holder = new QWidget;
    auto* column = new QVBoxLayout(holder);
    column->setContentsMargins(0, 0, 0, 0);
    for (auto* widget : widgets)
        column->addWidget(widget, widget == grows ? 1 : 0);
    return holder;
}

/// Of these only the items go.
bool isBuiltIn(const Knowledge::Category& category) {
    const auto& builtIn = Knowledge::builtInCategories();
    return std::ranges::find(builtIn, category.id, &Knowledge::Category::id) != builtIn.end();
}

QLabel* titleFor(const QString& text, QWidget* widget) {
    auto* title = new QLabel(text);
    title->setBuddy(widget);
    return title;
}

}  // namespace

KnowledgeWindow::KnowledgeWindow(Services services)
    : services_(services),
      messages_(new MessageBar),
      state_(new QLabel),
      search_(new QLineEdit),
      categoryModel_(new CategoryModel(this)),
      categories_(new QListView),
      deleteCategory_(new QPushButton(label("Delete Category…"))),
      itemModel_(new ItemModel(this)),
      items_(new QListView),
      page_(new QTextBrowser),
      deleteItem_(new QPushButton(label("Delete this item"))),
      tasks_(services_.loop) {
    setWindowTitle(label("Knowledge"));
    resize(usualSize);
    search_->setPlaceholderText(label("Search"));
    search_->setAccessibleName(label("Search the knowledge base"));
    search_->setClearButtonEnabled(true);
    connect(search_, &QLineEdit::textChanged, this, [this] { showItems(); });
    auto* split = new QSplitter;
    split->addWidget(makeCategories());
    split->addWidget(makeItems());
    split->addWidget(makeItem());
    split->setChildrenCollapsible(false);
    split->setStretchFactor(2, 1);
    split->setSizes({std::begin(columns), std::end(columns)});
    auto* all = new QVBoxLayout(this);
    all->addWidget(messages_);
    all->addWidget(search_);
    all->addWidget(split, 1);
    all->addWidget(makeButtons());
    state_->setWordWrap(true);
    all->addWidget(state_);
    changed_ = services_.notifications.subscribe(std::string(knowledgeChangedNotification),
                                                 [this] { tasks_.spawn(load()); });
    settingsChanged_ = services_.notifications.subscribe(std::string(settingsChangedNotification),
                                                         [this] { showState(); });
    showItem();
    tasks_.spawn(load());
}

// --- How it looks ---

QWidget* KnowledgeWindow::makeCategories() {
    categories_->setModel(categoryModel_);
    categories_->setAccessibleName(label("Categories"));
    onChosen(*categories_, [this] { showItems(); });
    return columnOf({titleFor(label("&Categories"), categories_), categories_}, categories_);
}

QWidget* KnowledgeWindow::makeItems() {
    items_->setModel(itemModel_);
    items_->setAccessibleName(label("Items"));
    items_->setUniformItemSizes(true);
    onChosen(*items_, [this] { showItem(); });
    return columnOf({titleFor(label("&Items"), items_), items_}, items_);
}

QWidget* KnowledgeWindow::makeItem() {
    page_->setOpenLinks(false);
    return columnOf({titleFor(label("I&tem and quotes"), page_), page_}, page_);
}

QWidget* KnowledgeWindow::makeButtons() {
    connect(deleteCategory_, &QPushButton::clicked, this, [this] { askToDeleteCategory(); });
    connect(deleteItem_, &QPushButton::clicked, this, [this] { askToDeleteItem(); });
    auto* keys = new QShortcut(QKeySequence::Delete, items_);
    keys->setContext(Qt::WidgetShortcut);
    connect(keys, &QShortcut::activated, this, [this] { askToDeleteItem(); });
    auto* buttons = new QWidget;
    auto* row = new QHBoxLayout(buttons);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(deleteCategory_);
    row->addStretch(1);
    row->addWidget(deleteItem_);
    return buttons;
}

// --- What it shows ---

asio::awaitable<void> KnowledgeWindow::load() {
    showBase(co_await services_.knowledge.state());
}

/// What was chosen stays chosen, as far as it is there.
void KnowledgeWindow::showBase(const KnowledgeKeeper::Snapshot& base) {
    showState();
    if (base == base_)
        return;
    const auto* category = categoryModel_->at(chosenIn(*categories_).row());
    const auto chosen = category == nullptr ? std::string() : category->id;
    // The old one must stay until no model shows it.
    const auto old = std::exchange(base_, base);
    const auto item = itemToShow(base_->store);
    categoryModel_->show(base_);
    categories_->setCurrentIndex(categoryModel_->index(categoryModel_->rowOf(chosen), 0));
    showItems();
    items_->setCurrentIndex(itemModel_->index(std::max(itemModel_->rowOf(item), 0), 0));
    showState();
}

/// The one that is shown or, where it is gone, one beside it.
std::string KnowledgeWindow::itemToShow(const Knowledge::Store& store) const {
    const auto row = chosenIn(*items_).row();
    for (const int near : {row, row + 1, row - 1}) {
        const auto* item = itemModel_->at(near);
        if (item != nullptr && store.item(item->id) != nullptr)
            return item->id;
    }
    return {};
}

void KnowledgeWindow::showItems() {
    if (!base_)
        return;
    const auto* item = itemModel_->at(chosenIn(*items_).row());
    const auto chosen = item == nullptr ? std::string() : item->id;
    const auto row = chosenIn(*categories_).row();
    const auto* category = categoryModel_->at(row);
    deleteCategory_->setEnabled(category != nullptr &&
                                (categoryModel_->itemsIn(row) > 0 || !isBuiltIn(*category)));
    itemModel_->show(base_, category, toText(search_->text()));
    items_->setCurrentIndex(itemModel_->index(std::max(itemModel_->rowOf(chosen), 0), 0));
    showItem();
}

void KnowledgeWindow::showItem() {
    const auto* item = itemModel_->at(chosenIn(*items_).row());
    deleteItem_->setEnabled(item != nullptr);
    page_->setHtml(item == nullptr ? emptyText() : itemPage(*item, services_.calendar));
}

QString KnowledgeWindow::emptyText() const {
    if (!base_)
        return {};
    if (!search_->text().isEmpty())
        return label("Nothing here holds these words.");
    return label("Nothing here yet.");
}

void KnowledgeWindow::showState() {
    if (!services_.settings.record().rememberWhatISay)
        state_->setText(label("Memory is paused (Memory & Knowledge)."));
    else if (services_.knowledge.running())
        state_->setText(label("What you said is being filed…"));
    else if (base_ && base_->report)
        state_->setText(fromText(shownReport(*base_)));
    else
        state_->setText(
            label("What you say and your meetings are filed here every night, once the "
                  "nightly review is switched on in Settings."));
}

// --- What it does ---

void KnowledgeWindow::askToDeleteItem() {
    const auto* item = itemModel_->at(chosenIn(*items_).row());
    if (item == nullptr)
        return;
    const Question question{label("Delete “{}”?", item->title),
                            label("Its quotes and notes are deleted too. This cannot be undone."),
                            label("Delete")};
    askFirst(this, question,
             [this, id = item->id] { tasks_.spawn(remove(services_.knowledge.deleteItem(id))); });
}

void KnowledgeWindow::askToDeleteCategory() {
    const auto row = chosenIn(*categories_).row();
    const auto* category = categoryModel_->at(row);
    if (category == nullptr)
        return;
    const Question question{label("Delete “{}”?", translated(category->name)),
                            counted("{} item is deleted too. This cannot be undone.",
                                    "{} items are deleted too. This cannot be undone.",
                                    static_cast<long>(categoryModel_->itemsIn(row))),
                            label("Delete")};
    askFirst(this, question, [this, id = category->id] {
        tasks_.spawn(remove(services_.knowledge.deleteCategory(id)));
    });
}

asio::awaitable<void> KnowledgeWindow::remove(asio::awaitable<Deleted> removal) {
    const auto done = co_await std::move(removal);
    if (!done)
        messages_->showError(label(done.error()));
}

}  // namespace quillet
