#include <gtest/gtest.h>

#include <QCheckBox>
#include <QComboBox>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QTreeView>
#include <nlohmann/json.hpp>

#include "platform/linux/SteadyScheduler.h"
#include "settings/ServicePreset.h"
#include "ui/kit/MessageBar.h"
#include "ui/kit/UiText.h"
#include "ui/settings/KeyNames.h"
#include "ui/settings/KeyState.h"
#include "ui/settings/MCPPage.h"
#include "ui/settings/PrivacyPage.h"
#include "ui/settings/RecognitionPage.h"
#include "ui/settings/RemainingSteps.h"
#include "ui/settings/SnippetModel.h"
#include "ui/settings/VocabularyPage.h"
#include "world/World.h"

namespace quillet {
namespace {

using world::World;

// --- What pages say ------------------------------------------------------------------------------

TEST(KeyState, AKeyOfAnotherServerIsOfNoUse) {
    const KeyState own{true, "api.groq.com", "api.groq.com"};
    const KeyState foreign{true, "api.openai.com", "api.groq.com"};
    const KeyState fresh{true, "", "api.groq.com"};
    const KeyState locked{std::unexpected(Keychain::Error::locked), "api.groq.com", "api.groq.com"};
    EXPECT_TRUE(own.isUsable());
    EXPECT_TRUE(fresh.isUsable()) << "it belongs to the first server that needs it";
    EXPECT_FALSE(foreign.isUsable());
    EXPECT_FALSE(locked.isUsable());
    EXPECT_TRUE(foreign.sentence().contains(QStringLiteral("api.openai.com")));
    EXPECT_NE(locked.sentence(), (KeyState{false, {}, {}}.sentence()))
        << "a locked keyring is not one without the key";
}

TEST(RemainingSteps, NameWhatKeepsServicesFromBeingUsed) {
    QuilletSettings settings;
    EXPECT_TRUE(remainingSteps(settings).isEmpty());
    applyPreset(settings, *findPreset("cloudflare"));
    EXPECT_EQ(remainingSteps(settings).size(), 3) << "account, engine and language model";
    settings.cloudflareAccount = std::string(32, 'a');
    settings.sttEngineType = STTEngineType::cloud;
    settings.llmEnabled = true;
    EXPECT_TRUE(remainingSteps(settings).isEmpty());
}

TEST(KeyNames, AreReadAsUsersWriteThem) {
    const std::vector<std::string> expected = {"Menu", "Control_R", "F13"};
    EXPECT_EQ(keyNamesIn(" Menu,Control_R，F13, Menu ,"), expected);
    EXPECT_TRUE(keyNamesIn(" , ").empty());
    EXPECT_EQ(keyNamesIn(joinedKeyNames(expected)), expected);
}

TEST(CheckSnippet, ASnippetNeedsATriggerOfItsOwn) {
    const std::vector<Snippet> all = {{"1", "My address", "Quillet Lane 7"}};
    EXPECT_FALSE(checkSnippet({"2", "my address!", "x"}, all)) << "said the same";
    EXPECT_TRUE(checkSnippet({"1", "my address!", "x"}, all)) << "it is the one that is edited";
    EXPECT_FALSE(checkSnippet({"2", "a.", "x"}, all));
    EXPECT_FALSE(checkSnippet({"2", "signature", ""}, all));
}

// --- Pages ---------------------------------------------------------------------------------------

template <class Widget>
Widget& named(QWidget& page, const char* accessibleName) {
    for (auto* widget : page.findChildren<Widget*>()) {
        if (widget->accessibleName() == fromText(accessibleName))
            return *widget;
    }
    throw std::runtime_error(std::string("There is no widget ") + accessibleName);
}

template <class Button>
Button& button(QWidget& page, const char* text) {
    for (auto* one : page.findChildren<Button*>()) {
        if (withoutMnemonic(one->text()) == fromText(text))
            return *one;
    }
    throw std::runtime_error(std::string("There is no button ") + text);
}

void type(QLineEdit& field, const char* text) {
    field.selectAll();
    field.insert(QString::fromUtf8(text));
}

void leave(QLineEdit& field) {
    Q_EMIT field.editingFinished();
}

class SettingsPages : public ::testing::Test {
protected:
    SettingsPage::Binding binding() { return {*world.settings, world.notifications, messages}; }
    std::unique_ptr<RecognitionPage> recognition() {
        ModelList::Services models{
            world.loop, SpeechModels(world.folder.path() / "models"), {}, world.queue, download};
        auto page = std::make_unique<RecognitionPage>(
            binding(),
            RecognitionPage::Services{world.loop, world.keychain, *world.speechClient,
                                      *world.session, world.calendar, std::move(models)});
        world.scheduler.drain();
        return page;
    }
    const QuilletSettings& record() { return world.settings->record(); }

    World world;
    MessageBar messages;
    ModelDownload download{{world.permission->downloads,
                            world.queue,
                            SpeechModels(world.folder.path() / "models"),
                            {}}};
};

TEST_F(SettingsPages, WhatIsNotAcceptedStaysBesideItsReason) {
    const auto page = recognition();
    const auto before = record().sttEndpoint;
    auto& address = named<QLineEdit>(*page, "Address");
    type(address, "speech.example.com");
    leave(address);
    EXPECT_EQ(record().sttEndpoint, before);
    EXPECT_EQ(address.text(), QStringLiteral("speech.example.com"));
    EXPECT_FALSE(address.accessibleDescription().isEmpty());

    type(address, " https://speech.example.com/v1/audio/transcriptions ");
    leave(address);
    EXPECT_EQ(record().sttEndpoint, "https://speech.example.com/v1/audio/transcriptions");
    EXPECT_EQ(toText(address.text()), record().sttEndpoint) << "shown as it is stored";
    EXPECT_TRUE(address.accessibleDescription().isEmpty());
}

TEST_F(SettingsPages, EveryFieldIsReachedByItsLabel) {
    const auto page = recognition();
    int reached = 0;
    for (const auto* name : page->findChildren<QLabel*>()) {
        if (name->buddy() == nullptr)
            continue;
        ++reached;
        EXPECT_NE(name->buddy()->focusPolicy(), Qt::NoFocus) << toText(name->text());
    }
    EXPECT_GE(reached, 8);
}

TEST_F(SettingsPages, FollowWhatIsChangedElsewhereButNotOverWhatIsTyped) {
    const auto page = recognition();
    auto& address = named<QLineEdit>(*page, "Address");
    auto& model = named<QLineEdit>(*page, "Model");
    type(model, "half ty");
    world.set("sttModel", "whisper-1");
    world.set("sttEndpoint", "https://other.example.com/v1/audio/transcriptions");
    EXPECT_EQ(address.text(), QStringLiteral("https://other.example.com/v1/audio/transcriptions"));
    EXPECT_EQ(model.text(), QStringLiteral("half ty"));
}

TEST_F(SettingsPages, WhatWasTypedIsSavedWhenTheWindowIsClosed) {
    const auto page = recognition();
    page->show();
    type(named<QLineEdit>(*page, "Model"), "whisper-large-v3");
    page->close();
    EXPECT_EQ(record().sttModel, "whisper-large-v3");
}

TEST_F(SettingsPages, AKeyIsStoredForItsServerAndNotShownAgain) {
    world.set("sttEndpoint", "https://speech.example.com/v1/audio/transcriptions");
    const auto page = recognition();
    auto& key = named<QLineEdit>(*page, "Key");
    EXPECT_EQ(key.echoMode(), QLineEdit::Password);
    type(key, " sk-secret ");
    leave(key);
    world.scheduler.drain();
    EXPECT_EQ(world.keychain.secrets["sttAPIKey"], "sk-secret");
    EXPECT_EQ(world.settings->secretHost("sttAPIKey"), "speech.example.com");
    EXPECT_TRUE(key.text().isEmpty());

    world.set("sttEndpoint", "https://other.example.com/v1/audio/transcriptions");
    world.scheduler.drain();
    EXPECT_TRUE(key.accessibleDescription().contains(QStringLiteral("is not sent to")));

    world.keychain.error = Keychain::Error::locked;
    world.set("sttEndpoint", "https://third.example.com/v1/audio/transcriptions");
    world.scheduler.drain();
    EXPECT_EQ(key.accessibleDescription(), label(explanation(Keychain::Error::locked)));
    EXPECT_FALSE(button<QPushButton>(*page, "Unlock Keyring…").isHidden());
}

TEST_F(SettingsPages, APresetCanBeTakenBack) {
    world.set("sttEndpoint", "https://mine.example.com/v1/audio/transcriptions");
    world.set("llmModel", "my-model");
    const auto page = recognition();
    const auto before = record();
    auto* presets = page->findChildren<QComboBox*>().at(2);
    const int groq = presets->findData(QStringLiteral("groq"));
    ASSERT_GE(groq, 0);
    presets->setCurrentIndex(groq);
    Q_EMIT presets->activated(groq);
    EXPECT_EQ(presetInForce(record()), findPreset("groq"));
    button<QPushButton>(messages, "Undo").click();
    EXPECT_EQ(record(), before);
    EXPECT_EQ(presets->currentIndex(), 0) << "a choice of the user's own is shown as that";
}

TEST_F(SettingsPages, DeletedPairsComeBackAsTheyWere) {
    const auto learn = [&](const char* source) {
        ASSERT_TRUE(world.await(world.vocabulary->learn("quill let", "Quillet", 1.0, source)));
    };
    learn("review");
    learn("review");
    VocabularyPage page(binding(), {{world.loop, *world.vocabulary, world.calendar}, world.ids});
    page.show();
    world.settle();
    const auto before = world.await(world.vocabulary->exportForSync());
    auto& table = named<QTreeView>(page, "Vocabulary");
    ASSERT_EQ(table.model()->rowCount(), 1);
    table.selectAll();
    button<QPushButton>(page, "Delete").click();
    world.settle();
    EXPECT_TRUE(world.await(world.vocabulary->allEntries())->empty());
    EXPECT_EQ(table.model()->rowCount(), 0);
    button<QPushButton>(messages, "Undo").click();
    world.settle();
    EXPECT_EQ(world.await(world.vocabulary->exportForSync()), before);
    EXPECT_EQ(table.model()->rowCount(), 1);
}

TEST_F(SettingsPages, ServicesAreDeniedAndForgotten) {
    const ServiceID service{ServicePurpose::speech, "speech.example.com"};
    PrivacyPage page(binding(),
                     {world.loop, *world.store, {}, world.permission->consent, world.calendar});
    auto& list = named<QTreeView>(page, "Services that were decided on");
    const int before = list.model()->rowCount();
    ASSERT_TRUE(world.permission->consent.decide(service, ConsentDecision::allowed));
    ASSERT_EQ(list.model()->rowCount(), before + 1) << "it follows";
    for (int row = 0; row <= before; ++row) {
        if (list.model()->index(row, 1).data() == QStringLiteral("speech.example.com"))
            list.setCurrentIndex(list.model()->index(row, 0));
    }
    button<QPushButton>(page, "Deny").click();
    EXPECT_EQ(world.permission->consent.decision(service), ConsentDecision::denied);
    EXPECT_FALSE(button<QPushButton>(page, "Deny").isEnabled()) << "and it stays chosen";
    button<QPushButton>(page, "Forget").click();
    EXPECT_EQ(world.permission->consent.decision(service), ConsentDecision::notAsked);
    EXPECT_EQ(list.model()->rowCount(), before);
}

/// The server for AI clients, which has a thread of its own.
class MCPSettingsPage : public SettingsPages {
protected:
    ~MCPSettingsPage() override {
        bool isDown = false;
        auto end = [](MCPService& service, bool& ended) -> asio::awaitable<void> {
            co_await service.shutDown();
            ended = true;
        };
        TaskScope tasks(world.loop);
        tasks.spawn(end(service, isDown));
        waitUntil([&isDown] { return isDown; });
    }
    void waitUntil(const std::function<bool()>& isSo) {
        while (!isSo())
            world.loop.waitAndDrainOne();
    }

    IoLoop loop{"mcp"};
    SteadyScheduler scheduler{loop};
    JsonRpcDispatcher rpc;
    MCPKey key{world.keychain, *world.ids};
    MCPServer server{{loop, scheduler, rpc, world.loop, key, world.log}, 0, {}};
    MCPService service{{world.loop, loop, world.notifications, *world.settings, key, server}};
};

TEST_F(MCPSettingsPage, TheKeyIsMadeAndShownOnlyWhileClientsAreLetIn) {
    MCPPage page(binding(), {world.loop, service});
    world.scheduler.drain();
    const auto& command = named<QPlainTextEdit>(page, "Setup command");
    EXPECT_TRUE(command.toPlainText().isEmpty());
    EXPECT_TRUE(world.keychain.secrets.empty()) << "no key is made for a look at the page";

    auto& isOn = button<QCheckBox>(page, "Let my AI use Quillet (local MCP server)");
    isOn.click();
    waitUntil([&command] { return !command.toPlainText().isEmpty(); });
    const auto made = world.keychain.secrets[std::string(MCPKey::keychainAccount)];
    EXPECT_TRUE(command.toPlainText().contains(fromText(made)));

    isOn.click();
    EXPECT_TRUE(command.toPlainText().isEmpty());
}

}  // namespace
}  // namespace quillet
