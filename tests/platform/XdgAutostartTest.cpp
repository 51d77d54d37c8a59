#include "platform/linux/XdgAutostart.h"

#include <gtest/gtest.h>

#include <fstream>

#include "base/file/JsonFile.h"
#include "world/TemporaryFolder.h"

namespace quillet {
namespace {

namespace fs = std::filesystem;

class XdgAutostartTest : public ::testing::Test {
protected:
    void writeEntry(const fs::path& where, const std::string& keys) {
        fs::create_directories(where);
        std::ofstream(where / XdgAutostart::fileName)
            << "[Desktop Entry]\nType=Application\nName=Quillet\nExec=quillet-app\n"
            << keys;
    }
    [[nodiscard]] std::string userFile() const {
        return readFile(user / XdgAutostart::fileName).value_or("");
    }

    world::TemporaryFolder folder;
    fs::path user = folder.path() / "user";
    fs::path system = folder.path() / "system";
    XdgAutostart autostart{{user, {system}}, "/opt/my programs/50%/quillet-app"};
};

TEST_F(XdgAutostartTest, IsSwitchedOnAndOffAndOnAgain) {
    EXPECT_FALSE(autostart.isOn());
    ASSERT_TRUE(autostart.set(false));
    EXPECT_FALSE(fs::exists(user)) << "what was off needs no file";
    ASSERT_TRUE(autostart.set(true));
    EXPECT_TRUE(autostart.isOn());
    EXPECT_NE(userFile().find("Exec=\"/opt/my programs/50%%/quillet-app\"\n"), std::string::npos)
        << userFile();
    ASSERT_TRUE(autostart.set(false));
    EXPECT_FALSE(autostart.isOn());
    ASSERT_TRUE(autostart.set(true));
    EXPECT_TRUE(autostart.isOn());
}

TEST_F(XdgAutostartTest, FollowsWhatTheDesktopsToolsWrote) {
    for (const char* off : {"Hidden=true\n", "X-GNOME-Autostart-enabled=false\n"}) {
        writeEntry(user, off);
        EXPECT_FALSE(autostart.isOn()) << off;
        ASSERT_TRUE(autostart.set(true));
        EXPECT_TRUE(autostart.isOn()) << off;
    }
}

TEST_F(XdgAutostartTest, KeepsWhatSomebodyAddedToTheEntry) {
    writeEntry(user, "# mine\nX-GNOME-Autostart-Delay=20\nComment[zh_CN]=听写\n");
    ASSERT_TRUE(autostart.set(false));
    ASSERT_TRUE(autostart.set(true));
    for (const char* part : {"# mine", "X-GNOME-Autostart-Delay=20", "Comment[zh_CN]=听写"})
        EXPECT_NE(userFile().find(part), std::string::npos) << part << "\n" << userFile();
}

TEST_F(XdgAutostartTest, SwitchedOnItStartsTheProgramThatIsThereNow) {
    writeEntry(user, "TryExec=/gone/quillet-app\nHidden=true\n");
    ASSERT_TRUE(autostart.set(true));
    EXPECT_NE(userFile().find("\nExec=\"/opt/my programs/50%%/quillet-app\"\n"), std::string::npos)
        << userFile();
    EXPECT_NE(userFile().find("\nTryExec=/opt/my programs/50%/quillet-app\n"), std::string::npos)
        << userFile();
}

TEST_F(XdgAutostartTest, HidesTheSystemsEntryFromThisUserOnly) {
    writeEntry(system, "");
    EXPECT_TRUE(autostart.isOn());
    ASSERT_TRUE(autostart.set(false));
    EXPECT_FALSE(autostart.isOn());
    EXPECT_TRUE((XdgAutostart{{folder.path() / "another", {system}}, "/x"}.isOn()));
}

TEST_F(XdgAutostartTest, SaysThatAFolderCannotBeWritten) {
    std::ofstream(folder.path() / "user") << "a file in the folder's place";
    const auto done = autostart.set(true);
    ASSERT_FALSE(done);
    EXPECT_NE(done.error().find("cannot be written"), std::string::npos);
    EXPECT_FALSE(autostart.isOn());
}

}  // namespace
}  // namespace quillet
