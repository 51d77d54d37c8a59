#include "platform/absent/MemoryUserDefaults.h"

#include <nlohmann/json.hpp>

namespace quillet {

struct MemoryUserDefaults::Records {
    std::map<std::string, nlohmann::json, std::less<>> all;
};

MemoryUserDefaults::MemoryUserDefaults() : records_(std::make_unique<Records>()) {}

MemoryUserDefaults::~MemoryUserDefaults() = default;

std::optional<nlohmann::json> MemoryUserDefaults::get(std::string_view key) const {
    const auto found = records_->all.find(key);
    return found == records_->all.end() ? std::nullopt : std::optional(found->second);
}

bool MemoryUserDefaults::set(std::string_view key, nlohmann::json value) {
    records_->all.insert_or_assign(std::string(key), std::move(value));
    return true;
}

bool MemoryUserDefaults::remove(std::string_view key) {
    const auto found = records_->all.find(key);
    if (found != records_->all.end())
        records_->all.erase(found);
    return true;
}

bool MemoryUserDefaults::edit(std::string_view key, const Change& change) {
    auto value = change(get(key));
    return value ? set(key, std::move(*value)) : remove(key);
}

void MemoryUserDefaults::onExternalChange(std::function<void()> changed) {
    changed_ = std::move(changed);
}

void MemoryUserDefaults::changeFromOutside(std::string_view key, nlohmann::json value) {
    set(key, std::move(value));
    if (changed_)
        changed_();
}

}  // namespace quillet
