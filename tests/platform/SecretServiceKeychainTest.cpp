#include "platform/linux/SecretServiceKeychain.h"

#include <signal.h>

#include <cstdlib>

#include "platform/DesktopFixture.h"

namespace quillet::test {

namespace {

using Error = Keychain::Error;
using Read = std::expected<std::string, Error>;
using Done = std::expected<void, Error>;

constexpr auto defaultCollection = "/org/freedesktop/secrets/aliases/default";

class SecretServiceKeychainTest : public DesktopFixture {
protected:
    Read read(const std::string& name) { return run(keychain.read(name)); }
    Done write(const std::string& name, const std::string& value) {
        return run(keychain.write(name, value));
    }
    static void lock() {
        shell(
            "gdbus call --session --dest org.freedesktop.secrets --object-path "
            "/org/freedesktop/secrets --method org.freedesktop.Secret.Service.Lock "
            "\"['" +
            std::string(defaultCollection) + "']\" >/dev/null");
    }
    static bool isLocked() {
        return outputOf(std::string("gdbus call --session --dest org.freedesktop.secrets "
                                    "--object-path ") +
                        defaultCollection +
                        " --method org.freedesktop.DBus.Properties.Get "
                        "org.freedesktop.Secret.Collection Locked")
                   .find("true") != std::string::npos;
    }
    /// Waits for the desktop's question, answers it, and waits until it has gone.
    static void answerPrompt(const std::string& typing) {
        const std::string isFocused =
            "xprop -id $(xdotool getwindowfocus 2>&1) WM_CLASS 2>&1 | grep -q gcr-prompter";
        shell("timeout 10 sh -c 'until " + isFocused + "; do :; done'");
        shell(typing);
        shell("timeout 10 sh -c 'while " + isFocused + "; do :; done'");
    }
    static bool isPromptOpen() {
        return std::system("xdotool search --onlyvisible --class gcr-prompter >/dev/null") == 0;
    }
    Done unlockWith(const std::string& typing) {
        std::optional<Done> done;
        TaskScope scope(loop);
        const auto task = [&]() -> asio::awaitable<void> { done = co_await keychain.unlock(); };
        scope.spawn(task());
        loop.waitAndDrainOne();
        answerPrompt(typing);
        until([&] { return done.has_value(); });
        return done.value_or(std::unexpected(Error::failed));
    }

    SecretServiceKeychain keychain;
};

TEST_F(SecretServiceKeychainTest, KeepsReplacesAndRemovesSecrets) {
    EXPECT_EQ(read("key"), std::unexpected(Error::notFound));
    EXPECT_TRUE(write("key", "")) << "nothing to remove is as good as removed";
    EXPECT_TRUE(write("key", "one"));
    EXPECT_TRUE(write("other key", "pässword\n2"));
    EXPECT_TRUE(write("key", "two"));
    EXPECT_EQ(read("key"), "two");
    EXPECT_EQ(read("other key"), "pässword\n2");

    const auto stored = outputOf("secret-tool search --all service com.quillet.Quillet 2>&1");
    EXPECT_NE(stored.find("label = Quillet: key"), std::string::npos) << stored;
    EXPECT_NE(stored.find("account = other key"), std::string::npos) << stored;
    EXPECT_EQ(stored.find("secret = one"), std::string::npos) << stored;

    EXPECT_TRUE(write("key", ""));
    EXPECT_EQ(read("key"), std::unexpected(Error::notFound));
    EXPECT_TRUE(write("other key", ""));
}

TEST_F(SecretServiceKeychainTest, SaysThatItIsLockedUntilTheUserUnlocksIt) {
    ASSERT_TRUE(write("key", "kept"));
    lock();
    EXPECT_EQ(read("key"), std::unexpected(Error::locked));
    EXPECT_EQ(read("never stored"), std::unexpected(Error::locked));
    EXPECT_EQ(write("key", "new"), std::unexpected(Error::locked));
    EXPECT_EQ(write("key", ""), std::unexpected(Error::locked));
    EXPECT_FALSE(isPromptOpen());

    EXPECT_EQ(unlockWith("xdotool key Escape"), std::unexpected(Error::locked));
    EXPECT_TRUE(isLocked());
    EXPECT_TRUE(unlockWith("xdotool type vdesk && xdotool key Return"));
    EXPECT_FALSE(isLocked());
    EXPECT_EQ(read("key"), "kept");
    EXPECT_TRUE(run(keychain.unlock())) << "no question when it is open";
    EXPECT_TRUE(write("key", ""));
}

TEST_F(SecretServiceKeychainTest, GivesUpAKeyringThatDoesNotAnswer) {
    const auto daemon = std::stoi(
        outputOf("gdbus call --session --dest org.freedesktop.DBus --object-path / --method "
                 "org.freedesktop.DBus.GetConnectionUnixProcessID org.freedesktop.secrets | "
                 "tr -dc '0-9 ' | sed 's/^32 //'"));
    ASSERT_TRUE(write("key", "kept"));
    kill(daemon, SIGSTOP);
    {
        SecretServiceKeychain hasty({.call = std::chrono::milliseconds(200)});
        EXPECT_EQ(run(hasty.read("key")), std::unexpected(Error::failed));
        EXPECT_EQ(run(hasty.write("key", "x")), std::unexpected(Error::failed));
        // One more call is under way when the keychain goes, and does not hold it up.
        TaskScope scope(loop);
        SecretServiceKeychain patient({.call = std::chrono::hours(1)});
        const auto task = [&]() -> asio::awaitable<void> { co_await patient.read("key"); };
        scope.spawn(task());
        loop.waitAndDrainOne();
        scope.cancelAndJoin();
    }
    kill(daemon, SIGCONT);
    EXPECT_EQ(read("key"), "kept");
    EXPECT_TRUE(write("key", ""));
}

/// Runs in a process of its own, whose session bus is another one.
TEST_F(SecretServiceKeychainTest, DISABLED_IsAbsent) {
    EXPECT_EQ(read("key"), std::unexpected(Error::absent));
    EXPECT_EQ(write("key", "x"), std::unexpected(Error::absent));
    EXPECT_EQ(run(keychain.unlock()), std::unexpected(Error::absent));
}

TEST_F(SecretServiceKeychainTest, IsAbsentWithoutABusOrAKeyringOnIt) {
    runOn(OtherBus::none, "SecretServiceKeychainTest.DISABLED_IsAbsent");
    runOn(OtherBus::empty, "SecretServiceKeychainTest.DISABLED_IsAbsent");
}

}  // namespace

}  // namespace quillet::test
