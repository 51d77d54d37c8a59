#include "platform/linux/DesktopService.h"

#include "platform/DesktopFixture.h"

namespace quillet::test {

namespace {

class DesktopServiceTest : public DesktopFixture {
protected:
    /// Calls the application as a launcher does, once its name is there.
    static std::string call(const std::string& method, const std::string& arguments) {
        const std::string name = DesktopService::busName;
        return outputOf("gdbus wait --session --timeout 10 " + name +
                        " && gdbus call --session -d " + name +
                        " -o /com/quillet/Quillet -m org.freedesktop.Application." + method + " " +
                        arguments + " 2>&1");
    }

    std::vector<std::string> called;
    DesktopService::Calls calls{[this] { called.emplace_back("activate"); },
                                [this](const std::string& action) { called.push_back(action); }};
    Log log{makeNullLogSink(), Log::PrivateText::hide};
};

TEST_F(DesktopServiceTest, PassesOnWhatTheUserChoseInOrder) {
    const DesktopService service(loop, calls, log);
    EXPECT_EQ(call("ActivateAction", "history '[]' '{}'"), "()\n");
    EXPECT_EQ(call("Activate", "'{}'"), "()\n");
    EXPECT_EQ(call("Open", "\"['file:///a.wav']\" '{}'"), "()\n");
    until([&] { return called.size() == 3; });
    EXPECT_EQ(called, (std::vector<std::string>{"history", "activate", "activate"}));
}

TEST_F(DesktopServiceTest, GivesItsNameBackAndCallsNobodyAfterItsEnd) {
    {
        const DesktopService service(loop, calls, log);
        EXPECT_EQ(call("Activate", "'{}'"), "()\n");
    }
    loop.drain();
    EXPECT_TRUE(called.empty()) << "the call came through after the end";
    EXPECT_EQ(outputOf("gdbus call --session -d org.freedesktop.DBus -o / -m "
                       "org.freedesktop.DBus.NameHasOwner com.quillet.Quillet"),
              "(false,)\n");
}

TEST_F(DesktopServiceTest, DISABLED_BeginsAndEndsWithoutABus) {
    const DesktopService service(loop, calls, log);
}
TEST(DesktopServiceWithoutABus, EndsAtOnce) {
    runOn(OtherBus::none, "DesktopServiceTest.DISABLED_BeginsAndEndsWithoutABus");
}

}  // namespace

}  // namespace quillet::test
