#pragma once

#include <cstdint>
#include <functional>
#include <map>
#include <memory>
#include <string>
#include <string_view>

namespace quillet {

/// Broadcasts inside the program, by name. Everything belongs to the main queue's thread.
class NotificationCenter {
public:
    using Handler = std::function<void()>;

    /// Ends its subscription when destroyed; may outlive the centre.
    class Subscription {
    public:
        Subscription() = default;
        ~Subscription();
        Subscription(Subscription&& other) noexcept;
        Subscription& operator=(Subscription&& other) noexcept;
        Subscription(const Subscription&) = delete;
        Subscription& operator=(const Subscription&) = delete;

    private:
        friend class NotificationCenter;
        struct Registry;
        Subscription(std::weak_ptr<Registry> registry, std::uint64_t id)
            : registry_(std::move(registry)), id_(id) {}
        std::weak_ptr<Registry> registry_;
        std::uint64_t id_ = 0;
    };

    NotificationCenter();
    ~NotificationCenter();
    NotificationCenter(const NotificationCenter&) = delete;
    NotificationCenter& operator=(const NotificationCenter&) = delete;

    /// `handler` runs inside `post`, in the order of subscribing.
    [[nodiscard]] Subscription subscribe(std::string name, Handler handler);
    void post(std::string_view name);

private:
    std::shared_ptr<Subscription::Registry> registry_;
};

/// The dictation's state changed.
inline constexpr std::string_view stateChangedNotification = "Quillet.StateChanged";
/// Recognition failed.
inline constexpr std::string_view sttErrorNotification = "Quillet.STTError";
/// A history entry was written.
inline constexpr std::string_view entryLoggedNotification = "Quillet.EntryLogged";

}  // namespace quillet
