#include "platform/DesktopFixture.h"

#include <signal.h>
#include <spawn.h>
#include <sys/wait.h>
#include <unistd.h>

#include <array>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <stdexcept>

namespace quillet::test {

namespace {

constexpr auto patience = std::chrono::seconds(10);

}  // namespace

Program::Program(std::vector<std::string> command) {
    std::vector<char*> arguments;
    arguments.reserve(command.size() + 1);
    for (auto& word : command)
        arguments.push_back(word.data());
    arguments.push_back(nullptr);
    if (posix_spawnp(&pid_, arguments[0], nullptr, nullptr, arguments.data(), environ) != 0)
        throw std::runtime_error("cannot start " + command[0]);
}

Program::~Program() {
    if (pid_ <= 0)
        return;
    kill(pid_, SIGKILL);
    wait();
}

void Program::signal(int number) const {
    kill(pid_, number);
}

void Program::wait() {
    waitpid(pid_, nullptr, 0);
    pid_ = 0;
}

std::string outputOf(const std::string& command) {
    FILE* pipe = popen(command.c_str(), "r");
    std::string output;
    std::array<char, 65536> buffer{};
    while (const auto got = std::fread(buffer.data(), 1, buffer.size(), pipe))
        output.append(buffer.data(), got);
    pclose(pipe);
    return output;
}

void shell(const std::string& command) {
    ASSERT_EQ(std::system(command.c_str()), 0) << command;
}

void runOn(OtherBus bus, const std::string& test) {
    const std::string program = std::filesystem::read_symlink("/proc/self/exe");
    const auto command = "timeout -k 1 60 " + program +
                         " --gtest_also_run_disabled_tests --gtest_filter=" + test +
                         " 2>&1 | grep -q '  PASSED  . 1 test'";
    if (bus == OtherBus::none) {
        shell("DBUS_SESSION_BUS_ADDRESS=unix:path=/nonexistent " + command);
        return;
    }
    if (bus == OtherBus::fresh) {
        // Its services keep their sockets to themselves, and leave no note on the display.
        const auto folder = ::testing::TempDir() + "quillet-run";
        shell("mkdir -p " + folder + " && XDG_RUNTIME_DIR=" + folder + " dbus-run-session -- " +
              command);
        shell("rm -rf " + folder + " && xprop -root -remove AT_SPI_BUS");
        return;
    }
    const auto config = ::testing::TempDir() + "quillet-bus.conf";
    std::ofstream(config) << "<busconfig><type>session</type><listen>unix:tmpdir=/tmp</listen>"
                             "<policy context='default'><allow send_destination='*'/>"
                             "<allow receive_sender='*'/><allow own='*'/></policy></busconfig>";
    shell("dbus-run-session --config-file=" + config + " -- " + command);
    std::filesystem::remove(config);
}

std::optional<FrontApp> activate(const std::string& windowClass, FrontApplication& front) {
    // A window that goes while xdotool looks at it, as browsers have them at their start, ends it.
    shell("timeout 10 sh -c 'until xdotool search --sync --onlyvisible --class " + windowClass +
          " windowactivate --sync 2>/dev/null; do :; done'");
    const auto deadline = std::chrono::steady_clock::now() + patience;
    auto app = front.current();
    while (!app && std::chrono::steady_clock::now() < deadline)
        app = front.current();
    return app;
}

DesktopFixture::DesktopFixture() {
    auto opened =
        X11Desktop::open({.displayName = {}, .dataFolders = X11Desktop::environmentDataFolders()},
                         loop, Log(makeNullLogSink(), Log::PrivateText::hide));
    if (!opened)
        throw std::runtime_error("there is no display: run the tests in scripts/virtual-desktop");
    desktop = std::move(*opened);
}

void DesktopFixture::until(const std::function<bool()>& reached) {
    bool expired = false;
    TaskScope watch(loop);
    const auto watchdog = [&]() -> asio::awaitable<void> {
        co_await scheduler.sleep(patience);
        expired = true;
    };
    watch.spawn(watchdog());
    while (!reached() && !expired)
        loop.waitAndDrainOne();
    ASSERT_FALSE(expired) << "what was waited for did not happen";
}

void DesktopFixture::watchKeyboard() {
    const auto started = desktop->keyboardMonitor().start(
        [this](const KeyboardEvent& event) { events.push_back(event); },
        [this](const KeyboardMonitor::Conflict& conflict) { conflicts.push_back(conflict); });
    ASSERT_TRUE(started);
}

KeyboardEvent DesktopFixture::waitFor(KeyboardEvent::Kind kind, Key key) {
    KeyboardEvent result;
    until([&] {
        for (std::size_t i = 0; i < events.size(); ++i) {
            if (events[i].kind != kind || (key != Key::none && events[i].key != key))
                continue;
            result = events[i];
            events.erase(events.begin(), events.begin() + static_cast<std::ptrdiff_t>(i) + 1);
            return true;
        }
        return false;
    });
    return result;
}

void DesktopFixture::settleKeyboard() {
    shell("xdotool key Return");
    waitFor(KeyboardEvent::Kind::keyUp, Key::returnKey);
}

}  // namespace quillet::test
