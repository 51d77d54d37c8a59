#include "ui/guide/RecognitionStep.h"

#include <QFormLayout>
#include <QLabel>
#include <QRadioButton>
#include <QSignalBlocker>
#include <QStyle>
#include <QVBoxLayout>
#include <nlohmann/json.hpp>

#include "speech/VoskLibrary.h"
#include "ui/kit/UiText.h"
#include "ui/settings/Languages.h"

namespace quillet {

RecognitionStep::RecognitionStep(const Binding& binding, Services services, std::string interface)
    : RecognitionPage(binding, std::move(services), Parts::none),
      interface_(std::move(interface)),
      state_(new QLabel) {
    addLanguage(*addSection(label("Language")));
    // Not a form, which squeezes its rows when the height of one changes.
    auto* column = new QVBoxLayout;
    column->setContentsMargins(style()->pixelMetric(QStyle::PM_LayoutLeftMargin), 0, 0, 0);
    addColumn(label("Recognition"))->addLayout(column);
    addPlace(*column, STTEngineType::apple, label("On this &device"),
             label("Nothing leaves it, and it works without a network. Sentences that mix Chinese "
                   "and English need a server."));
    addModelState(*column);
    addPlace(*column, STTEngineType::cloud, label("By a ser&ver"),
             label("Often better, also with mixed sentences. It needs a key of yours, or a server "
                   "of your own."));
    const auto* presets = addPresets();
    follow([this, presets] {
        presets->parentWidget()->setVisible(record().sttEngineType == STTEngineType::cloud);
    });
    addServer();
    addCloudflare();
}

int RecognitionStep::indent() const {
    return style()->pixelMetric(QStyle::PM_ExclusiveIndicatorWidth) +
           style()->pixelMetric(QStyle::PM_RadioButtonLabelSpacing);
}

void RecognitionStep::addPlace(QVBoxLayout& column, STTEngineType engine, const QString& name,
                               const QString& description) {
    auto* button = new QRadioButton(name);
    button->setAccessibleDescription(description);
    auto* note = newNote(description);
    note->setIndent(indent());
    column.addWidget(button);
    column.addWidget(note);
    connect(button, &QRadioButton::toggled, this, [this, engine](bool isOn) {
        if (isOn)
            save("sttEngineType", storedName(engine));
    });
    follow([this, button, engine] {
        const QSignalBlocker quiet(button);
        const bool isOn = record().sttEngineType == engine;
        button->setChecked(isOn);
        // Tab goes to the one that is on, wherever it comes from.
        button->setFocusPolicy(isOn ? Qt::StrongFocus : Qt::ClickFocus);
    });
}

RecognitionStep::~RecognitionStep() {
    deleteControls();
}

void RecognitionStep::addModelState(QVBoxLayout& column) {
    auto* inner = new QVBoxLayout;
    inner->setContentsMargins(indent(), 0, 0, 0);
    column.addLayout(inner);
    state_->setWordWrap(true);
    inner->addWidget(state_);
    const auto& models = services().models;
    const auto installed = [this](const std::string& language) {
        // Who has chosen another language meanwhile keeps it.
        messages().showInfo(
            label("The model for {} is installed.", toText(languageName(language))));
        showModelState();
    };
    for (const auto& model : models.download.offered()) {
        auto* offer = new ModelOffer({models.loop, models.download, messages(), installed}, model);
        inner->addWidget(offer);
        offers_.push_back(offer);
    }
    follow([this] { showModelState(); });
}

void RecognitionStep::showModelState() {
    const bool isHere = record().sttEngineType == STTEngineType::apple;
    const auto language = spokenLanguage();
    const auto& models = services().models;
    const bool isMissing = VoskLibrary::find(models.engineFolders) && !models.models.find(language);
    for (auto* offer : offers_) {
        const bool isUnderWay = offer->isFetching() && !models.models.find(offer->language());
        offer->setVisible(isUnderWay || (isHere && isMissing && offer->language() == language));
    }
    state_->setVisible(isHere);
    state_->setText(modelState());
}

QString RecognitionStep::modelState() const {
    const auto& models = services().models;
    const auto language = spokenLanguage();
    const auto name = toText(languageName(language));
    if (!VoskLibrary::find(models.engineFolders))
        return label(
            "The speech engine's library (libvosk.so) is not installed; models cannot be used "
            "without it.");
    if (models.models.find(language))
        return label("Ready: the model for {} is installed.", name);
    if (models.download.find(language) != nullptr)
        return label("It needs a model for {}, which is downloaded once.", name);
    if (language == "mixed")
        return label("Choose English or Chinese above, or a server.");
    return label(
        "There is no model for {} to download here. Install one from a file in Settings → "
        "Recognition, or choose a server.",
        name);
}

/// Who has never chosen cannot know that mixed speech is not recognised here.
void RecognitionStep::showEvent(QShowEvent* event) {
    RecognitionPage::showEvent(event);
    expectOwnLanguage();
    showModelState();
}

void RecognitionStep::expectOwnLanguage() {
    const auto& models = services().models;
    if (record().sttEngineType != STTEngineType::apple || spokenLanguage() != "mixed" ||
        models.models.find("mixed"))
        return;
    const auto* own = interface_.starts_with("zh") ? "zh" : "en";
    if (models.models.find(own) || models.download.find(own) != nullptr)
        save("selectedLanguage", languageSetting(own));
}

}  // namespace quillet
