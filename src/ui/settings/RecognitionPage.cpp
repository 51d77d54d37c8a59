#include "ui/settings/RecognitionPage.h"

#include <QCheckBox>
#include <QComboBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>
#include <nlohmann/json.hpp>

#include "settings/CloudflareAccount.h"
#include "settings/ServicePreset.h"
#include "speech/SpeechServer.h"
#include "speech/TranscriptionRequest.h"
#include "ui/kit/UiText.h"
#include "ui/kit/WallTime.h"
#include "ui/settings/Languages.h"
#include "ui/settings/RemainingSteps.h"
#include "ui/settings/TextSetting.h"

namespace quillet {

RecognitionPage::RecognitionPage(const Binding& binding, Services services)
    : RecognitionPage(binding, std::move(services), Parts::all) {}

RecognitionPage::RecognitionPage(const Binding& binding, Services services, Parts parts)
    : SettingsPage(binding), services_(std::move(services)) {
    if (parts == Parts::none)
        return;
    addLastFailure();
    addEngine();
    addPresets();
    addServer();
    addBackup();
    addCloudflare();
    addModels();
}

void RecognitionPage::addEngine() {
    auto* form = addSection(label("Speech"));
    addChoice(*form, "sttEngineType", label("&Recognised:"),
              {{label("On this device"), std::string(storedName(STTEngineType::apple))},
               {label("By a server, or by this device when it fails"),
                std::string(storedName(STTEngineType::cloud))}});
    addLanguage(*form);
}

void RecognitionPage::addLanguage(QFormLayout& form) {
    std::vector<Choice> languages;
    for (const auto* code : {"mixed", "en", "zh"})
        languages.push_back({languageName(code), languageSetting(code)});
    for (const auto& language : furtherLanguages())
        languages.push_back({language.name, language.code});
    addChoice(form, "selectedLanguage", label("You &speak:"), languages);
}

QFormLayout* RecognitionPage::addPresets() {
    auto* form = addSection(label("Services"));
    auto* box = new QComboBox;
    box->addItem(label("Your own choice"), QString());
    for (const auto& preset : servicePresets())
        box->addItem(label(preset.name), fromText(preset.id));
    form->addRow(label("&Preset:"), box);
    auto* note = addNote(*form, {});
    note->setOpenExternalLinks(true);
    auto* steps = addNote(*form, {});
    connect(box, &QComboBox::activated, this,
            [this, box] { usePreset(toText(box->currentData().toString())); });
    follow([this, box, note, steps] {
        const auto* current = presetInForce(record());
        box->setCurrentIndex(current == nullptr ? 0 : box->findData(fromText(current->id)));
        showPreset(*note, *steps);
    });
    return form;
}

RecognitionPage::~RecognitionPage() {
    deleteControls();
}

void RecognitionPage::showPreset(QLabel& note, QLabel& steps) {
    const auto* current = presetInForce(record());
    if (current == nullptr) {
        note.setText(
            label("A preset sets up a speech server and a language model that go well together."));
    } else {
        note.setText(label(current->note).toHtmlEscaped());
        if (current->keyURL)
            note.setText(note.text() + QStringLiteral(" <a href=\"%1\">%2</a>")
                                           .arg(fromText(*current->keyURL), label("Get a key")));
    }
    const auto left = remainingSteps(record());
    steps.setText(left.join(QLatin1Char('\n')));
    steps.setVisible(current != nullptr && !left.isEmpty());
}

void RecognitionPage::usePreset(std::string_view id) {
    const auto* preset = findPreset(id);
    if (preset == nullptr || preset == presetInForce(record()))
        return;
    auto before = record();
    if (!change([preset](QuilletSettings& all) { applyPreset(all, *preset); }))
        return;
    messages().showInfo(label("{} is set up for speech and for rewriting.", preset->name),
                        label("Undo"), [this, before = std::move(before)] {
                            change([&before](QuilletSettings& all) {
                                all.sttEndpoint = before.sttEndpoint;
                                all.sttModel = before.sttModel;
                                all.llmBaseURL = before.llmBaseURL;
                                all.llmModel = before.llmModel;
                            });
                        });
}

KeySetting* RecognitionPage::addKey(QFormLayout& form, const QString& name, KeySetting::Key key) {
    key.name = withoutMnemonic(name);
    auto* field = new KeySetting({services_.loop, settings(), services_.keychain}, std::move(key));
    whenLeft([field] { field->commit(); });
    form.addRow(name, field);
    keys_.push_back(field);
    return field;
}

void RecognitionPage::addServer() {
    auto* form = addSection(label("Speech Server"));
    addText(*form, {"sttEndpoint", label("&Address:"),
                    QStringLiteral("https://example.com/v1/audio/transcriptions"),
                    label("Enter a complete address that begins with http:// or https:// and holds "
                          "no user name or password.")});
    addText(*form, {"sttModel", label("&Model:"), label("Optional — e.g. whisper-1"), QString()});
    auto* key =
        addKey(*form, label("&Key:"),
               {"sttAPIKey", {}, label("Optional — leave empty if endpoint injects auth"), [this] {
                    return record().sttEndpoint;
                }});
    auto* test = new ConnectionTest(services_.loop, [this] { return this->test(); });
    addBelow(*form, *test);
    follow([this, form, key, address = std::string()]() mutable {
        form->parentWidget()->setVisible(record().sttEngineType == STTEngineType::cloud);
        form->setRowVisible(key, !isCloudflareWhisper(record().sttEndpoint));
        if (std::exchange(address, record().sttEndpoint) != record().sttEndpoint) {
            for (auto* one : keys_)
                one->refresh();
        }
    });
}

std::string RecognitionPage::cloudflareAddress() const {
    return isCloudflareWhisper(record().sttEndpoint)
               ? record().sttEndpoint
               : cloudflareWhisperUrl(record().cloudflareAccount);
}

void RecognitionPage::addCloudflare() {
    auto* form = addSection(label("Cloudflare"));
    addText(*form, {"cloudflareAccount", label("A&ccount ID:"),
                    label("From your Cloudflare dashboard, or the address of that page"),
                    label("Enter the 32 digits of the account ID, or an address that holds it.")});
    auto* token = addKey(*form, label("Toke&n:"),
                         {"cloudflareToken", {}, {}, [this] { return cloudflareAddress(); }});
    token->onState([this](const KeyState& state) {
        hasToken_ = state.isUsable();
        showMissing();
    });
    follow([this, form] {
        const bool isOwnServer = record().sttEngineType == STTEngineType::cloud;
        form->parentWidget()->setVisible(
            (isOwnServer && (record().sttBackup || isCloudflareWhisper(record().sttEndpoint))) ||
            isCloudflareApi(record().llmBaseURL));
    });
}

/// Whisper at Cloudflare, for a server that is somebody else's.
void RecognitionPage::addBackup() {
    auto* form = addSection(label("Backup"));
    addSwitch(
        *form, "sttBackup", label("When the server is slow or down, ask Cloudflare too (free)"),
        label("If the server hasn't answered after a few seconds, or fails, the recording also "
              "goes to Cloudflare's Whisper; whichever answers first is used. Only then — a fast "
              "server never uses the free quota."));
    missing_ = addNote(*form, label("Needs Cloudflare set up: in one step, or with an account "
                                    "ID and a Workers AI token."));
    follow([this, form] {
        form->parentWidget()->setVisible(record().sttEngineType == STTEngineType::cloud &&
                                         !isCloudflareWhisper(record().sttEndpoint));
        showMissing();
    });
}

void RecognitionPage::showMissing() {
    if (missing_ == nullptr)
        return;  // a page without a backup
    missing_->setVisible(record().cloudflareAccount.empty() || !hasToken_);
}

void RecognitionPage::addModels() {
    auto* column = addColumn(label("Models on This Device"));
    column->addWidget(
        new ModelList(services_.models, messages(), spokenLanguage(),
                      [this](const std::string& language) { tellInstalled(language); }));
}

std::string RecognitionPage::spokenLanguage() const {
    return record().languageCode().value_or("mixed");
}

void RecognitionPage::tellInstalled(const std::string& language) {
    const auto name = toText(languageName(language));
    const bool isHeardHere = record().sttEngineType == STTEngineType::apple;
    if (!isHeardHere || services_.models.models.find(spokenLanguage())) {
        messages().showInfo(label("The model for {} is installed.", name));
        return;
    }
    const auto before = record().selectedLanguage;
    save("selectedLanguage", languageSetting(language));
    messages().showInfo(
        label("The model for {0} is installed, and Quillet now expects you to speak {0}.", name),
        label("Undo"), [this, before] { save("selectedLanguage", before); });
}

void RecognitionPage::addLastFailure() {
    auto* form = addSection(label("Last Failure"));
    auto* sentence = addNote(*form, {});
    sentence->setTextInteractionFlags(Qt::TextSelectableByMouse);
    const auto show = [this, form, sentence] {
        const auto& failure = services_.session.lastSTTError();
        form->parentWidget()->setVisible(failure.has_value());
        if (failure)
            sentence->setText(dayAndTimeText(failure->at, services_.calendar) +
                              QStringLiteral(" — ") + label(failure->error.longText()));
    };
    show();
    on(sttErrorNotification, show);
    on(stateChangedNotification, show);
}

asio::awaitable<ConnectionTest::Report> RecognitionPage::test() {
    if (record().sttEndpoint.empty())
        co_return ConnectionTest::Report{false, "Enter the speech server's address first."};
    const auto address = resolvedAddress(record().sttEndpoint, record().cloudflareAccount)
                             .value_or(record().sttEndpoint);
    const auto key = co_await settings().secretFor(std::string(speechKeyName(address)), address);
    auto report = co_await services_.speech.testConnection(address, key.value_or(""));
    // A server that needs no key answers all the same.
    if (!report.reachable && !key)
        report.sentence = std::string(explanation(key.error()));
    co_return ConnectionTest::Report{report.reachable, std::move(report.sentence)};
}

}  // namespace quillet
