#include <signal.h>

#include <algorithm>
#include <filesystem>
#include <fstream>

#include "platform/DesktopFixture.h"
#include "platform/linux/AccessibilityProcess.h"
#include "platform/linux/AtspiFocusedField.h"
#include "world/ScriptedServices.h"
#include "world/TemporaryFolder.h"

namespace quillet::test {

namespace {

using Kind = FocusedField::Selection::Kind;
using Security = FocusedField::Security;
using Selecting = FocusedField::Selecting;
using Surroundings = FocusedField::Surroundings;

constexpr FocusedField::Extent plenty{1000, 1000};

class AtspiFocusedTextTest : public DesktopFixture {
protected:
    AtspiFocusedTextTest() {
        std::system("gsettings set org.xfce.mousepad.preferences.file session-restore never");
    }

    std::filesystem::path file(const std::string& name, const std::string& text) {
        const auto path = folder.path() / name;
        std::ofstream(path) << text;
        return path;
    }
    /// Opens a window and puts the caret at the end of its field.
    void open(const std::vector<std::string>& command, const std::string& windowClass) {
        program = std::make_unique<Program>(command);
        const auto app = activate(windowClass, desktop->frontApplication());
        ASSERT_TRUE(app);
        pid = app->pid;
        ASSERT_TRUE(comesTo([&] { return run(field.security(pid)) != Security::unknown; }));
        shell("xdotool key ctrl+End");
    }
    void openMousepad(const std::string& text) {
        open({"mousepad", "--disable-server", file("page.txt", text)}, "Mousepad");
    }
    void openQtEditor(const std::string& text) {
        open({"/usr/bin/python3", "-B", QUILLET_TEST_FOLDER "/desktop/qt_editor.py", text},
             "qt_editor.py");
    }
    void openBrowser(const std::string& body) {
        const auto page = file("page.html", "<!doctype html><meta charset=utf-8>" + body);
        // What it misses here it tells at length. It would also start a service for notifications,
        // whose tests have one of their own.
        open({"sh", "-c",
              "exec chromium --no-sandbox --disable-gpu --disable-background-networking "
              "--no-first-run --no-default-browser-check --disable-sync "
              "--disable-component-update --disable-features=SystemNotifications "
              "--password-store=basic --user-data-dir='" +
                  (folder.path() / "browser").string() + "' 'file://" + page.string() +
                  "' 2>/dev/null"},
             "Chromium");
    }

    /// Applications need a moment for a key or a new window.
    static bool comesTo(const std::function<bool()>& holds) {
        const auto deadline = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        bool held = holds();
        while (!held && std::chrono::steady_clock::now() < deadline)
            held = holds();
        return held;
    }
    std::optional<Surroundings> surroundings(FocusedField::Extent extent = plenty) {
        return run(field.surroundings(pid, extent));
    }
    bool comesToRead(const std::string& before, const std::string& after) {
        return comesTo([&] {
            const auto now = surroundings();
            return now && now->before == before && now->after == after && now->fromStart &&
                   now->toEnd;
        });
    }
    Selecting select(const std::string& text) { return run(field.select(pid, text)); }
    void record(const std::string& name, const std::function<void()>& question) {
        constexpr int times = 20;
        const auto start = std::chrono::steady_clock::now();
        for (int i = 0; i < times; ++i)
            question();
        const auto each = (std::chrono::steady_clock::now() - start) / times;
        RecordProperty(name + "_us", static_cast<int>(each / std::chrono::microseconds(1)));
    }

    /// Reads, selects and overwrites in a field that holds `content`.
    void readAndSelect() {
        ASSERT_TRUE(comesToRead(content, ""));
        EXPECT_EQ(surroundings({4, 4})->before, "four");
        record("surroundings", [&] { surroundings(); });
        const auto name = surroundings()->field;
        EXPECT_FALSE(name.empty());

        EXPECT_EQ(select("three 😀"), Selecting::atCaret);
        const auto start = std::chrono::steady_clock::now();
        EXPECT_EQ(select("👩‍💻 three 😀 four"), Selecting::selected);
        RecordProperty("select_us", static_cast<int>((std::chrono::steady_clock::now() - start) /
                                                     std::chrono::microseconds(1)));
        EXPECT_EQ(select("👩‍💻 three 😀 four"), Selecting::selected);
        EXPECT_EQ(select("three 😀 four"), Selecting::atCaret);
        record("selection", [&] { run(field.selection(pid)); });
        shell("xdotool key x");
        EXPECT_TRUE(comesToRead("One 😀 two x", ""));
        shell("xdotool key Left Left");
        EXPECT_TRUE(comesToRead("One 😀 two", " x"));
        EXPECT_EQ(surroundings()->field, name);
        seeTheCaretMove();
        EXPECT_EQ(select("two"), Selecting::selected);
        record("visible", [&] { run(field.visibleText(pid, 2000)); });
    }

    /// By two letters, on its line, in its window.
    void seeTheCaretMove() {
        const auto window = desktop->frontApplication().current()->window;
        const auto isInside = [&window](const DesktopRect& caret) {
            return caret.x >= window.x && caret.x < window.x + window.width &&
                   caret.y >= window.y && caret.y + caret.height <= window.y + window.height;
        };
        const auto here = run(field.caretRect(pid));
        ASSERT_TRUE(here && isInside(*here));
        shell("xdotool key End");
        EXPECT_TRUE(comesTo([&] {
            const auto there = run(field.caretRect(pid));
            return there && isInside(*there) && there->x > here->x &&
                   std::abs(there->y - here->y) < here->height;
        }));
        shell("xdotool key Left Left");
        EXPECT_TRUE(comesToRead("One 😀 two", " x"));
    }

    const std::string content = "One 😀 two 👩‍💻 three 😀 four";
    world::TemporaryFolder folder;
    std::shared_ptr<world::RecordingLogSink> sink = std::make_shared<world::RecordingLogSink>();
    AtspiFocusedField field{loop, scheduler, Log(sink, Log::PrivateText::hide)};
    std::unique_ptr<Program> program;
    pid_t pid = 0;
};

TEST_F(AtspiFocusedTextTest, ReadsAndSelectsInAnEditorOfGtk) {
    openMousepad(content);
    readAndSelect();
    EXPECT_EQ(run(field.selection(pid)).text, "two");
}

TEST_F(AtspiFocusedTextTest, ReadsAndSelectsInAnEditorOfQt) {
    openQtEditor(content);
    readAndSelect();
    EXPECT_EQ(run(field.selection(pid)).text, "two");
}

TEST_F(AtspiFocusedTextTest, ReadsAndSelectsInABrowser) {
    openBrowser("<textarea autofocus>" + content + "</textarea>");
    readAndSelect();
    EXPECT_TRUE(sink->has("Requested AX tree for pid " + std::to_string(pid)));
}

TEST_F(AtspiFocusedTextTest, ReadsTheParagraphThatHasTheCaretInAnEditorOfRichText) {
    openBrowser(
        "<div id=editor contenteditable><p>The first 😀</p><p>A <b>bold</b> 😀 end</p></div>"
        "<script>editor.focus()</script>");
    EXPECT_TRUE(comesToRead("A bold 😀 end", ""));
    EXPECT_EQ(select("first"), Selecting::atCaret);
    EXPECT_EQ(select("bold 😀 end"), Selecting::selected);
    shell("xdotool key x");
    EXPECT_TRUE(comesToRead("A x", ""));
    shell("xdotool key Up End");
    EXPECT_TRUE(comesToRead("The first 😀", ""));
    // Placeholders for the paragraphs are no text that anybody selected.
    shell("xdotool key ctrl+a");
    EXPECT_TRUE(comesTo([&] { return run(field.selection(pid)).kind == Kind::unknown; }));
    EXPECT_FALSE(surroundings());
}

TEST_F(AtspiFocusedTextTest, AnswersThroughAProcessOfItsOwn) {
    openMousepad(content);
    const auto programs = std::filesystem::read_symlink("/proc/self/exe").parent_path();
    AccessibilityProcess process(programs / "quillet-accessibility", loop, scheduler,
                                 Log(sink, Log::PrivateText::hide));
    const auto readsAll = [&] {
        const auto now = run(process.surroundings(pid, plenty));
        return now && now->before == content && now->fromStart && now->toEnd;
    };
    EXPECT_TRUE(comesTo(readsAll));
    record("surroundings", [&] { run(process.surroundings(pid, plenty)); });
    EXPECT_EQ(run(process.select(pid, "😀 four")), Selecting::selected);
    EXPECT_EQ(run(process.selection(pid)).text, "😀 four");
}

TEST_F(AtspiFocusedTextTest, ReadsTheNeighbourhoodOfTheCaretInALongText) {
    std::string text;
    for (int i = 0; i < 20'000; ++i)
        text += "A line with a face 😀\n";
    openMousepad(text + "the end");
    EXPECT_TRUE(comesTo([&] {
        const auto now = surroundings({10, 10});
        return now && now->before == " 😀\nthe end" && now->toEnd;
    }));
    EXPECT_FALSE(surroundings({1000, 1000})->fromStart);
    record("surroundings_of_a_long_text", [&] { surroundings({1000, 1000}); });
}

TEST_F(AtspiFocusedTextTest, ReadsNothingOfAPassword) {
    open({"zenity", "--password"}, "zenity");
    shell("xdotool type secret");
    for (int i = 0; i < 20; ++i) {
        EXPECT_FALSE(surroundings());
        EXPECT_EQ(select("secret"), Selecting::unreadable);
        EXPECT_EQ(select("••••••"), Selecting::unreadable);
    }
}

TEST_F(AtspiFocusedTextTest, AnswersInTimeForAnApplicationThatHangs) {
    openMousepad(content);
    ASSERT_TRUE(comesToRead(content, ""));
    program->signal(SIGSTOP);
    const auto start = std::chrono::steady_clock::now();
    EXPECT_EQ(select("four"), Selecting::unreadable);
    EXPECT_FALSE(surroundings());
    EXPECT_EQ(run(field.visibleText(pid, 100)), "");
    EXPECT_LT(std::chrono::steady_clock::now() - start, std::chrono::milliseconds(500));
    program->signal(SIGCONT);
    EXPECT_TRUE(comesToRead(content, "")) << "and nothing was selected belatedly";
}

TEST_F(AtspiFocusedTextTest, ReadsWhatAWindowShowsAroundItsField) {
    openBrowser(
        "<h1>Release notes</h1><p>See <a href=x>the plan</a> by Dr. Grünwald 😀</p>"
        "<p>Twice</p><p>Twice</p><input type=password value=secret><button>Press me</button>"
        "<p style='display:none'>invisible</p>"
        "<textarea autofocus>my own text</textarea><ul><li>Quillet</li><li>Feather</li></ul>");
    const auto visible = [&](std::size_t characters) {
        return run(field.visibleText(pid, characters));
    };
    EXPECT_TRUE(comesTo([&] { return visible(5000).find("Feather") != std::string::npos; }));
    const auto all = visible(5000);
    EXPECT_NE(all.find("Release notes\nSee\nthe plan\nby Dr. Grünwald 😀\nTwice\n"),
              std::string::npos)
        << all;
    EXPECT_EQ(all.find("Twice\nTwice"), std::string::npos) << all;
    for (const auto* hidden : {"own text", "secret", "••", "Press me", "invisible"})
        EXPECT_EQ(all.find(hidden), std::string::npos) << hidden << " in " << all;
    EXPECT_EQ(visible(7), "😀\nTwice");
    EXPECT_EQ(visible(0), "");
}

TEST_F(AtspiFocusedTextTest, ReadsTheLabelsOfAForm) {
    open({"zenity", "--forms", "--text=Who is there?", "--add-entry=First name",
          "--add-password=Secret"},
         "zenity");
    // The dialog tells its parts in an order of its own.
    const auto showsAll = [&] {
        const auto text = "\n" + run(field.visibleText(pid, 1000)) + "\n";
        return text.contains("\nWho is there?\n") && text.contains("\nFirst name\n") &&
               text.contains("\nSecret\n") && std::ranges::count(text, '\n') == 4;
    };
    EXPECT_TRUE(comesTo(showsAll)) << run(field.visibleText(pid, 1000));
}

}  // namespace

}  // namespace quillet::test
