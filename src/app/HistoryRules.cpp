#include "app/HistoryRules.h"

namespace quillet {

HistoryRules::HistoryRules(const AppSettings& settings, NotificationCenter& notifications) {
    follow(settings.record());
    settingsChanged_ = notifications.subscribe(std::string(settingsChangedNotification),
                                               [this, &settings] { follow(settings.record()); });
}

void HistoryRules::follow(const QuilletSettings& record) {
    const std::scoped_lock lock(copy_->mutex);
    copy_->logging = record.sessionLoggingEnabled;
    copy_->excluded = record.sessionBlacklist;
}

SessionStore::Rules HistoryRules::rules() const {
    const auto isExcluded = [copy = copy_](const std::string& bundleID) {
        return std::ranges::find(copy->excluded, bundleID) != copy->excluded.end();
    };
    SessionStore::Rules rules;
    rules.keeps = [copy = copy_, isExcluded](const std::string& bundleID) {
        const std::scoped_lock lock(copy->mutex);
        return copy->logging && !isExcluded(bundleID);
    };
    rules.hides = [copy = copy_, isExcluded](const std::string& bundleID) {
        const std::scoped_lock lock(copy->mutex);
        return isExcluded(bundleID);
    };
    return rules;
}

}  // namespace quillet
