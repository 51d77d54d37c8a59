#pragma once

#include <asio/awaitable.hpp>
#include <cstdint>
#include <expected>
#include <string>
#include <vector>

namespace quillet {

struct PasteboardItem {
    std::string type;  ///< the platform's name of the format, as its owner gave it
    std::string bytes;
    int unitBits = 8;  ///< width of the platform's units: 8, 16 or 32
    friend bool operator==(const PasteboardItem&, const PasteboardItem&) = default;
};

/// Everything that the clipboard held, in every format.
struct PasteboardSnapshot {
    std::vector<PasteboardItem> items;  ///< empty: the clipboard was empty
    bool complete = false;  ///< false: the owner did not answer in time, or it was too large
    friend bool operator==(const PasteboardSnapshot&, const PasteboardSnapshot&) = default;
};

/// The system clipboard. Calls never block the main queue, whatever the clipboard's owner does.
class Pasteboard {
public:
    enum class Error { unavailable, refused };
    enum class Lifetime {
        transient,  ///< marked so that clipboard managers leave it out of their history
        kept,       ///< an ordinary copy, for the user to paste
    };
    /// Which of the platform's clipboards get the text.
    enum class Reach { clipboard, clipboardAndPrimary };

    virtual ~Pasteboard() = default;

    /// Reads every format within the implementation's time budget (at most 0.5 s) and size cap.
    [[nodiscard]] virtual asio::awaitable<PasteboardSnapshot> snapshot() = 0;

    /// Puts text on the clipboard and returns the change count that this made.
    [[nodiscard]] virtual asio::awaitable<std::expected<std::uint64_t, Error>> writeText(
        std::string text, Lifetime lifetime, Reach reach) = 0;

    /// Puts a snapshot back, byte for byte; an empty one empties the clipboard. False when the
    /// change count is no longer `ifCount`, that is, when somebody copied meanwhile.
    [[nodiscard]] virtual asio::awaitable<bool> restore(PasteboardSnapshot snapshot,
                                                        std::uint64_t ifCount) = 0;

    /// Raised by one whenever anybody, this program included, puts something on the clipboard.
    [[nodiscard]] virtual std::uint64_t changeCount() const = 0;

    /// Forgets who has fetched the text so far: clipboard managers do so at once, unasked.
    virtual void forgetFetches() = 0;

    /// Waits until somebody has fetched the text of the last `writeText` since it was written, or
    /// since `forgetFetches`; returns at once when that has happened. Cancelled, it throws
    /// operation_aborted.
    [[nodiscard]] virtual asio::awaitable<void> waitUntilFetched() = 0;
};

}  // namespace quillet
