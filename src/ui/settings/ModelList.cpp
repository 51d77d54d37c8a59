#include "ui/settings/ModelList.h"

#include <QComboBox>
#include <QFileDialog>
#include <QHBoxLayout>
#include <QHeaderView>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QTreeWidget>
#include <QVBoxLayout>
#include <algorithm>

#include "base/async/Checkpoint.h"
#include "speech/VoskLibrary.h"
#include "ui/kit/Question.h"
#include "ui/kit/UiText.h"
#include "ui/settings/Languages.h"
#include "ui/settings/SettingsPage.h"

namespace quillet {

namespace {

constexpr int shownRows = 4;

}  // namespace

ModelList::ModelList(Services services, MessageBar& messages, const std::string& spoken,
                     Installed installed)
    : services_(std::move(services)),
      messages_(messages),
      list_(new QTreeWidget),
      state_(newNote({})),
      language_(new QComboBox),
      fromFile_(new QPushButton(label("Install from &File…"))),
      fromFolder_(new QPushButton(label("Install from F&older…"))),
      remove_(new QPushButton(label("Remove"))),
      progress_(new QProgressBar),
      cancel_(new QPushButton(label("Cancel"))),
      installed_(std::move(installed)),
      tasks_(services_.loop) {
    build();
    language_->setCurrentIndex(std::max(0, language_->findData(fromText(spoken))));
    connect(fromFile_, &QPushButton::clicked, this, [this] { choose(false); });
    connect(fromFolder_, &QPushButton::clicked, this, [this] { choose(true); });
    connect(cancel_, &QPushButton::clicked, this, [this] { installing_.cancel(); });
    connect(remove_, &QPushButton::clicked, this, &ModelList::remove);
    connect(list_, &QTreeWidget::itemSelectionChanged, this,
            [this] { remove_->setEnabled(!selected().empty()); });
    setBusy(false);
}

/// Others install models, too.
void ModelList::showEvent(QShowEvent* event) {
    QWidget::showEvent(event);
    tasks_.spawn(look());
}

void ModelList::build() {
    list_->setHeaderLabels({label("Language"), label("State")});
    list_->setRootIsDecorated(false);
    list_->setAccessibleName(label("Models on this device"));
    list_->setMinimumHeight(fontMetrics().lineSpacing() * shownRows * 2);
    list_->setSizeAdjustPolicy(QAbstractScrollArea::AdjustToContents);
    for (const auto* code : {"mixed", "en", "zh"})
        language_->addItem(languageName(code), QString::fromLatin1(code));
    for (const auto& language : furtherLanguages())
        language_->addItem(language.name, fromText(language.code));
    progress_->setRange(0, 0);
    progress_->setAccessibleName(label("The model is being installed"));
    cancel_->setAccessibleName(label("Cancel the installation"));
    auto* underWay = new QHBoxLayout;
    underWay->addWidget(progress_, 1);
    underWay->addWidget(cancel_);
    auto* of = new QLabel(label("&Language of a new model:"));
    of->setBuddy(language_);
    auto* choice = new QHBoxLayout;
    choice->addWidget(of);
    choice->addWidget(language_);
    choice->addStretch();
    auto* row = new QHBoxLayout;
    row->addWidget(fromFile_);
    row->addWidget(fromFolder_);
    row->addStretch();
    row->addWidget(remove_);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->addWidget(list_, 1);
    column->addWidget(state_);
    addOffers(*column);
    column->addLayout(underWay);
    column->addLayout(choice);
    column->addLayout(row);
}

void ModelList::addOffers(QVBoxLayout& column) {
    const auto installed = [this](const std::string& language) {
        installed_(language);
        tasks_.spawn(look());
    };
    for (const auto& model : services_.download.offered()) {
        auto* offer =
            new ModelOffer({services_.loop, services_.download, messages_, installed}, model);
        offer->hide();
        column.addWidget(offer);
        offers_.push_back(offer);
    }
}

void ModelList::setBusy(bool isBusy) {
    progress_->setVisible(isBusy);
    cancel_->setVisible(isBusy);
    fromFile_->setEnabled(!isBusy);
    fromFolder_->setEnabled(!isBusy);
    remove_->setEnabled(!isBusy && !selected().empty());
}

std::string ModelList::selected() const {
    const auto items = list_->selectedItems();
    return items.isEmpty() ? std::string()
                           : toText(items.front()->data(0, Qt::UserRole).toString());
}

void ModelList::choose(bool isFolder) {
    auto* dialog = new QFileDialog(
        window(), isFolder ? label("The Model's Folder") : label("The Model's Archive"));
    dialog->setAttribute(Qt::WA_DeleteOnClose);
    dialog->setFileMode(isFolder ? QFileDialog::Directory : QFileDialog::ExistingFile);
    if (!isFolder)
        dialog->setNameFilters(
            {label("Archives (*.zip *.tar *.tar.* *.tgz)"), label("All files (*)")});
    connect(dialog, &QFileDialog::fileSelected, this, [this](const QString& path) {
        setBusy(true);
        installing_ =
            tasks_.spawn(install(toText(path), toText(language_->currentData().toString())));
    });
    dialog->open();
}

void ModelList::remove() {
    const auto language = selected();
    askFirst(
        this,
        {label("Remove the model for “{}”?", toText(list_->selectedItems().front()->text(0))),
         label("Its files are deleted. Speech in this language is then no longer recognised on "
               "this device."),
         label("Remove")},
        [this, language] { tasks_.spawn(removeNow(language)); });
}

void ModelList::show(const Found& found) {
    list_->clear();
    for (const auto& model : found.models) {
        auto* item = new QTreeWidgetItem(list_);
        item->setText(0, languageName(model.language));
        item->setData(0, Qt::UserRole, fromText(model.language));
        item->setText(1, model.problem.empty() ? label("Ready") : label(model.problem));
        item->setToolTip(1, fromText(model.folder.string()));
    }
    list_->resizeColumnToContents(0);
    for (auto* offer : offers_)
        offer->setVisible(offer->isFetching() ||
                          std::ranges::none_of(found.models, [offer](const auto& model) {
                              return model.language == offer->language() && model.problem.empty();
                          }));
    QStringList sentences;
    if (found.models.empty())
        sentences << label(
            "There are no models yet. Download one, or install a Vosk model for your language; "
            "then "
            "speech is recognised without a server.");
    if (!found.hasEngine)
        sentences << label(
            "The speech engine's library (libvosk.so) is not installed; models cannot be used "
            "without it.");
    state_->setText(sentences.join(QLatin1Char('\n')));
    state_->setVisible(!sentences.isEmpty());
}

asio::awaitable<void> ModelList::look() {
    auto work = [models = services_.models, engines = services_.engineFolders] {
        return Found{models.list(), VoskLibrary::find(engines).has_value()};
    };
    show(co_await services_.worker->run(std::move(work)));
}

asio::awaitable<void> ModelList::install(std::filesystem::path source, std::string language) {
    struct Busy {
        ModelList& list;
        ~Busy() { list.setBusy(false); }
    };
    const Busy busy{*this};
    auto work = [models = services_.models, source = std::move(source), language](
                    const std::stop_token& stop) { return models.install(source, language, stop); };
    const auto installed = co_await services_.worker->run(std::move(work));
    co_await checkpoint();
    if (installed)
        installed_(language);
    else
        messages_.showError(fromText(installed.error()));
    co_await look();
}

asio::awaitable<void> ModelList::removeNow(std::string language) {
    auto work = [models = services_.models, language] { return models.remove(language); };
    if (const auto removed = co_await services_.worker->run(std::move(work)); !removed)
        messages_.showError(label(removed.error()));
    co_await look();
}

}  // namespace quillet
