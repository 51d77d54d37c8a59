#pragma once

#include <memory>

#include "base/log/Log.h"
#include "platform/Pasteboard.h"

namespace quillet {

/// The clipboard of an X server, served from a thread and a connection of its own, so that no other
/// program can hold up this one.
///
/// A snapshot is incomplete when it would exceed 64 MB or takes longer than 0.5 s. What is on the
/// clipboard when this object goes is handed to the desktop's clipboard manager, if there is one,
/// which may take another 0.3 s.
class X11Pasteboard final : public Pasteboard {
public:
    X11Pasteboard(const std::string& displayName, Log log);
    ~X11Pasteboard() override;

    asio::awaitable<PasteboardSnapshot> snapshot() override;
    asio::awaitable<std::expected<std::uint64_t, Error>> writeText(std::string text,
                                                                   Lifetime lifetime,
                                                                   Reach reach) override;
    asio::awaitable<bool> restore(PasteboardSnapshot snapshot, std::uint64_t ifCount) override;
    std::uint64_t changeCount() const override;
    void forgetFetches() override;
    asio::awaitable<void> waitUntilFetched() override;

private:
    class Clerk;
    std::unique_ptr<Clerk> clerk_;
};

}  // namespace quillet
