#include "platform/linux/UPowerSupply.h"

#include <cstdlib>
#include <filesystem>
#include <fstream>

#include "base/async/TaskScope.h"
#include "platform/DesktopFixture.h"

namespace quillet::test {

namespace {

namespace fs = std::filesystem;

class UPowerSupplyTest : public DesktopFixture {
protected:
    UPowerSupplyTest() { fs::remove_all(supplies); }
    ~UPowerSupplyTest() override { fs::remove_all(supplies); }

    static void useSystemBus(const std::string& address) {
        setenv("DBUS_SYSTEM_BUS_ADDRESS", address.c_str(), 1);
    }
    void write(const std::string& file, const std::string& line) const {
        fs::create_directories((supplies / file).parent_path());
        std::ofstream(supplies / file) << line << "\n";
    }

    const fs::path supplies = fs::path(::testing::TempDir()) / "quillet-supplies";
};

TEST_F(UPowerSupplyTest, AsksUPowerAndHearsOfThePlug) {
    useSystemBus(std::getenv("DBUS_SESSION_BUS_ADDRESS"));
    const Program mock({"/usr/bin/python3", "-m", "dbusmock", "--logfile=/dev/null", "--system",
                        "--template", "upower", "--parameters", R"({"OnBattery": true})"});
    shell("gdbus wait --session --timeout 10 org.freedesktop.UPower");
    const auto setOnBattery = [](const std::string& value) {
        shell(
            "gdbus call --session -d org.freedesktop.UPower -o /org/freedesktop/UPower"
            " -m org.freedesktop.DBus.Mock.UpdateProperties org.freedesktop.UPower"
            " \"{'OnBattery': <" +
            value + ">}\" >/dev/null");
    };

    UPowerSupply power(supplies);
    TaskScope tasks(loop);
    int plugged = 0;
    bool doomedPlugged = false;
    const auto count = [&]() -> asio::awaitable<void> {
        for (;;) {
            co_await power.becomesPlugged();
            ++plugged;
        }
    };
    const auto once = [&]() -> asio::awaitable<void> {
        co_await power.becomesPlugged();
        doomedPlugged = true;
    };
    tasks.spawn(count());
    const auto doomed = tasks.spawn(once());
    EXPECT_FALSE(run(power.isOnPower()));
    doomed.cancel();
    EXPECT_EQ(plugged, 0);
    setOnBattery("false");
    until([&] { return plugged == 1; });
    EXPECT_TRUE(run(power.isOnPower()));

    setOnBattery("true");
    setOnBattery("false");
    until([&] { return plugged == 2; });
    EXPECT_FALSE(doomedPlugged);
}

TEST_F(UPowerSupplyTest, WithoutUPowerAsksTheKernel) {
    useSystemBus("unix:path=/nonexistent");
    UPowerSupply power(supplies);
    EXPECT_TRUE(run(power.isOnPower())) << "a machine without supplies";

    write("mouse/type", "Battery");
    write("mouse/scope", "Device");
    write("mouse/status", "Discharging");
    write("BAT0/type", "Battery");
    write("BAT0/status", "Full");
    write("AC/type", "Mains");
    write("AC/online", "0");
    EXPECT_TRUE(run(power.isOnPower())) << "neither charging nor discharging";
    write("BAT0/status", "Discharging");
    EXPECT_FALSE(run(power.isOnPower()));
    write("port/type", "USB");
    write("port/online", "1");
    EXPECT_TRUE(run(power.isOnPower())) << "a weak charger is one";
}

}  // namespace

}  // namespace quillet::test
