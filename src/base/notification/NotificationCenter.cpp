#include "base/notification/NotificationCenter.h"

#include <vector>

namespace quillet {

struct NotificationCenter::Subscription::Registry {
    struct Entry {
        std::string name;
        Handler handler;
    };
    std::uint64_t nextId = 1;
    std::map<std::uint64_t, Entry> entries;
};

NotificationCenter::NotificationCenter() : registry_(std::make_shared<Subscription::Registry>()) {}

NotificationCenter::~NotificationCenter() = default;

NotificationCenter::Subscription::~Subscription() {
    if (const auto registry = registry_.lock())
        registry->entries.erase(id_);
}

NotificationCenter::Subscription::Subscription(Subscription&& other) noexcept
    : registry_(std::exchange(other.registry_, {})), id_(other.id_) {}

NotificationCenter::Subscription& NotificationCenter::Subscription::operator=(
    Subscription&& other) noexcept {
    std::swap(registry_, other.registry_);
    std::swap(id_, other.id_);
    return *this;
}

NotificationCenter::Subscription NotificationCenter::subscribe(std::string name, Handler handler) {
    const auto id = registry_->nextId++;
    registry_->entries[id] = {std::move(name), std::move(handler)};
    return {registry_, id};
}

void NotificationCenter::post(std::string_view name) {
    // A handler may subscribe or unsubscribe, itself included.
    std::vector<std::uint64_t> ids;
    for (const auto& [id, entry] : registry_->entries) {
        if (entry.name == name)
            ids.push_back(id);
    }
    for (const auto id : ids) {
        const auto found = registry_->entries.find(id);
        if (found == registry_->entries.end())
            continue;
        const auto handler = found->second.handler;
        handler();
    }
}

}  // namespace quillet
