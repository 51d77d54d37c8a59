#pragma once

#include "platform/Pasteboard.h"

namespace quillet {

/// A desktop without a clipboard.
class AbsentPasteboard final : public Pasteboard {
public:
    asio::awaitable<PasteboardSnapshot> snapshot() override;
    asio::awaitable<std::expected<std::uint64_t, Error>> writeText(std::string text,
                                                                   Lifetime lifetime,
                                                                   Reach reach) override;
    asio::awaitable<bool> restore(PasteboardSnapshot snapshot, std::uint64_t ifCount) override;
    std::uint64_t changeCount() const override { return 0; }
    void forgetFetches() override {}
    asio::awaitable<void> waitUntilFetched() override;
};

}  // namespace quillet
