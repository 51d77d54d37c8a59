#include "platform/linux/DesktopEntries.h"

#include <gtest/gtest.h>

#include <fstream>

#include "world/TemporaryFolder.h"

namespace quillet {
namespace {

TEST(DesktopEntries, AreNamedByTheIdsThatApplicationsHaveEverywhere) {
    const world::TemporaryFolder folder;
    const auto applications = folder.path() / "applications";
    std::filesystem::create_directories(applications);
    const auto add = [&](const char* id, const char* name, const char* program) {
        std::ofstream(applications / (std::string(id) + ".desktop"))
            << "[Desktop Entry]\nType=Application\nName=" << name << "\nExec=" << program << "\n";
    };
    add("org.xfce.mousepad", "Mousepad", "mousepad %U");
    add("org.xfce.mousepad-settings", "Text Editor Settings", "mousepad --preferences");
    add("org.gnome.gedit", "gedit", "gedit");
    add("vendor-chat", "Slack", "slack");
    add("org.example.mail", "Mail", "mail");
    DesktopEntries entries({folder.path()});
    entries.waitUntilRead();
    const auto names = entries.names();
    EXPECT_EQ(names.at("com.apple.TextEdit"), "Mousepad, gedit");
    EXPECT_EQ(names.at("com.tinyspeck.slackmacgap"), "Slack") << "known by what it starts";
    EXPECT_EQ(names.at("org.example.mail"), "Mail");
}

}  // namespace
}  // namespace quillet
