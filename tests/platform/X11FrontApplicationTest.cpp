#include "platform/linux/X11FrontApplication.h"

#include <filesystem>
#include <fstream>

#include "platform/DesktopFixture.h"
#include "platform/linux/WellKnownApplications.h"

namespace quillet::test {

namespace {

class X11FrontApplicationTest : public DesktopFixture {
protected:
    X11FrontApplicationTest() {
        std::filesystem::create_directories(folder / "applications" / "tools");
        std::ofstream(folder / "applications" / "tools" / "xterm.desktop")
            << "[Desktop Entry]\nName=Terminal of the Tests\nName[de]=Anders\n"
               "StartupWMClass = XTerm\nExec=/usr/bin/xterm -ls\n"
               "[Desktop Action new]\nName=Not this one\n";
        front = std::make_unique<X11FrontApplication>("", std::vector{folder});
        front->waitUntilReady();
    }
    ~X11FrontApplicationTest() override { std::filesystem::remove_all(folder); }

    const std::filesystem::path folder =
        std::filesystem::path(::testing::TempDir()) / "quillet-data";
    std::unique_ptr<X11FrontApplication> front;
};

TEST_F(X11FrontApplicationTest, TellsTheTerminalInFrontAndThatItIsGone) {
    {
        Program terminal({"xterm", "-T", "A títle", "-geometry", "60x20+200+150", "-e", "cat"});
        const auto app = activate("XTerm", *front);
        ASSERT_TRUE(app);
        EXPECT_EQ(app->bundleID, "tools-xterm") << "the id of its desktop file";
        EXPECT_EQ(app->displayName, "Terminal of the Tests");
        EXPECT_EQ(app->windowTitle, "A títle");
        EXPECT_EQ(app->pid, std::stoi(outputOf("pgrep -n xterm")));
        EXPECT_EQ(app->pasteStyle, PasteStyle::terminal);
        EXPECT_GE(app->window.x, 200);
        EXPECT_LE(app->window.x, 210);
        EXPECT_GT(app->window.width, 300);

        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < 100; ++i)
            static_cast<void>(front->current());
        const auto each = (std::chrono::steady_clock::now() - start) / 100;
        RecordProperty(
            "front_application_us",
            static_cast<int>(std::chrono::duration_cast<std::chrono::microseconds>(each).count()));
        EXPECT_LT(each, std::chrono::milliseconds(5));
    }
    shell("while xdotool search --onlyvisible --class XTerm >/dev/null 2>&1; do :; done");
    EXPECT_FALSE(front->current());
}

TEST_F(X11FrontApplicationTest, GivesAWellKnownApplicationItsWellKnownId) {
    std::system("gsettings set org.xfce.mousepad.preferences.file session-restore never");
    Program editor({"mousepad", "--disable-server"});
    const auto app = activate("Mousepad", *front);
    ASSERT_TRUE(app);
    EXPECT_EQ(app->bundleID, "com.apple.TextEdit");
    EXPECT_EQ(app->displayName, "Mousepad") << "the class, where there is no desktop file";
    EXPECT_EQ(app->pasteStyle, PasteStyle::clipboard);

    EXPECT_EQ(WellKnownApplications::bundleID("TelegramDesktop"), "org.telegram.desktop");
    EXPECT_EQ(WellKnownApplications::bundleID("KeePassXC"), "com.apple.keychainaccess");
    EXPECT_EQ(WellKnownApplications::bundleID("xterm"), std::nullopt);
    EXPECT_EQ(WellKnownApplications::bundleID(""), std::nullopt);
}

}  // namespace

}  // namespace quillet::test
