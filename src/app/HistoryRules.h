#pragma once

#include <memory>
#include <mutex>
#include <string>
#include <vector>

#include "base/notification/NotificationCenter.h"
#include "settings/AppSettings.h"
#include "store/SessionStore.h"

namespace quillet {

/// What the history keeps and shows, as the settings have it now. The store asks on its own thread,
/// so the answers come from a copy that follows the settings.
class HistoryRules {
public:
    HistoryRules(const AppSettings& settings, NotificationCenter& notifications);

    /// Good for as long as the store lives, also beyond this.
    [[nodiscard]] SessionStore::Rules rules() const;

private:
    struct Copy {
        std::mutex mutex;
        bool logging = true;                // guarded by mutex
        std::vector<std::string> excluded;  // guarded by mutex
    };

    void follow(const QuilletSettings& record);

    std::shared_ptr<Copy> copy_ = std::make_shared<Copy>();
    NotificationCenter::Subscription settingsChanged_;
};

}  // namespace quillet
