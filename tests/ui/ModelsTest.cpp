#include <gtest/gtest.h>

#include <QLabel>
#include <QPushButton>
#include <fstream>

#include "ui/guide/RecognitionStep.h"
#include "ui/kit/UiText.h"
#include "world/PackedModel.h"
#include "world/World.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;
using world::PackedModel;
using world::World;

/// Pages from which a model for Chinese can be downloaded.
class ModelPages : public ::testing::Test {
protected:
    ModelPages() {
        std::ofstream(world.folder.path() / "libvosk.so") << "engine";
        world.server.respond = [this](const HttpRequest&) {
            return world::ScriptedServer::Scripted{1s, 200, packed.archive};
        };
    }
    RecognitionPage::Services services() {
        return {world.loop,
                world.keychain,
                *world.speechClient,
                *world.session,
                world.calendar,
                {world.loop, models, {world.folder.path()}, world.queue, download}};
    }
    SettingsPage::Binding binding() { return {*world.settings, world.notifications, messages}; }
    static QPushButton& button(QWidget& in, const char* name) {
        for (auto* one : in.findChildren<QPushButton*>()) {
            if (one->accessibleName() == fromText(name) || one->text() == fromText(name))
                return *one;
        }
        throw std::runtime_error(std::string("There is no button ") + name);
    }
    static bool says(const QWidget& in, const char* part) {
        return std::ranges::any_of(in.findChildren<QLabel*>(), [part](const QLabel* one) {
            return !one->isHidden() && one->text().contains(fromText(part));
        });
    }
    const std::string& language() { return world.settings->record().selectedLanguage; }

    World world;
    PackedModel packed{world.folder.path()};
    SpeechModels models{world.folder.path() / "models"};
    ModelDownload download{{world.permission->downloads,
                            world.queue,
                            models,
                            {packed.offered("zh", "https://models.example/zh.tar.gz")}}};
    MessageBar messages;
};

TEST_F(ModelPages, TheGuideLeadsANewcomerToAModelForHisLanguage) {
    RecognitionStep step(binding(), services(), "zh_CN");
    EXPECT_EQ(language(), "mixed") << "nothing is changed before the page is seen";
    step.show();
    EXPECT_EQ(language(), "简体中文");
    auto& fetch = button(step, "Download the model for 简体中文");
    ASSERT_TRUE(fetch.isVisible());

    world.permission->answer = ConsentDecision::denied;
    fetch.click();
    world.settle();
    EXPECT_TRUE(world.server.requests.empty());
    EXPECT_TRUE(says(messages, "Settings → Privacy"));
    EXPECT_TRUE(fetch.isVisible()) << "to be tried again";

    const ServiceID service{ServicePurpose::modelDownload, "models.example"};
    world.permission->consent.decide(service, ConsentDecision::allowed);
    fetch.click();
    world.settle();
    EXPECT_TRUE(says(step, "Ready: the model for 简体中文 is installed."));
    EXPECT_FALSE(fetch.isVisible());
    EXPECT_TRUE(models.find("zh"));

    world.set("selectedLanguage", "mixed");
    EXPECT_TRUE(says(step, "Choose English or Chinese above, or a server."));
}

TEST_F(ModelPages, AModelIsSpokenAtOnceWhereTheLanguageHadNoneAndThatIsTakenBack) {
    RecognitionPage page(binding(), services());
    page.show();
    world.settle();
    button(page, "Download the model for 简体中文").click();
    world.settle();
    EXPECT_EQ(language(), "简体中文");
    EXPECT_FALSE(button(page, "Download the model for 简体中文").isVisible());
    button(messages, "Undo").click();
    EXPECT_EQ(language(), "mixed");
}

TEST_F(ModelPages, AServerStillHearsWhatWasSpokenBefore) {
    world.set("sttEngineType", "cloud");
    RecognitionPage page(binding(), services());
    page.show();
    world.settle();
    button(page, "Download the model for 简体中文").click();
    world.settle();
    EXPECT_TRUE(models.find("zh"));
    EXPECT_EQ(language(), "mixed");
}

TEST_F(ModelPages, ADownloadIsCancelledByItsButtonAndByClosingTheWindow) {
    for (const bool byButton : {true, false}) {
        auto page = std::make_unique<RecognitionPage>(binding(), services());
        page->show();
        world.settle();
        auto& fetch = button(*page, "Download the model for 简体中文");
        fetch.click();
        world.pass(500ms);
        EXPECT_FALSE(fetch.isVisible());
        EXPECT_EQ(world.server.underWay, 1);
        if (byButton)
            button(*page, "Cancel the download for 简体中文").click();
        else
            page.reset();
        world.settle();
        EXPECT_EQ(world.server.underWay, 0);
        EXPECT_FALSE(models.find("zh"));
        EXPECT_TRUE(!page || fetch.isVisible());
        EXPECT_FALSE(messages.isVisible()) << "who cancels knows";
    }
}

}  // namespace
}  // namespace quillet
