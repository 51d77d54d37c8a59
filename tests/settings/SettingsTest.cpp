#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "settings/AppProfileStore.h"
#include "settings/CloudflareAccount.h"
#include "settings/ServicePreset.h"
#include "world/World.h"

namespace quillet::world {
namespace {

using nlohmann::json;

class Settings : public ::testing::Test {
protected:
    std::unique_ptr<AppSettings> load() {
        return std::make_unique<AppSettings>(defaults, keychain, notifications, log);
    }

    SimLoop loop;
    ScriptedKeychain keychain;
    NotificationCenter notifications;
    MemoryUserDefaults defaults;
    std::shared_ptr<RecordingLogSink> sink = std::make_shared<RecordingLogSink>();
    Log log{sink, Log::PrivateText::hide};
};

TEST_F(Settings, ARecordOfAnyVersionDecodesAndKeepsWhatItDoesNotKnow) {
    defaults.set(
        "quilletSettingsV1",
        {{"selectedLanguage", "English"}, {"llmEnabled", true}, {"fromTheFuture", {1, 2}}});
    auto settings = load();
    EXPECT_EQ(settings->record().selectedLanguage, "English");
    EXPECT_TRUE(settings->record().snippets.empty());
    EXPECT_EQ(settings->record().sessionRetentionDays, 30);
    EXPECT_EQ(settings->record().sessionBlacklist.size(), 5U);
    EXPECT_EQ(settings->record().effectiveOutputMode(), DictationOutputMode::smart);
    EXPECT_EQ(settings->record().languageCode(), "en");
    settings->change([](QuilletSettings& record) { record.autoSend = true; });
    const auto stored = defaults.get("quilletSettingsV1").value();
    EXPECT_EQ(stored["fromTheFuture"], json({1, 2}));
    EXPECT_EQ(stored["autoSend"], true);
    EXPECT_FALSE(stored.contains("dictationOutputMode"));
}

TEST_F(Settings, AValueOfTheWrongTypeTakesItsDefaultAndIsNamed) {
    defaults.set("quilletSettingsV1", {{"autoSendDelay", "soon"}, {"sttModel", "whisper"}});
    auto settings = load();
    EXPECT_DOUBLE_EQ(settings->record().autoSendDelay, 1.5);
    EXPECT_EQ(settings->record().sttModel, "whisper");
    EXPECT_TRUE(sink->has("autoSendDelay"));
}

TEST_F(Settings, ARecordThatIsNoneIsSetAside) {
    defaults.set("quilletSettingsV1", "garbage");
    auto settings = load();
    EXPECT_EQ(settings->record(), QuilletSettings{});
    EXPECT_EQ(defaults.get("quilletSettingsV1.damaged"), json("garbage"));
}

TEST_F(Settings, OldSeparateKeysAreTakenOverOnce) {
    defaults.set("sttEndpoint", "https://old.example/v1/audio/transcriptions");
    defaults.set("sendKey", "cmdEnter");
    defaults.set("sessionRetentionDays", 7);
    EXPECT_EQ(load()->record().sessionRetentionDays, 7);
    defaults.set("sendKey", "enter");
    auto settings = load();
    EXPECT_EQ(settings->record().sendKey, SendKeyType::cmdEnter);
    EXPECT_EQ(settings->record().sttEndpoint, "https://old.example/v1/audio/transcriptions");
}

TEST_F(Settings, OldPlainKeysMoveToTheKeychainAndStayUntilTheyCan) {
    SimScheduler scheduler(loop);
    defaults.set("sttAPIKey", "secret");
    auto settings = load();
    const auto migrate = [&] {
        TaskScope tasks(loop);
        tasks.spawn(settings->migrateSecrets());
        scheduler.drain();
    };
    keychain.error = Keychain::Error::locked;
    migrate();
    EXPECT_EQ(defaults.get("sttAPIKey"), json("secret"));
    keychain.error.reset();
    migrate();
    EXPECT_FALSE(defaults.get("sttAPIKey"));
    EXPECT_EQ(keychain.secrets["sttAPIKey"], "secret");
}

TEST_F(Settings, BadValuesAreRefusedWithWhatIsAccepted) {
    auto settings = load();
    const std::pair<std::string_view, std::string_view> bad[] = {
        {"autoSendDelay", "-1"},           {"autoSendDelay", "61"},
        {"sessionRetentionDays", "0"},     {"sessionRetentionDays", "2.5"},
        {"sttEngineType", "magic"},        {"autoSend", "maybe"},
        {"sttEndpoint", "speech.example"}, {"llmBaseURL", "ftp://x/"},
        {"cloudflareAccount", "mine"},     {"selectedLanguage", "  "},
        {"snippets", "[{\"id\":1}]"},      {"sessionBlacklist", "x"}};
    for (const auto& [name, value] : bad) {
        const auto refused = settings->setFromText(name, value);
        ASSERT_FALSE(refused.has_value()) << name << ' ' << value;
        EXPECT_NE(refused.error().find("It takes"), std::string::npos) << refused.error();
    }
    EXPECT_FALSE(settings->setFromText("nonsense", "1").has_value());
    EXPECT_EQ(settings->record(), QuilletSettings{});
    EXPECT_TRUE(settings->setFromText("cloudflareAccount",
                                      "https://dash/accounts/0123456789abcdef0123456789ABCDEF/ai"));
    EXPECT_EQ(settings->record().cloudflareAccount, "0123456789abcdef0123456789ABCDEF");
    // A text that looks like a number is a text where a text is wanted.
    EXPECT_TRUE(settings->setFromText("sttModel", "123").has_value());
    EXPECT_EQ(settings->record().sttModel, "123");
    EXPECT_TRUE(settings->setFromText("sessionBlacklist", "[\"a.b\"]").has_value());
    EXPECT_FALSE(settings->isAllowed("a.b"));
}

TEST_F(Settings, AKeyIsOnlyForTheServerThatItWasGivenFor) {
    SimScheduler scheduler(loop);
    auto settings = load();
    const auto keyFor = [&](std::string url) {
        std::string key;
        TaskScope tasks(loop);
        auto ask = [&]() -> asio::awaitable<void> {
            key = (co_await settings->secretFor("sttAPIKey", url)).value_or("failed");
        };
        tasks.spawn(ask());
        scheduler.drain();
        return key;
    };
    keychain.secrets["sttAPIKey"] = "secret";
    EXPECT_EQ(keyFor("https://one.example/v1/audio/transcriptions"), "secret");
    EXPECT_EQ(keyFor("https://two.example/v1/audio/transcriptions"), "");
    EXPECT_EQ(keyFor("https://ONE.example/other"), "secret");
    EXPECT_EQ(keyFor("http://one.example/v1/audio/transcriptions"), "") << "in the clear";
    EXPECT_EQ(keyFor("https://one.example:8443/"), "") << "who knows who listens there";
    EXPECT_EQ(keyFor("nonsense"), "");
    EXPECT_EQ(settings->secretHost("sttAPIKey"), "one.example");

    defaults.set("secretHosts", {{"sttAPIKey", "one.example"}});  // as an early version stored it
    EXPECT_EQ(keyFor("https://one.example:8443/"), "secret");
    EXPECT_EQ(keyFor("http://one.example/"), "");
    EXPECT_EQ(keyFor("https://two.example/"), "");
}

TEST_F(Settings, PresetsHoldAddressesThatSettingsAccept) {
    for (const auto& preset : servicePresets()) {
        QuilletSettings typed;
        EXPECT_TRUE(applySettingText(typed, "sttEndpoint", preset.sttEndpoint)) << preset.id;
        EXPECT_TRUE(applySettingText(typed, "llmBaseURL", preset.llmBaseURL)) << preset.id;
        QuilletSettings record;
        record.translationTarget = "日本語";
        EXPECT_EQ(presetInForce(record), nullptr);
        applyPreset(record, preset);
        EXPECT_EQ(presetInForce(record), &preset);
        EXPECT_EQ(record.llmBaseURL, typed.llmBaseURL);
        EXPECT_EQ(record.sttEndpoint, typed.sttEndpoint);
        EXPECT_EQ(record.translationTarget, "日本語");
        record.llmModel += "-mini";
        EXPECT_EQ(presetInForce(record), nullptr);
    }
    EXPECT_EQ(findPreset("tailnet")->sttModel, "");
    EXPECT_FALSE(findPreset("tailnet")->keyURL);
    EXPECT_EQ(findPreset(""), nullptr);
}

TEST_F(Settings, AnAddressWithoutItsAccountIsNone) {
    const std::string id = "0123456789abcdef0123456789abcdef";
    EXPECT_EQ(resolvedAddress("https://a/accounts/ACCOUNT_ID/ai", "dash/" + id),
              "https://a/accounts/" + id + "/ai");
    EXPECT_EQ(resolvedAddress("ACCOUNT_IDACCOUNT_ID", id), id + id);
    EXPECT_EQ(resolvedAddress("https://other/v1", ""), "https://other/v1");
    for (const auto* account : {"", "mine", "ACCOUNT_ID"})
        EXPECT_FALSE(resolvedAddress("https://a/accounts/ACCOUNT_ID/ai", account)) << account;
}

TEST_F(Settings, ProfilesAreSeededOnce) {
    {
        AppProfileStore store(defaults, log);
        EXPECT_EQ(store.all().size(), 20U);
        EXPECT_EQ(store.profile("com.electron.lark")->sendKey, SendKeyType::cmdEnter);
        EXPECT_EQ(store.profile("com.tencent.xinWeChat")->sendKey, SendKeyType::enter);
        EXPECT_TRUE(store.profile("com.hnc.Discord")->autoSend);
        EXPECT_FALSE(store.profile("md.obsidian")->autoSend);
        EXPECT_FALSE(store.profile("md.obsidian")->autoSendDelay);
        ASSERT_TRUE(store.remove("md.obsidian"));
        EXPECT_FALSE(store.remove("md.obsidian"));
        AppProfile own{"org.example.chat", "Chat", SendKeyType::cmdEnter, true, 3.0};
        ASSERT_TRUE(store.set(own));
    }
    AppProfileStore again(defaults, log);
    EXPECT_FALSE(again.profile("md.obsidian"));
    EXPECT_EQ(again.profile("org.example.chat")->autoSendDelay, 3.0);
    ASSERT_TRUE(again.resetToDefaults());
    EXPECT_TRUE(again.profile("md.obsidian"));
    EXPECT_FALSE(again.profile("org.example.chat"));

    defaults.set("appProfilesV1", {{"x", 7}});
    again.load();
    EXPECT_TRUE(sink->has("Load failed"));
    EXPECT_TRUE(again.profile("md.obsidian"));
}

}  // namespace
}  // namespace quillet::world
