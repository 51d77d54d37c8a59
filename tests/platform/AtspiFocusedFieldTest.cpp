#include "platform/linux/AtspiFocusedField.h"

#include <signal.h>

#include <cstdlib>

#include "platform/DesktopFixture.h"

/// The accessibility library forgets its question to an application that does not answer in time.
extern "C" const char* __lsan_default_suppressions();  // NOLINT(bugprone-reserved-identifier)
const char* __lsan_default_suppressions() {            // NOLINT(bugprone-reserved-identifier)
    return "leak:libdbus-1.so\n";
}

namespace quillet::test {

namespace {

using Security = FocusedField::Security;

constexpr auto status =
    "gdbus call --session --dest org.a11y.Bus --object-path /org/a11y/bus --method "
    "org.freedesktop.DBus.Properties.";

class AtspiFocusedFieldTest : public DesktopFixture {
protected:
    AtspiFocusedFieldTest() {
        std::system("gsettings set org.xfce.mousepad.preferences.file session-restore never");
        field = std::make_unique<AtspiFocusedField>(loop, scheduler,
                                                    Log(makeNullLogSink(), Log::PrivateText::hide));
    }

    pid_t activated(const std::string& windowClass) {
        const auto app = activate(windowClass, desktop->frontApplication());
        return app ? app->pid : 0;
    }
    Security security(pid_t application) { return run(field->security(application)); }
    /// What the application says once it has settled, which takes a while when it has just started.
    Security settled(pid_t application) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        auto result = security(application);
        while (result == Security::unknown && std::chrono::steady_clock::now() < deadline)
            result = security(application);
        return result;
    }

    std::unique_ptr<AtspiFocusedField> field;
};

TEST_F(AtspiFocusedFieldTest, TellsPasswordFieldsFromOthers) {
    {
        Program dialog({"zenity", "--password"});
        EXPECT_EQ(settled(activated("zenity")), Security::secure);
    }
    {
        Program dialog({"zenity", "--entry"});
        EXPECT_EQ(settled(activated("zenity")), Security::plain);
    }
    Program editor({"mousepad", "--disable-server"});
    const auto pid = activated("Mousepad");
    EXPECT_EQ(settled(pid), Security::plain);

    const auto start = std::chrono::steady_clock::now();
    constexpr int times = 50;
    for (int i = 0; i < times; ++i)
        EXPECT_EQ(security(pid), Security::plain);
    const auto each = (std::chrono::steady_clock::now() - start) / times;
    RecordProperty("focused_field_us", static_cast<int>(each / std::chrono::microseconds(1)));
}

TEST_F(AtspiFocusedFieldTest, FollowsTheFocus) {
    Program form({"zenity", "--forms", "--add-entry=Name", "--add-password=Secret"});
    const auto pid = activated("zenity");
    ASSERT_EQ(settled(pid), Security::plain);
    // A moment may pass until the application has seen the key; it must not stay behind.
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    const auto comesTo = [&](Security expected) {
        auto now = security(pid);
        while (now != expected && std::chrono::steady_clock::now() < deadline)
            now = security(pid);
        return now == expected;
    };
    shell("xdotool key Tab");
    EXPECT_TRUE(comesTo(Security::secure));
    shell("xdotool key shift+Tab");
    EXPECT_TRUE(comesTo(Security::plain));
    shell("xdotool key Tab Tab");
    EXPECT_TRUE(comesTo(Security::unknown)) << "a button";
}

TEST_F(AtspiFocusedFieldTest, ReadsWhatIsSelectedButNoPassword) {
    const auto selection = [this](pid_t application) { return run(field->selection(application)); };
    using Kind = FocusedField::Selection::Kind;
    const auto comesTo = [&](pid_t application, Kind kind, const std::string& text) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        auto now = selection(application);
        while ((now.kind != kind || now.text != text) &&
               std::chrono::steady_clock::now() < deadline)
            now = selection(application);
        return now.kind == kind && now.text == text;
    };
    {
        Program dialog({"zenity", "--entry", "--entry-text", "改成英文 😀 please"});
        const auto pid = activated("zenity");
        ASSERT_EQ(settled(pid), Security::plain);
        shell("xdotool key ctrl+a");
        EXPECT_TRUE(comesTo(pid, Kind::text, "改成英文 😀 please"));
        shell("xdotool key End shift+Left shift+Left");
        EXPECT_TRUE(comesTo(pid, Kind::text, "se"));
        shell("xdotool key End");
        EXPECT_TRUE(comesTo(pid, Kind::nothing, ""));
    }
    Program dialog({"zenity", "--password"});
    const auto pid = activated("zenity");
    ASSERT_EQ(settled(pid), Security::secure);
    shell("xdotool type secret");
    shell("xdotool key ctrl+a");
    for (int i = 0; i < 20; ++i)
        EXPECT_EQ(selection(pid).kind, Kind::unknown);
}

TEST_F(AtspiFocusedFieldTest, KnowsNothingOfWhatIsNoField) {
    Program editor({"mousepad", "--disable-server"});
    const auto behind = activated("Mousepad");
    EXPECT_EQ(settled(behind), Security::plain);

    Program terminal({"xterm"});
    EXPECT_EQ(security(activated("XTerm")), Security::unknown) << "it tells nobody about itself";
    EXPECT_EQ(security(behind), Security::unknown) << "its window is not the active one";
    EXPECT_EQ(security(1), Security::unknown);

    Program question({"zenity", "--question", "--text", "Yes?"});
    const auto asking = activated("zenity");
    EXPECT_EQ(security(asking), Security::unknown) << "a button has the focus";

    EXPECT_EQ(settled(activated("Mousepad")), Security::plain);
}

TEST_F(AtspiFocusedFieldTest, AnswersWhileAnApplicationHangs) {
    Program editor({"mousepad", "--disable-server"});
    const auto hung = activated("Mousepad");
    ASSERT_EQ(settled(hung), Security::plain);
    kill(hung, SIGSTOP);
    EXPECT_EQ(security(hung), Security::unknown);
    EXPECT_EQ(security(hung), Security::unknown);

    Program dialog({"zenity", "--password"});
    const auto alive = activated("zenity");
    ASSERT_EQ(settled(alive), Security::secure);
    EXPECT_EQ(security(hung), Security::unknown);
    EXPECT_EQ(security(alive), Security::secure);

    kill(hung, SIGCONT);
    EXPECT_EQ(settled(activated("Mousepad")), Security::plain);
}

TEST_F(AtspiFocusedFieldTest, SwitchesTheDesktopsAccessibilityOn) {
    field.reset();
    shell(std::string(status) + "Set org.a11y.Status IsEnabled '<false>' >/dev/null");
    field = std::make_unique<AtspiFocusedField>(loop, scheduler,
                                                Log(makeNullLogSink(), Log::PrivateText::hide));
    shell(std::string("timeout 10 sh -c 'until ") + status +
          "Get org.a11y.Status IsEnabled | grep -q true; do :; done'");
}

/// Runs in a process of its own, whose session bus has no accessibility.
TEST_F(AtspiFocusedFieldTest, DISABLED_IsWithoutBus) {
    Program dialog({"zenity", "--password"});
    const auto pid = activated("zenity");
    for (int i = 0; i < 3; ++i)
        EXPECT_EQ(security(pid), Security::unknown);
}

TEST_F(AtspiFocusedFieldTest, KnowsNothingWithoutABus) {
    runOn(OtherBus::none, "AtspiFocusedFieldTest.DISABLED_IsWithoutBus");
    runOn(OtherBus::empty, "AtspiFocusedFieldTest.DISABLED_IsWithoutBus");
}

/// Runs in a process of its own, and ends its session bus.
TEST_F(AtspiFocusedFieldTest, DISABLED_LosesItsBus) {
    Program dialog({"zenity", "--password"});
    const auto pid = activated("zenity");
    ASSERT_EQ(settled(pid), Security::secure);
    const auto bus = outputOf(
        "gdbus call --session --dest org.freedesktop.DBus --object-path / --method "
        "org.freedesktop.DBus.GetConnectionUnixProcessID org.freedesktop.DBus | "
        "tr -dc '0-9 ' | sed 's/^32 //'");
    kill(std::stoi(bus), SIGTERM);
    const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (security(pid) != Security::unknown && std::chrono::steady_clock::now() < deadline) {
    }
    EXPECT_EQ(security(pid), Security::unknown);
    field.reset();
}

TEST_F(AtspiFocusedFieldTest, OutlivesItsBus) {
    runOn(OtherBus::fresh, "AtspiFocusedFieldTest.DISABLED_LosesItsBus");
}

}  // namespace

}  // namespace quillet::test
