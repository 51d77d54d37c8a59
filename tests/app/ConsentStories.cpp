#include <gtest/gtest.h>

#include "mcp/Tools.h"
#include "speech/ModelDownload.h"
#include "world/MeetingRoom.h"

namespace quillet::world {
namespace {

constexpr Modifiers fnCtrlShift = {Modifier::function, Modifier::control, Modifier::shift};
constexpr Modifiers fnCtrlAlt = {Modifier::function, Modifier::control, Modifier::option};
constexpr Modifiers fnCtrlSuper = {Modifier::function, Modifier::control, Modifier::command};
constexpr Modifiers fnCtrlShiftAlt = {Modifier::function, Modifier::control, Modifier::shift,
                                      Modifier::option};

/// Everything that talks to a server, with a user who lets it or does not.
class Permission : public Tools {
protected:
    Permission() {
        world.useServer();
        world.useModel("polish");
        world.set("nightlyReview", "true");
        world.transcriber.languages.clear();
        for (const auto& entry : world.permission->consent.decided())
            world.permission->consent.decide(entry.service, ConsentDecision::notAsked);
    }

    void say(Modifiers chord, const std::string& text) {
        world.tap(chord);
        world.say(text, 1s);
        world.tap(chord);
        world.settle();
    }
    void useBackup() {
        world.set("sttBackup", "true");
        world.set("cloudflareAccount", "0123456789abcdef0123456789abcdef");
        world.keychain.secrets["cloudflareToken"] = "a token";
    }
    /// Each is something that a user can do.
    void doEverything() {
        say(fnCtrl, "a dictation");
        say(fnCtrlShift, "a command");
        say(fnCtrlAlt, "a translation");
        say(fnCtrlShiftAlt, "a change");
        say(fnCtrlSuper, "live writing");
        night.log("wat was heard", "what was sent");
        (void)night.review();
        (void)world.await(night.keeper->run());
        (void)call("run_nightly_review");
        (void)world.await(world.speechClient->testConnection(
            "https://speech.example/v1/audio/transcriptions", ""));
        (void)world.await(world.refiner->testConnection());
        (void)world.await(download.run(
            {"en", "https://models.example/en.zip", 3, std::string(64, '0')}, nullptr));
    }

    ModelDownload download{{world.permission->downloads,
                            world.queue,
                            SpeechModels(world.folder.path() / "models"),
                            {}}};
    [[nodiscard]] std::size_t sent() const {
        return world.server.requests.size() + world.server.prewarmed.size() +
               world.llm.requests.size() + world.llm.prewarmed.size();
    }
};

TEST_F(Permission, NothingIsSentOrConnectedWithoutIt) {
    for (const auto answer : {ConsentDecision::notAsked, ConsentDecision::denied}) {
        world.permission->answer = answer;
        doEverything();
        useBackup();
        doEverything();
        EXPECT_EQ(sent(), 0U);
    }
    EXPECT_EQ(world.permission->consent.decision(*Consent::parse("speech@speech.example")),
              ConsentDecision::denied);
    const auto asked = world.permission->asked.size();
    doEverything();
    EXPECT_EQ(world.permission->asked.size(), asked) << "who has decided is not asked again";
}

TEST_F(Permission, OfEveryCallerIsAskedForOnceAndThenGoesOn) {
    useBackup();
    world.server.respond = [](const HttpRequest& request) {
        // The user's own server is busy, so that the backup is needed.
        return request.url.contains("cloudflare")
                   ? ScriptedServer::Scripted{10ms, 200, R"({"result":{"text":"heard"}})"}
                   : ScriptedServer::Scripted{10ms, 500, "{}"};
    };
    doEverything();
    EXPECT_GE(world.server.requests.size(), 6U);
    EXPECT_GE(world.llm.requests.size(), 6U);
    std::vector<std::string> asked;
    for (const auto& service : world.permission->asked)
        asked.push_back(service.name());
    std::ranges::sort(asked);
    EXPECT_EQ(asked,
              (std::vector<std::string>{"language-model@model.example", "models@models.example",
                                        "speech@api.cloudflare.com", "speech@speech.example"}));
}

TEST_F(Permission, IsForAHostAndAPurpose) {
    auto& consent = world.permission->consent;
    consent.decide(*Consent::parse("speech@speech.example"), ConsentDecision::allowed);
    world.permission->answer = ConsentDecision::denied;
    say(fnCtrl, "a dictation");
    EXPECT_EQ(world.server.requests.size(), 1U);
    EXPECT_TRUE(world.llm.requests.empty());
    EXPECT_FALSE(world.field().empty()) << "what was heard is typed without the model";
    world.set("sttEndpoint", "http://speech.example/v1/audio/transcriptions");
    say(fnCtrl, "without encryption");
    EXPECT_EQ(world.server.requests.size(), 1U);
    EXPECT_EQ(world.permission->asked.back().name(), "speech@http://speech.example:80");
    consent.decide(*Consent::parse("speech@speech.example:8443"), ConsentDecision::allowed);
    world.set("sttEndpoint", "http://speech.example:8443/v1/audio/transcriptions");
    say(fnCtrl, "in the clear by a port that is allowed encrypted");
    EXPECT_EQ(world.server.requests.size(), 1U);
    const auto asked = world.permission->asked.back();
    EXPECT_EQ(asked.name(), "speech@http://speech.example:8443");
    EXPECT_EQ(Consent::parse(asked.name()), asked);
}

TEST_F(Permission, ADeniedDictationIsKeptOrRecognisedOnTheDevice) {
    world.permission->answer = ConsentDecision::denied;
    say(fnCtrl, "kept");
    EXPECT_TRUE(world.field().empty());
    EXPECT_EQ(world.await(world.archive->list()).size(), 1U) << world.notice();
    world.transcriber.languages = {"mixed"};
    say(fnCtrl, "by the device");
    EXPECT_TRUE(world.field().contains("by the device")) << world.notice();
}

TEST(PermissionForMeetings, IsAskedForToo) {
    for (const auto answer : {ConsentDecision::denied, ConsentDecision::allowed}) {
        MeetingRoom room;
        room.useServer();
        room.useModel();
        room.permission->answer = answer;
        (void)room.start();
        room.say(MeetingRoom::them, "what the others said", 40s);
        (void)room.stop();
        const bool isAllowed = answer == ConsentDecision::allowed;
        EXPECT_EQ(room.server.requests.empty(), !isAllowed);
        EXPECT_EQ(room.llm.requests.empty(), !isAllowed);
        EXPECT_TRUE(isAllowed || room.server.prewarmed.empty());
    }
}

}  // namespace
}  // namespace quillet::world
