#include "ui/settings/ModelOffer.h"

#include <QHBoxLayout>
#include <QLabel>
#include <QProgressBar>
#include <QPushButton>
#include <QVBoxLayout>

#include "ui/kit/UiText.h"
#include "ui/settings/Languages.h"

namespace quillet {

ModelOffer::ModelOffer(const Services& services, OfferedModel model)
    : services_(services),
      model_(std::move(model)),
      text_(new QLabel),
      download_(new QPushButton(label("Download"))),
      cancel_(new QPushButton(label("Cancel"))),
      progress_(new QProgressBar),
      tasks_(services_.loop) {
    const auto name = toText(languageName(model_.language));
    text_->setWordWrap(true);
    download_->setAccessibleName(label("Download the model for {}", name));
    cancel_->setAccessibleName(label("Cancel the download for {}", name));
    progress_->setAccessibleName(label("Download of the model for {}", name));
    auto* row = new QHBoxLayout;
    row->addWidget(text_, 1);
    row->addWidget(download_);
    row->addWidget(cancel_);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->addLayout(row);
    column->addWidget(progress_);
    connect(download_, &QPushButton::clicked, this, &ModelOffer::start);
    connect(cancel_, &QPushButton::clicked, this, [this] { fetching_.cancel(); });
    showIdle();
}

void ModelOffer::start() {
    services_.messages.clear();
    fetching_ = tasks_.spawn(fetch());
    const bool hadFocus = download_->hasFocus();
    download_->hide();
    cancel_->show();
    if (hadFocus)
        cancel_->setFocus();
    progress_->setRange(0, 0);
    progress_->show();
}

void ModelOffer::showIdle() {
    const bool hadFocus = cancel_->hasFocus();
    text_->setText(label("{}: {:.0f} MB from {}", toText(languageName(model_.language)),
                         model_.megabytes(), model_.host()));
    download_->show();
    if (hadFocus)
        download_->setFocus();
    cancel_->hide();
    progress_->hide();
}

void ModelOffer::showProgress(std::uint64_t bytes) {
    if (bytes == model_.bytes) {
        progress_->setRange(0, 0);
        text_->setText(label("{} is being installed…", toText(languageName(model_.language))));
        return;
    }
    progress_->setRange(0, static_cast<int>(model_.bytes / 1'000));
    progress_->setValue(static_cast<int>(bytes / 1'000));
    progress_->setFormat(label("{:.1f} of {:.1f} MB", inMegabytes(bytes), model_.megabytes()));
}

asio::awaitable<void> ModelOffer::fetch() {
    struct Shown {
        ModelOffer& offer;
        ~Shown() { offer.showIdle(); }
    };
    const Shown shown{*this};
    auto show = [this](std::uint64_t bytes) { showProgress(bytes); };
    const auto installed = co_await services_.download.run(model_, std::move(show));
    if (installed)
        services_.installed(model_.language);
    else
        services_.messages.showError(fromText(installed.error()));
}

}  // namespace quillet
