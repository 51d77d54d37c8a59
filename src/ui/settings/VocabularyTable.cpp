#include "ui/settings/VocabularyTable.h"

#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QLineEdit>
#include <QPushButton>
#include <QShortcut>
#include <QSortFilterProxyModel>
#include <QTreeView>
#include <QVBoxLayout>
#include <nlohmann/json.hpp>
#include <set>

#include "base/file/JsonFile.h"
#include "store/VocabularyFile.h"
#include "ui/kit/Question.h"
#include "ui/kit/UiText.h"
#include "ui/settings/SettingsPage.h"
#include "ui/settings/VocabularyModel.h"

namespace quillet {

namespace {

constexpr int shownRows = 6;

VocabEntry pairOf(const VocabularyDB::SyncEntry& entry) {
    return {entry.original, entry.corrected, 1, {}};
}

long learnedAmong(const std::vector<VocabEntry>& entries) {
    return std::ranges::count_if(
        entries, [](const VocabEntry& entry) { return entry.source != vocabulary_source::manual; });
}

}  // namespace

VocabularyTable::VocabularyTable(Services services, MessageBar& messages)
    : services_(services),
      messages_(messages),
      model_(new VocabularyModel(this)),
      found_(new QSortFilterProxyModel(this)),
      table_(new QTreeView),
      empty_(newNote({})),
      edit_(new QPushButton(label("&Edit…"))),
      delete_(new QPushButton(label("&Delete"))),
      reset_(new QPushButton(label("Reset Auto-learned"))),
      tasks_(services.loop) {
    build();
    enableActions();
}

void VocabularyTable::build() {
    auto* search = new QLineEdit;
    search->setPlaceholderText(label("Search the vocabulary"));
    search->setAccessibleName(search->placeholderText());
    search->setClearButtonEnabled(true);
    found_->setSourceModel(model_);
    found_->setFilterKeyColumn(-1);
    found_->setFilterCaseSensitivity(Qt::CaseInsensitive);
    found_->setSortCaseSensitivity(Qt::CaseInsensitive);
    found_->setSortLocaleAware(true);
    table_->setModel(found_);
    table_->setRootIsDecorated(false);
    table_->setUniformRowHeights(true);
    table_->setAllColumnsShowFocus(true);
    table_->setSelectionMode(QAbstractItemView::ExtendedSelection);
    table_->setSortingEnabled(true);
    table_->sortByColumn(VocabularyModel::used, Qt::DescendingOrder);
    table_->header()->setSectionResizeMode(VocabularyModel::heard, QHeaderView::Stretch);
    table_->header()->setSectionResizeMode(VocabularyModel::written, QHeaderView::Stretch);
    table_->header()->setStretchLastSection(false);
    table_->setAccessibleName(label("Vocabulary"));
    table_->setMinimumHeight(fontMetrics().lineSpacing() * shownRows * 2);
    auto* add = new QPushButton(label("&Add…"));
    auto* import = new QPushButton(label("&Import…"));
    auto* save = new QPushButton(label("E&xport…"));
    auto* row = new QHBoxLayout;
    for (auto* button : {add, edit_, delete_})
        row->addWidget(button);
    row->addStretch();
    for (auto* button : {import, save, reset_})
        row->addWidget(button);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->addWidget(search);
    column->addWidget(table_, 1);
    column->addWidget(empty_);
    column->addLayout(row);
    connect(search, &QLineEdit::textChanged, this, [this](const QString& text) {
        found_->setFilterFixedString(text);
        enableActions();
    });
    connect(table_->selectionModel(), &QItemSelectionModel::selectionChanged, this,
            [this] { enableActions(); });
    connect(table_, &QTreeView::doubleClicked, this, &VocabularyTable::edit);
    connect(add, &QPushButton::clicked, this, &VocabularyTable::add);
    connect(edit_, &QPushButton::clicked, this, &VocabularyTable::edit);
    connect(delete_, &QPushButton::clicked, this, [this] { tasks_.spawn(remove(selected())); });
    connect(new QShortcut(QKeySequence::Delete, table_, nullptr, nullptr, Qt::WidgetShortcut),
            &QShortcut::activated, delete_, &QPushButton::click);
    connect(import, &QPushButton::clicked, this, &VocabularyTable::importFile);
    connect(save, &QPushButton::clicked, this, &VocabularyTable::exportFile);
    connect(reset_, &QPushButton::clicked, this, &VocabularyTable::askToReset);
}

void VocabularyTable::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    refresh();
}

void VocabularyTable::refresh() {
    tasks_.spawn(look());
}

void VocabularyTable::enableActions() {
    const auto chosen = table_->selectionModel()->selectedRows().size();
    edit_->setEnabled(chosen == 1);
    delete_->setEnabled(chosen > 0);
    const bool isEmpty = model_->rowCount() == 0;
    empty_->setText(isEmpty
                        ? label("The vocabulary is empty. Add a pair for a name or a term that is "
                                "heard wrong; edits of what you dictated are learned, too.")
                        : label("Nothing in the vocabulary holds this text."));
    empty_->setVisible(found_->rowCount() == 0);
}

std::vector<VocabEntry> VocabularyTable::selected() const {
    std::vector<VocabEntry> entries;
    for (const auto& index : table_->selectionModel()->selectedRows())
        entries.push_back(model_->entry(found_->mapToSource(index).row()));
    return entries;
}

EntryDialog* VocabularyTable::ask(const QString& title, const EntryDialog::Entry& entry) {
    return new EntryDialog(
        window(),
        {title, label("&Heard:"), label("&Written:"),
         label("Original: 2–24 characters (English ≥ 4), different from corrected. Corrected: one "
               "line, up to 40 characters."),
         false},
        entry, [](const EntryDialog::Entry& pair) { return checkPair(pair.said, pair.written); });
}

void VocabularyTable::add() {
    auto* dialog = ask(label("Add to the Vocabulary"), {});
    dialog->onAccepted([this](EntryDialog::Entry pair) { tasks_.spawn(learn(std::move(pair))); });
    dialog->open();
}

void VocabularyTable::edit() {
    const auto chosen = selected();
    if (chosen.size() != 1)
        return;
    auto* dialog = ask(label("Edit the Pair"), {chosen.front().original, chosen.front().corrected});
    dialog->onAccepted([this, before = chosen.front()](EntryDialog::Entry after) {
        if (after.said != before.original || after.written != before.corrected)
            tasks_.spawn(replace(before, std::move(after)));
    });
    dialog->open();
}

void VocabularyTable::askToReset() {
    auto ask = [](VocabularyTable& self) -> asio::awaitable<void> {
        const auto entries = co_await self.services_.vocabulary.allEntries();
        const auto learned = learnedAmong(*entries);
        if (learned == 0) {
            self.messages_.showInfo(label("There are no auto-learned entries."));
            co_return;
        }
        askFirst(
            &self,
            {counted("Delete {} auto-learned entry?", "Delete {} auto-learned entries?", learned),
             label("What you added by hand stays. This cannot be undone."),
             label("Reset Auto-learned")},
            [&self] { self.tasks_.spawn(self.reset()); });
    };
    tasks_.spawn(ask(*this));
}

void VocabularyTable::importFile() {
    auto* dialog = new QFileDialog(window(), label("Import a Vocabulary"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(QFileDialog::ExistingFile);
    dialog->setNameFilters({label("Vocabularies (*.json)"), label("All files (*)")});
    connect(dialog, &QFileDialog::fileSelected, this,
            [this](const QString& path) { tasks_.spawn(readFrom(toText(path))); });
    dialog->open();
}

void VocabularyTable::exportFile() {
    auto* dialog = new QFileDialog(window(), label("Export the Vocabulary"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setAcceptMode(QFileDialog::AcceptSave);
    dialog->setDefaultSuffix(QStringLiteral("json"));
    dialog->selectFile(QStringLiteral("quillet-vocabulary.json"));
    connect(dialog, &QFileDialog::fileSelected, this,
            [this](const QString& path) { tasks_.spawn(writeTo(toText(path))); });
    dialog->open();
}

asio::awaitable<void> VocabularyTable::look() {
    model_->setEntries(co_await services_.vocabulary.allEntries());
    enableActions();
}

/// Tells what went wrong, where something did, and shows what there is now.
asio::awaitable<bool> VocabularyTable::succeeded(bool done) {
    if (!done) {
        const auto problem = co_await services_.vocabulary.lastError();
        messages_.showError(
            label("The vocabulary could not be changed: {}", problem.value_or(std::string())));
    }
    co_await look();
    co_return done;
}

asio::awaitable<void> VocabularyTable::learn(EntryDialog::Entry pair) {
    const bool learned = co_await services_.vocabulary.learn(
        pair.said, pair.written, 1.0, std::string(vocabulary_source::manual));
    co_await succeeded(learned);
}

/// An edited pair counts as added by hand, and keeps how often it was used.
asio::awaitable<void> VocabularyTable::replace(VocabEntry before, EntryDialog::Entry after) {
    Entries added = {{after.said, after.written, before.frequency,
                      services_.calendar.now().time_since_epoch().count(),
                      std::string(vocabulary_source::manual)}};
    Tombstones gone = {{before.original, before.corrected}};
    co_await succeeded(
        co_await services_.vocabulary.mergeFromSync(std::move(added), std::move(gone)));
}

asio::awaitable<void> VocabularyTable::remove(std::vector<VocabEntry> entries) {
    // A second stroke of the key must not take the place of what the first can undo.
    if (entries.empty() || std::exchange(isDeleting_, true))
        co_return;
    std::set<std::string> ids;
    Tombstones gone;
    for (const auto& entry : entries) {
        ids.insert(entry.id());
        gone.push_back({entry.original, entry.corrected});
    }
    auto kept = co_await services_.vocabulary.exportForSync();
    std::erase_if(kept, [&ids](const VocabularyDB::SyncEntry& entry) {
        return !ids.contains(pairOf(entry).id());
    });
    const bool done = co_await services_.vocabulary.mergeFromSync({}, std::move(gone));
    isDeleting_ = false;
    if (!co_await succeeded(done))
        co_return;
    messages_.showInfo(
        counted("{} pair is deleted.", "{} pairs are deleted.", static_cast<long>(entries.size())),
        label("Undo"), [this, kept = std::move(kept)] { tasks_.spawn(restore(kept)); });
}

asio::awaitable<void> VocabularyTable::restore(Entries entries) {
    co_await succeeded(co_await services_.vocabulary.mergeFromSync(std::move(entries), {}));
}

asio::awaitable<void> VocabularyTable::reset() {
    const int deleted = co_await services_.vocabulary.resetAutoLearned();
    const auto problem = co_await services_.vocabulary.lastError();
    if (co_await succeeded(!problem))
        messages_.showInfo(counted("{} auto-learned entry is deleted.",
                                   "{} auto-learned entries are deleted.", deleted));
}

asio::awaitable<void> VocabularyTable::readFrom(std::filesystem::path file) {
    auto read = [file] { return readJsonFile(file); };
    const auto content = co_await services_.vocabulary.queue().run(std::move(read));
    auto imported = content ? decodeVocabulary(*content, services_.calendar.now()) : std::nullopt;
    if (!imported || imported->entries.empty()) {
        messages_.showError(
            label("{} holds no pair that could be used. Wanted is a file that Export wrote, or a "
                  "JSON object {{\"heard\": \"written\"}}.",
                  file.filename().string()));
        co_return;
    }
    const auto taken = static_cast<long>(imported->entries.size());
    const auto leftOut = static_cast<long>(imported->leftOut);
    if (!co_await succeeded(
            co_await services_.vocabulary.mergeFromSync(std::move(imported->entries), {})))
        co_return;
    auto sentence = counted("{} pair is imported.", "{} pairs are imported.", taken);
    if (leftOut > 0)
        sentence +=
            QLatin1Char(' ') + counted("{} is left out, for it is no usable pair.",
                                       "{} are left out, for they are no usable pairs.", leftOut);
    messages_.showInfo(sentence);
}

asio::awaitable<void> VocabularyTable::writeTo(std::filesystem::path file) {
    auto entries = co_await services_.vocabulary.exportForSync();
    const auto count = static_cast<long>(entries.size());
    auto write = [file, entries = std::move(entries)] {
        return writeJsonFile(file, encodeVocabulary(entries));
    };
    if (const auto written = co_await services_.vocabulary.queue().run(std::move(write)); !written)
        messages_.showError(label("{} cannot be written. Choose another folder.", file.string()));
    else
        messages_.showInfo(counted("{} pair is exported.", "{} pairs are exported.", count));
}

}  // namespace quillet
