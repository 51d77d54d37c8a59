#include "ui/settings/SnippetTable.h"

#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QPushButton>
#include <QShortcut>
#include <QTreeView>
#include <QVBoxLayout>

#include "ui/kit/UiText.h"
#include "ui/settings/SettingsPage.h"
#include "ui/settings/SnippetModel.h"

namespace quillet {

namespace {

constexpr int shownRows = 4;

}  // namespace

SnippetTable::SnippetTable(Services services, MessageBar& messages)
    : services_(std::move(services)),
      messages_(messages),
      model_(new SnippetModel(this)),
      table_(new QTreeView),
      empty_(
          newNote(label("There are no snippets. One types a saved text, such as an address, when "
                        "you say its name."))),
      edit_(new QPushButton(label("Edi&t…"))),
      delete_(new QPushButton(label("De&lete"))) {
    build();
    refresh();
}

void SnippetTable::build() {
    table_->setModel(model_);
    table_->setRootIsDecorated(false);
    table_->setUniformRowHeights(true);
    table_->setAllColumnsShowFocus(true);
    table_->header()->setSectionResizeMode(QHeaderView::Stretch);
    table_->setAccessibleName(label("Snippets"));
    table_->setMinimumHeight(fontMetrics().lineSpacing() * shownRows * 2);
    table_->setSizeAdjustPolicy(QAbstractScrollArea::AdjustToContents);
    auto* add = new QPushButton(label("Add &Snippet…"));
    auto* row = new QHBoxLayout;
    for (auto* button : {add, edit_, delete_})
        row->addWidget(button);
    row->addStretch();
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->addWidget(table_, 1);
    column->addWidget(empty_);
    column->addLayout(row);
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { enableActions(); });
    connect(table_, &QTreeView::doubleClicked, this, &SnippetTable::edit);
    connect(add, &QPushButton::clicked, this, &SnippetTable::add);
    connect(edit_, &QPushButton::clicked, this, &SnippetTable::edit);
    connect(delete_, &QPushButton::clicked, this, &SnippetTable::remove);
    connect(new QShortcut(QKeySequence::Delete, table_, nullptr, nullptr, Qt::WidgetShortcut),
            &QShortcut::activated, delete_, &QPushButton::click);
}

void SnippetTable::refresh() {
    model_->setSnippets(services_.settings.record().snippets);
    empty_->setVisible(model_->rowCount() == 0);
    enableActions();
}

void SnippetTable::enableActions() {
    edit_->setEnabled(selected() >= 0);
    delete_->setEnabled(selected() >= 0);
}

int SnippetTable::selected() const {
    const auto rows = table_->selectionModel()->selectedRows();
    return rows.isEmpty() ? -1 : rows.front().row();
}

bool SnippetTable::change(const std::function<void(std::vector<Snippet>&)>& edit) {
    const bool saved =
        services_.settings.change([&edit](QuilletSettings& record) { edit(record.snippets); });
    if (!saved)
        messages_.showError(
            label("The snippets could not be saved. Check that the disk is not full "
                  "and that the settings file belongs to you."));
    return saved;
}

EntryDialog* SnippetTable::ask(const QString& title, const Snippet& snippet) {
    auto check = [this, id = snippet.id](const EntryDialog::Entry& entry) {
        return checkSnippet({id, entry.said, entry.written}, services_.settings.record().snippets);
    };
    return new EntryDialog(window(),
                           {title, label("You &say:"), label("Is &typed:"),
                            label("Say it alone, or after “insert”. At least 2 characters."), true},
                           {snippet.trigger, snippet.text}, std::move(check));
}

void SnippetTable::add() {
    auto* dialog = ask(label("Add a Snippet"), {});
    dialog->onAccepted([this](const EntryDialog::Entry& entry) {
        change([this, &entry](std::vector<Snippet>& all) {
            all.push_back({services_.ids->uuid(), entry.said, entry.written});
        });
    });
    dialog->open();
}

void SnippetTable::edit() {
    if (selected() < 0)
        return;
    const auto before = model_->snippet(selected());
    auto* dialog = ask(label("Edit the Snippet"), before);
    dialog->onAccepted([this, id = before.id](const EntryDialog::Entry& entry) {
        change([&](std::vector<Snippet>& all) {
            const auto found = std::ranges::find(all, id, &Snippet::id);
            if (found == all.end())
                all.push_back({id, entry.said, entry.written});
            else
                *found = {id, entry.said, entry.written};
        });
    });
    dialog->open();
}

void SnippetTable::remove() {
    const auto row = selected();
    if (row < 0)
        return;
    const auto gone = model_->snippet(row);
    if (!change([&gone](std::vector<Snippet>& all) { std::erase(all, gone); }))
        return;
    messages_.showInfo(label("The snippet “{}” is deleted.", gone.trigger), label("Undo"),
                       [this, gone, row] {
                           change([&](std::vector<Snippet>& all) {
                               const auto at = std::min(static_cast<std::size_t>(row), all.size());
                               all.insert(all.begin() + static_cast<std::ptrdiff_t>(at), gone);
                           });
                       });
}

}  // namespace quillet
