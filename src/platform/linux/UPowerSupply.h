#pragma once

#include <filesystem>
#include <memory>

#include "platform/PowerSupply.h"

namespace quillet {

/// What UPower says on the system bus or, where it is not there, the kernel. Only UPower tells of
/// changes. A thread of its own asks, begun with the first question. Main queue.
class UPowerSupply final : public PowerSupply {
public:
    /// `supplies` is the kernel's folder of power supplies.
    explicit UPowerSupply(std::filesystem::path supplies = "/sys/class/power_supply");
    ~UPowerSupply() override;

    asio::awaitable<bool> isOnPower() override;
    asio::awaitable<void> becomesPlugged() override;

private:
    class Watcher;
    [[nodiscard]] Watcher& watcher();

    const std::filesystem::path supplies_;
    std::unique_ptr<Watcher> watcher_;
};

/// Whether the kernel's power supplies give power. Without any the machine is on power; batteries
/// of mice and other devices are none of its own.
[[nodiscard]] bool suppliesGivePower(const std::filesystem::path& supplies);

}  // namespace quillet
