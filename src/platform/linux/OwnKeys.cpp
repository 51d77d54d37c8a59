#include "platform/linux/OwnKeys.h"

#include <algorithm>
#include <utility>

namespace quillet {

namespace {

/// A posted stroke that was not seen by then never will be, for instance because nobody watches.
constexpr auto longestJourney = std::chrono::seconds(1);

}  // namespace

void OwnKeys::expect(Keycode key, Stroke stroke) {
    const auto now = std::chrono::steady_clock::now();
    const std::scoped_lock lock(mutex_);
    while (!expected_.empty() && expected_.front().since + longestJourney < now)
        expected_.pop_front();
    expected_.push_back({key, stroke, now});
}

bool OwnKeys::claim(Keycode key, Stroke stroke) {
    const auto oldest = std::chrono::steady_clock::now() - longestJourney;
    const std::scoped_lock lock(mutex_);
    const auto found = std::ranges::find_if(expected_, [&](const Expected& one) {
        return one.key == key && one.stroke == stroke && one.since >= oldest;
    });
    if (found == expected_.end())
        return false;
    expected_.erase(found);
    return true;
}

void OwnKeys::publish(User user) {
    const std::scoped_lock lock(mutex_);
    user_ = std::move(user);
}

void OwnKeys::withdraw() {
    const std::scoped_lock lock(mutex_);
    user_.reset();
}

std::optional<OwnKeys::User> OwnKeys::user() const {
    const std::scoped_lock lock(mutex_);
    return user_;
}

}  // namespace quillet
