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
      state_(newNote({})) {
    addLanguage(*addSection(label("What you speak")));
    auto* form = addSection(label("Where it is written down"));
    addPlace(*form, STTEngineType::apple, label("On this &device"),
             label("Nothing leaves it, and it works without a network. Sentences that mix Chinese "
                   "and English need a server."));
    addModelState(*form);
    addPlace(*form, STTEngineType::cloud, label("By a ser&ver"),
             label("Often better, also with mixed sentences. It needs a key of yours, or a server "
                   "of your own."));
    auto* presets = addPresets();
    follow([this, presets] {
        presets->parentWidget()->setVisible(record().sttEngineType == STTEngineType::cloud);
    });
    addServer();
    addCloudflare();
}

QRadioButton* RecognitionStep::addPlace(QFormLayout& form, STTEngineType engine,
                                        const QString& name, const QString& description) {
    auto* button = new QRadioButton(name);
    addExplained(form, *button, description);
    connect(button, &QRadioButton::toggled, this, [this, engine](bool isOn) {
        if (isOn)
            save("sttEngineType", storedName(engine));
    });
    follow([this, button, engine] {
        const QSignalBlocker quiet(button);
        button->setChecked(record().sttEngineType == engine);
    });
    return button;
}

void RecognitionStep::addModelState(QFormLayout& form) {
    auto* box = new QWidget;
    auto* column = new QVBoxLayout(box);
    column->setContentsMargins(style()->pixelMetric(QStyle::PM_IndicatorWidth) +
                                   style()->pixelMetric(QStyle::PM_CheckBoxLabelSpacing),
                               0, 0, 0);
    column->addWidget(state_);
    const auto& models = services().models;
    const auto installed = [this](const std::string& language) {
        tellInstalled(language);
        showModelState();
    };
    for (const auto& model : models.download.offered()) {
        auto* offer = new ModelOffer({models.loop, models.download, messages(), installed}, model);
        column->addWidget(offer);
        offers_.push_back(offer);
    }
    form.addRow(box);
    follow([this] { showModelState(); });
}

void RecognitionStep::showModelState() {
    const bool isHere = record().sttEngineType == STTEngineType::apple;
    const auto language = spokenLanguage();
    const bool isThere = services().models.models.find(language).has_value();
    bool isOffered = false;
    for (auto* offer : offers_) {
        const bool isWanted = isHere && !isThere && offer->language() == language;
        offer->setVisible(isWanted);
        isOffered = isOffered || isWanted;
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
