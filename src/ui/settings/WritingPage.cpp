#include "ui/settings/WritingPage.h"

#include <QButtonGroup>
#include <QCheckBox>
#include <QComboBox>
#include <QDoubleSpinBox>
#include <QFormLayout>
#include <QLabel>
#include <QRadioButton>
#include <QSignalBlocker>

#include "refine/LLMProvider.h"
#include "ui/kit/UiText.h"
#include "ui/settings/SendKeyChoice.h"
#include "ui/settings/TextSetting.h"

namespace quillet {

namespace {

struct Mode {
    DictationOutputMode mode;
    std::string_view name;
    std::string_view meaning;
};
constexpr Mode modes[] = {
    {DictationOutputMode::raw, toTranslate("&Raw"),
     toTranslate("As you said it. Fillers, punctuation and your vocabulary are seen to on this "
                 "device; no language model is asked.")},
    {DictationOutputMode::smart, toTranslate("&Smart"),
     toTranslate("The language model takes out slips and repeats and lays out lists. Your words "
                 "stay yours.")},
    {DictationOutputMode::polish, toTranslate("P&olish"),
     toTranslate("The language model rewrites what you said into well-formed sentences.")},
};

const LLMProvider* providerInForce(const QuilletSettings& settings) {
    const auto all = llmProviders();
    const auto found = std::ranges::find(all, settings.llmBaseURL, &LLMProvider::baseURL);
    return settings.llmBaseURL.empty() || found == all.end() ? nullptr : &*found;
}

constexpr double delayStep = 0.5;

}  // namespace

WritingPage::WritingPage(const Binding& binding, Services services)
    : SettingsPage(binding), services_(services) {
    addModes();
    addModel();
    addContext();
    addSending();
}

WritingPage::~WritingPage() {
    deleteControls();
}

void WritingPage::addModes() {
    auto* form = addSection(label("What Is Written"));
    auto* group = new QButtonGroup(this);
    for (const auto& mode : modes) {
        auto* button = new QRadioButton(label(mode.name));
        group->addButton(button, static_cast<int>(mode.mode));
        addExplained(*form, *button, label(mode.meaning));
    }
    auto* needs = addNote(
        *form, label("Smart and Polish need the language model below. Until it is set up, what is "
                     "written is what was heard."));
    connect(group, &QButtonGroup::idClicked, this, [this](int id) {
        change([id](QuilletSettings& all) {
            all.dictationOutputMode = static_cast<DictationOutputMode>(id);
        });
    });
    follow([this, group, needs] {
        const auto mode = record().effectiveOutputMode();
        group->button(static_cast<int>(mode))->setChecked(true);
        needs->setVisible(mode != DictationOutputMode::raw && !services_.llm.isConfigured());
    });
    addText(*form, {"translationTarget", label("Trans&lations into:"), QStringLiteral("English"),
                    QString()});
}

void WritingPage::addModel() {
    auto* form = addSection(label("Language Model"));
    addSwitch(*form, "llmEnabled", label("&Use a language model"),
              label("It tidies what you dictate, carries out spoken commands, translates, and "
                    "writes the notes of meetings."));
    addProvider(*form);
    addText(*form, {"llmBaseURL", label("&Address:"), QStringLiteral("https://example.com/v1"),
                    label("Enter a complete address that begins with http:// or https:// and holds "
                          "no user name or password.")});
    addText(*form, {"llmModel", label("&Model:"), label("The model's name, as its server knows it"),
                    QString()});
    auto* key =
        new KeySetting({services_.loop, settings(), services_.keychain},
                       {"llmAPIKey", label("Key"), label("Optional for a server of your own"),
                        [this] { return record().llmBaseURL; }});
    form->addRow(label("&Key:"), key);
    follow([this, key, address = record().llmBaseURL]() mutable {
        if (std::exchange(address, record().llmBaseURL) != record().llmBaseURL)
            key->refresh();
    });
    addBelow(*form, *new ConnectionTest(services_.loop, [this] { return test(); }));
}

void WritingPage::addProvider(QFormLayout& form) {
    auto* box = new QComboBox;
    box->addItem(label("Another server"), QString());
    for (const auto& provider : llmProviders()) {
        for (const auto& model : provider.models) {
            const auto name =
                provider.models.size() == 1
                    ? label(provider.name)
                    : label("{} — {}", translated(provider.name), translated(model.name));
            box->addItem(name, fromText(provider.baseURL) + QLatin1Char('\n') + fromText(model.id));
        }
    }
    form.addRow(label("&Provider:"), box);
    auto* where = addNote(form, {});
    where->setOpenExternalLinks(true);
    connect(box, &QComboBox::activated, this,
            [this, box] { useProvider(box->currentData().toString()); });
    follow([this, box, where] {
        const auto stored =
            fromText(record().llmBaseURL) + QLatin1Char('\n') + fromText(record().llmModel);
        box->setCurrentIndex(std::max(0, box->findData(stored)));
        const auto* provider = providerInForce(record());
        where->setVisible(provider != nullptr);
        if (provider != nullptr)
            where->setText(QStringLiteral("<a href=\"%1\">%2</a>")
                               .arg(fromText(provider->keyURL), label("Get a key")));
    });
}

void WritingPage::useProvider(const QString& choice) {
    if (choice.isEmpty())
        return;
    change([&choice](QuilletSettings& all) {
        all.llmBaseURL = toText(choice.section(QLatin1Char('\n'), 0, 0));
        all.llmModel = toText(choice.section(QLatin1Char('\n'), 1, 1));
    });
}

void WritingPage::addContext() {
    auto* form = addSection(label("Context"));
    addSwitch(*form, "useFocusedContext", label("Read the text before the &cursor"),
              label("It goes to the language model, so that what you say fits what is there. "
                    "Password fields are never read."));
    addSwitch(*form, "useScreenTerms", label("Read &names and terms off the window in front"),
              label("They help to spell what you say, and go to the language model with it."));
}

void WritingPage::addSending() {
    auto* form = addSection(label("Sending"));
    addSwitch(*form, "autoSend", label("Press the send key after a &dictation"),
              label("For applications that have no profile of their own in Apps. A message can be "
                    "held back until then: Esc, or going on typing."));
    addChoice(*form, "sendKey", label("Send k&ey:"),
              {{shownName(SendKeyType::enter), std::string(storedName(SendKeyType::enter))},
               {shownName(SendKeyType::cmdEnter), std::string(storedName(SendKeyType::cmdEnter))}});
    auto* delay = new QDoubleSpinBox;
    delay->setRange(0, longestSendDelay);
    delay->setSingleStep(delayStep);
    delay->setDecimals(1);
    delay->setAccessibleName(label("Wait before sending"));
    form->addRow(label("&Wait before sending, in seconds:"), delay);
    // A value that is being typed is none yet.
    delay->setKeyboardTracking(false);
    const auto keep = [this, delay] {
        if (delay->value() != record().autoSendDelay)
            change([delay](QuilletSettings& all) { all.autoSendDelay = delay->value(); });
    };
    connect(delay, &QDoubleSpinBox::valueChanged, this, keep);
    whenLeft([delay, keep] {
        delay->interpretText();
        keep();
    });
    follow([this, delay] {
        const QSignalBlocker quiet(delay);
        delay->setValue(record().autoSendDelay);
    });
}

asio::awaitable<ConnectionTest::Report> WritingPage::test() {
    auto report = co_await services_.llm.testConnection();
    co_return ConnectionTest::Report{report.reachable, std::move(report.sentence)};
}

}  // namespace quillet
