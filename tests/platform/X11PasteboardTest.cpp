#include <signal.h>

#include <chrono>
#include <fstream>
#include <random>

#include "platform/DesktopFixture.h"
#include "platform/XPeer.h"
#include "platform/linux/X11Pasteboard.h"

namespace quillet::test {

namespace {

using Lifetime = Pasteboard::Lifetime;
using Reach = Pasteboard::Reach;

constexpr auto toClipboard = "xclip -selection clipboard -i >/dev/null 2>&1 ";
constexpr auto fromClipboard = "xclip -selection clipboard -o 2>/dev/null ";

std::string noise(std::size_t size) {
    std::mt19937 random(7);
    std::string bytes(size, '\0');
    for (auto& byte : bytes)
        byte = static_cast<char>(random());
    return bytes;
}

class X11PasteboardTest : public DesktopFixture {
protected:
    ~X11PasteboardTest() override {
        run(desktop->pasteboard().restore({}, desktop->pasteboard().changeCount()));
    }

    Pasteboard& board() { return desktop->pasteboard(); }
    std::uint64_t write(const std::string& text, Lifetime lifetime = Lifetime::transient,
                        Reach reach = Reach::clipboard) {
        const auto count = run(board().writeText(text, lifetime, reach));
        EXPECT_TRUE(count);
        return count.value_or(0);
    }
    /// Turns until somebody else has copied.
    void waitForCopy(std::uint64_t since) {
        while (board().changeCount() == since && !HasFatalFailure())
            run(board().snapshot());
    }
    /// Copies with another program, which goes to the background before it has copied.
    void copy(const std::string& arguments, const std::string& source = {}) {
        const auto before = board().changeCount();
        shell(source + toClipboard + arguments);
        waitForCopy(before);
    }
    std::chrono::milliseconds timed(const std::function<void()>& work) {
        const auto start = std::chrono::steady_clock::now();
        work();
        return std::chrono::duration_cast<std::chrono::milliseconds>(
            std::chrono::steady_clock::now() - start);
    }
};

TEST_F(X11PasteboardTest, OffersTextInEveryFormAndMarksWhatIsNotForKeeping) {
    const auto before = board().changeCount();
    const std::string text = "Grüße, 你好 👋";
    const auto count = write(text, Lifetime::transient, Reach::clipboardAndPrimary);
    EXPECT_EQ(count, before + 1);
    EXPECT_EQ(board().changeCount(), count);
    EXPECT_EQ(outputOf(std::string(fromClipboard) + "-t UTF8_STRING"), text);
    EXPECT_EQ(outputOf(std::string(fromClipboard) + "-t text/plain"), text);
    EXPECT_EQ(outputOf("xclip -o -selection primary"), text);
    EXPECT_EQ(outputOf(std::string(fromClipboard) + "-t STRING"),
              "Gr\xFC\xDF"
              "e, ?? ?");
    EXPECT_EQ(outputOf(std::string(fromClipboard) + "-t x-kde-passwordManagerHint"), "secret");
    EXPECT_NE(outputOf(std::string(fromClipboard) + "-t TARGETS").find("TransientType"),
              std::string::npos);

    write("kept", Lifetime::kept, Reach::clipboard);
    EXPECT_EQ(outputOf(fromClipboard), "kept");
    const auto targets = outputOf(std::string(fromClipboard) + "-t TARGETS");
    EXPECT_EQ(targets.find("Hint"), std::string::npos);
    EXPECT_EQ(outputOf("xclip -o -selection primary 2>/dev/null"), "") << "no old dictation stays";
}

TEST_F(X11PasteboardTest, PutsALargeImageOfAnotherProgramBackByteForByte) {
    const auto image = noise(3 << 20);
    const auto file = ::testing::TempDir() + "quillet-image";
    std::ofstream(file) << image;
    copy("-t image/png " + file);
    const auto snapshot = run(board().snapshot());
    EXPECT_TRUE(snapshot.complete);
    const auto count = write("dictated");
    EXPECT_EQ(outputOf(fromClipboard), "dictated");
    EXPECT_TRUE(run(board().restore(snapshot, count)));
    EXPECT_EQ(board().changeCount(), count + 1);
    EXPECT_EQ(outputOf(std::string(fromClipboard) + "-t image/png"), image);
    EXPECT_EQ(run(board().snapshot()), snapshot);
    std::remove(file.c_str());
}

TEST_F(X11PasteboardTest, PutsEveryFormatBack) {
    // Another instance stands for a program that offers several formats.
    X11Pasteboard other({}, Log(makeNullLogSink(), Log::PrivateText::hide));
    const PasteboardSnapshot rich{{{"UTF8_STRING", "plain", 8},
                                   {"text/html", "<b>rich</b>", 8},
                                   {"image/png", noise(1 << 20), 8},
                                   {"application/x-empty", "", 8},
                                   {"application/x-words", "abcdefgh", 16},
                                   {"application/x-numbers", "abcdefgh", 32}},
                                  true};
    ASSERT_TRUE(run(other.restore(rich, other.changeCount())));
    EXPECT_EQ(run(board().snapshot()), rich);
    const auto count = write("dictated");
    EXPECT_TRUE(run(board().restore(rich, count)));
    EXPECT_EQ(run(other.snapshot()), rich);
    EXPECT_EQ(outputOf(std::string(fromClipboard) + "-t text/html"), "<b>rich</b>");
}

TEST_F(X11PasteboardTest, EmptiesTheClipboardThatWasEmpty) {
    ASSERT_TRUE(run(board().restore({}, board().changeCount())));
    const auto empty = run(board().snapshot());
    EXPECT_TRUE(empty.complete);
    EXPECT_TRUE(empty.items.empty());
    const auto count = write("dictated");
    EXPECT_TRUE(run(board().restore(empty, count)));
    EXPECT_EQ(outputOf(fromClipboard), "");
    EXPECT_EQ(board().changeCount(), count) << "nobody put anything there";
}

TEST_F(X11PasteboardTest, DoesNotRestoreOverWhatSomebodyCopiedMeanwhile) {
    const auto snapshot = run(board().snapshot());
    const auto count = write("dictated");
    copy("", "printf foreign | ");
    EXPECT_FALSE(run(board().restore(snapshot, count)));
    EXPECT_EQ(outputOf(fromClipboard), "foreign");
    EXPECT_EQ(board().changeCount(), count + 1);
}

TEST_F(X11PasteboardTest, AHungOwnerCostsTheBudgetAndNoMore) {
    const auto before = board().changeCount();
    const auto file = ::testing::TempDir() + "quillet-hung";
    std::ofstream(file) << "hung";
    const Program owner({"xclip", "-quiet", "-selection", "clipboard", "-i", file});
    waitForCopy(before);
    owner.signal(SIGSTOP);
    PasteboardSnapshot snapshot;
    const auto took = timed([&] { snapshot = run(board().snapshot()); });
    RecordProperty("hung_owner_ms", static_cast<int>(took.count()));
    EXPECT_FALSE(snapshot.complete);
    EXPECT_GE(took.count(), 490);
    EXPECT_LE(took.count(), 600);

    // It wakes up and answers late; nobody minds.
    const auto count = write("dictated");
    owner.signal(SIGCONT);
    EXPECT_EQ(outputOf(fromClipboard), "dictated");
    copy("", "printf next | ");
    const auto next = run(board().snapshot());
    EXPECT_TRUE(next.complete);
    EXPECT_FALSE(run(board().restore(next, count)));
    std::remove(file.c_str());
}

TEST_F(X11PasteboardTest, WaitsUntilTheTextIsFetched) {
    write("first");
    bool fetched = false;
    TaskScope scope(loop);
    const auto waiting = [&]() -> asio::awaitable<void> {
        co_await board().waitUntilFetched();
        fetched = true;
    };
    scope.spawn(waiting());
    outputOf(std::string(fromClipboard) + "-t TARGETS");
    outputOf(std::string(fromClipboard) + "-t x-kde-passwordManagerHint");
    run(board().snapshot());
    EXPECT_FALSE(fetched) << "neither a look at the formats nor at the hints counts";
    EXPECT_EQ(outputOf(fromClipboard), "first");
    until([&] { return fetched; });
    run(board().waitUntilFetched());

    write("second");
    fetched = false;
    const auto task = scope.spawn(waiting());
    run(board().snapshot());
    EXPECT_FALSE(fetched) << "a new text has not been fetched yet";
    task.cancel();
    until([&] { return !task.running(); });
    EXPECT_FALSE(fetched);
}

TEST_F(X11PasteboardTest, HandsOverToAClipboardManagerWhatIsForKeeping) {
    const auto leave = [&](Lifetime lifetime) {
        auto other =
            std::make_unique<X11Pasteboard>("", Log(makeNullLogSink(), Log::PrivateText::hide));
        ASSERT_TRUE(run(other->writeText("left", lifetime, Reach::clipboard)));
        const auto took = timed([&] { other.reset(); });
        EXPECT_LE(took.count(), 400);
    };
    ClipboardManager manager;
    leave(Lifetime::kept);
    EXPECT_EQ(manager.takeSaved(), "left");
    leave(Lifetime::transient);
    EXPECT_EQ(manager.takeSaved(), "");
    manager.sleep();
    leave(Lifetime::kept);
}

TEST_F(X11PasteboardTest, PastesIntoATerminal) {
    const auto file = ::testing::TempDir() + "quillet-terminal";
    Program terminal({"xterm", "-e", "head -n1 > " + file});
    const auto front = activate("XTerm", desktop->frontApplication());
    ASSERT_TRUE(front);
    EXPECT_EQ(front->pasteStyle, PasteStyle::terminal);
    write("echo dictated", Lifetime::transient, Reach::clipboardAndPrimary);
    EXPECT_TRUE(run(desktop->keyPoster().postPaste(front->pasteStyle)));
    run(board().waitUntilFetched());
    EXPECT_TRUE(run(desktop->keyPoster().postKey({{}, Key::returnKey})));
    terminal.wait();
    EXPECT_EQ(outputOf("cat " + file), "echo dictated\n");
    std::remove(file.c_str());
}

TEST_F(X11PasteboardTest, PastesIntoAnEditorWhileTheUserHoldsTheChord) {
    std::system("gsettings set org.xfce.mousepad.preferences.file session-restore never");
    Program editor({"mousepad", "--disable-server"});
    ASSERT_TRUE(activate("Mousepad", desktop->frontApplication()));
    auto count = write("dictated 你好");
    shell("xdotool keydown Control_L keydown Alt_L");
    EXPECT_TRUE(run(desktop->keyPoster().postPaste(PasteStyle::clipboard)));
    run(board().waitUntilFetched());
    shell("xdotool keyup Alt_L keyup Control_L key ctrl+a key ctrl+c");
    waitForCopy(count);
    EXPECT_EQ(outputOf(fromClipboard), "dictated 你好");

    // Its own formats are many and come back as they were.
    const auto snapshot = run(board().snapshot());
    EXPECT_TRUE(snapshot.complete);
    count = write("other");
    EXPECT_TRUE(run(board().restore(snapshot, count)));
    EXPECT_EQ(outputOf(fromClipboard), "dictated 你好");
}

}  // namespace

}  // namespace quillet::test
