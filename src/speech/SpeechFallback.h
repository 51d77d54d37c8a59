#pragma once

#include <asio/awaitable.hpp>
#include <expected>
#include <functional>
#include <mutex>
#include <optional>
#include <string>
#include <string_view>
#include <variant>

#include "base/async/Scheduler.h"
#include "speech/STTError.h"

namespace quillet {

/// The race between the user's own speech server and a backup that starts late, so that a server
/// that answers quickly never spends the backup's daily quota.
class SpeechFallback {
public:
    /// Who takes it first owns the result, even if both answer in the same instant.
    class Claim {
    public:
        /// True for the first caller only.
        [[nodiscard]] bool take();

    private:
        std::mutex lock_;
        bool taken_ = false;
    };

    /// The contender was cancelled, or lost the claim.
    struct Idle {};
    struct Value {
        std::string transcript;
        bool fromBackup = false;
    };
    struct Failed {
        STTError error;
        bool fromBackup = false;
    };
    /// Both have failed; the error is the primary's.
    struct Exhausted {
        STTError error;
    };
    using Outcome = std::variant<Idle, Value, Failed, Exhausted>;

    /// How a race ended.
    struct Finish {
        Outcome outcome;  ///< Value or Exhausted
        /// Why the primary failed, be it for the first time; none as long as it had not.
        std::optional<STTError> primaryError;
    };

    using Transcript = std::expected<std::string, STTError>;
    using Contender = std::function<asio::awaitable<Transcript>()>;
    /// Tells that an attempt has failed, though it may be tried again.
    using Stumbled = std::function<void(const STTError&)>;
    using Primary = std::function<asio::awaitable<Transcript>(Stumbled)>;

    /// How long the backup waits for the primary: longer for a long recording.
    [[nodiscard]] static Scheduler::Duration delayFor(double seconds);

    /// Runs both contenders as children of the calling coroutine. The backup starts after `delay`,
    /// or as soon as the primary has failed or stumbled. The first transcript wins, and the loser
    /// is cancelled before this returns; only a backup that heard nothing waits for the primary to
    /// end. Cancelled, both are.
    [[nodiscard]] static asio::awaitable<Finish> race(Scheduler& scheduler,
                                                      Scheduler::Duration delay, Primary primary,
                                                      Contender backup);
};

/// Why a server gave no transcript, for the panel: "Server busy" and the like.
[[nodiscard]] std::string_view failureReason(const STTError& error, std::string_view url);

/// Whether the device may stand in for a server that failed in this way.
[[nodiscard]] bool deviceMayStandIn(const STTError& error);

/// What the panel says when the device did: the reason, and what recognised it in the end.
[[nodiscard]] std::string backupNotice(const STTError& error, std::string_view url,
                                       std::string_view deviceName);

}  // namespace quillet
