#include "platform/linux/X11Desktop.h"

#include <signal.h>

#include <condition_variable>
#include <filesystem>
#include <fstream>
#include <mutex>

#include "platform/DesktopFixture.h"

namespace quillet::test {

namespace {

/// Counts error lines.
class ErrorCount final : public LogSink {
public:
    void write(LogLevel level, std::string_view, std::string_view) override {
        if (level != LogLevel::error)
            return;
        const std::scoped_lock lock(mutex_);
        ++count_;
        changed_.notify_all();
    }
    bool waitFor(int count) {
        std::unique_lock lock(mutex_);
        return changed_.wait_for(lock, std::chrono::seconds(10), [&] { return count_ >= count; });
    }

private:
    std::mutex mutex_;
    std::condition_variable changed_;
    int count_ = 0;  // guarded by mutex_
};

class X11DesktopTest : public DesktopFixture {};

TEST_F(X11DesktopTest, SaysThatThereIsNoDisplay) {
    const auto none = X11Desktop::open({.displayName = ":987", .dataFolders = {}}, loop,
                                       Log(makeNullLogSink(), Log::PrivateText::hide));
    ASSERT_FALSE(none);
    EXPECT_EQ(none.error(), X11Desktop::Error::noDisplay);
}

TEST_F(X11DesktopTest, OutlivesItsServer) {
    const auto fifo = ::testing::TempDir() + "quillet-display";
    shell("mkfifo " + fifo);
    auto server = std::make_unique<Program>(std::vector<std::string>{
        "sh", "-c", "exec Xvfb -displayfd 3 -nolisten tcp 3>" + fifo + " 2>/dev/null"});
    std::string number;
    std::getline(std::ifstream(fifo), number);
    std::filesystem::remove(fifo);

    const auto errors = std::make_shared<ErrorCount>();
    auto doomed = X11Desktop::open({.displayName = ":" + number, .dataFolders = {}}, loop,
                                   Log(errors, Log::PrivateText::hide));
    ASSERT_TRUE(doomed);
    auto& ports = **doomed;
    TaskScope tasks(loop);
    tasks.spawn(ports.idleMonitor().becomesIdle(std::chrono::hours(1)));
    ASSERT_TRUE(ports.keyboardMonitor().start({}, {}));
    ASSERT_TRUE(run(ports.pasteboard().writeText("x", Pasteboard::Lifetime::kept,
                                                 Pasteboard::Reach::clipboard)));
    server.reset();

    EXPECT_TRUE(errors->waitFor(2)) << "the keyboard's and the pasteboard's";
    EXPECT_FALSE(run(ports.pasteboard().snapshot()).complete);
    EXPECT_EQ(run(ports.pasteboard().writeText("x", Pasteboard::Lifetime::kept,
                                               Pasteboard::Reach::clipboard)),
              std::unexpected(Pasteboard::Error::unavailable));
    EXPECT_EQ(run(ports.keyPoster().postPaste(PasteStyle::clipboard)),
              std::unexpected(KeyPoster::Error::unavailable));
    EXPECT_EQ(ports.keyPoster().heldModifiers(), Modifiers());
    EXPECT_FALSE(ports.frontApplication().current());
    EXPECT_EQ(ports.inputSource().current(), "");
    EXPECT_FALSE(ports.inputSource().select(usInputSource));
    EXPECT_FALSE(ports.idleMonitor().idleFor());
    EXPECT_FALSE(tasks.empty()) << "it waits for what it cannot be told";
}

}  // namespace

}  // namespace quillet::test
