#pragma once

#include <deque>
#include <optional>
#include <string>
#include <vector>

#include "base/async/Scheduler.h"

namespace quillet {

/// What was dictated just before into the same application, which tells the language model what a
/// short reply answers. Only what the model has seen before; kept in memory only.
class RecentDictations {
public:
    static constexpr std::size_t mostTexts = 3;
    static constexpr std::chrono::minutes window{10};

    void add(std::optional<std::string> bundleID, std::string text, Scheduler::TimePoint at) {
        texts_.push_back({std::move(bundleID), std::move(text), at});
        if (texts_.size() > mostKept)
            texts_.pop_front();
    }

    void clear() { texts_.clear(); }

    /// Oldest first.
    [[nodiscard]] std::vector<std::string> before(const std::optional<std::string>& bundleID,
                                                  Scheduler::TimePoint now) const {
        std::vector<std::string> found;
        for (const auto& dictated : texts_) {
            if (bundleID && dictated.bundleID == bundleID && now - dictated.at <= window)
                found.push_back(dictated.text);
        }
        if (found.size() > mostTexts)
            found.erase(found.begin(), found.end() - mostTexts);
        return found;
    }

private:
    /// Of all applications together.
    static constexpr std::size_t mostKept = 30;

    struct Dictated {
        std::optional<std::string> bundleID;
        std::string text;
        Scheduler::TimePoint at;
    };
    std::deque<Dictated> texts_;
};

}  // namespace quillet
