#include <gtest/gtest.h>

#include <QApplication>
#include <QListView>
#include <QMessageBox>
#include <QPushButton>
#include <thread>

#include "ui/history/RecordingsWindow.h"
#include "ui/history/StepAside.h"
#include "ui/kit/MessageBar.h"
#include "ui/kit/UiText.h"
#include "world/World.h"

namespace quillet {
namespace {

using namespace std::chrono_literals;

// --- Stepping aside ------------------------------------------------------------------------------

class SteppingAside : public ::testing::Test {
protected:
    SteppingAside() {
        window.show();
        window.activateWindow();
        QApplication::processEvents();
    }
    /// Lets another window of ours, which is not what the text is for, take the keyboard.
    void showOther() {
        other.show();
        other.activateWindow();
        QApplication::processEvents();
    }
    /// As if another program took the keyboard; where nothing is drawn, a window of ours always has
    /// it.
    static void loseKeyboard() { Q_EMIT qGuiApp->focusWindowChanged(nullptr); }
    void pass(std::chrono::milliseconds time) {
        std::this_thread::sleep_for(time);
        QApplication::processEvents();
    }

    QWidget window;
    MessageBar messages{&window};
    QWidget other;
    int typed = 0;
};

TEST_F(SteppingAside, TypesOnceNoWindowOfOursHasTheKeyboard) {
    showOther();
    stepAside(window, messages, [this] { typed += 10; });
    stepAside(window, messages, [this] { ++typed; });
    EXPECT_EQ(typed, 0);
    loseKeyboard();
    EXPECT_EQ(typed, 1) << "only what was chosen last";
    EXPECT_TRUE(messages.isHidden());
}

TEST_F(SteppingAside, ComesBackAndSaysSoWhereNobodyTakesTheKeyboard) {
    showOther();
    stepAside(window, messages, [this] { ++typed; }, 1ms);
    pass(20ms);
    EXPECT_FALSE(window.isMinimized());
    EXPECT_FALSE(messages.isHidden());
    loseKeyboard();
    EXPECT_EQ(typed, 0) << "nothing is typed long afterwards";
}

// --- The window ----------------------------------------------------------------------------------

class NoPlayer final : public AudioPlayer {
public:
    std::unique_ptr<Playback> play(Sound, std::chrono::milliseconds, Listener) override {
        return nullptr;
    }
};

TEST(RecordingsWindow, AsksBeforeAllAreDeletedAndFollowsWhatIsKept) {
    world::World world;
    NoPlayer player;
    RecordingsWindow window({world.loop, *world.archive, world.calendar, world.notifications,
                             player, [](const std::string&) { return std::string_view(); }});
    window.show();
    const auto rows = [&] { return window.findChild<QListView*>()->model()->rowCount(); };
    world.scheduler.drain();
    EXPECT_EQ(rows(), 0);

    auto spool = world.archive->beginSpool("kept", "en");
    spool->append(std::vector<std::int16_t>(16'000, 5));
    EXPECT_TRUE(world.await(spool->keep()));
    world.scheduler.drain();
    EXPECT_EQ(rows(), 1);

    window.askToDeleteAll();
    world.scheduler.drain();
    EXPECT_EQ(rows(), 1) << "not before it is confirmed";
    auto* question = window.findChild<QMessageBox*>();
    ASSERT_NE(question, nullptr);
    for (auto* button : question->findChildren<QPushButton*>()) {
        if (button->text() == label("Delete"))
            button->click();
    }
    world.scheduler.drain();
    EXPECT_EQ(rows(), 0);
    EXPECT_TRUE(world.archive->items().empty());
}

}  // namespace
}  // namespace quillet
