#pragma once

#include <functional>
#include <map>
#include <memory>
#include <string>

#include "platform/UserDefaults.h"

namespace quillet {

/// Records that nothing stores: they last as long as the program.
class MemoryUserDefaults final : public UserDefaults {
public:
    MemoryUserDefaults();
    ~MemoryUserDefaults() override;

    std::optional<nlohmann::json> get(std::string_view key) const override;
    bool set(std::string_view key, nlohmann::json value) override;
    bool remove(std::string_view key) override;
    bool edit(std::string_view key, const Change& change) override;
    void onExternalChange(std::function<void()> changed) override;

    /// Behaves as if another process had written.
    void changeFromOutside(std::string_view key, nlohmann::json value);

private:
    struct Records;
    std::unique_ptr<Records> records_;
    std::function<void()> changed_;
};

}  // namespace quillet
