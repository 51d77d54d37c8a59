#include "speech/SpeechFallback.h"

#include <fmt/format.h>

#include <asio/co_spawn.hpp>
#include <asio/experimental/awaitable_operators.hpp>
#include <asio/experimental/deferred.hpp>
#include <asio/experimental/parallel_group.hpp>
#include <asio/this_coro.hpp>
#include <asio/use_awaitable.hpp>

#include "base/async/Checkpoint.h"
#include "base/async/Event.h"
#include "base/text/Translation.h"
#include "speech/TranscriptionRequest.h"

namespace quillet {

namespace {

using namespace asio::experimental::awaitable_operators;

constexpr double secondsADelay = 0.15;  // for each second of the recording
constexpr double shortestDelay = 2.5;

/// Whether this decides the race, whatever the other contender may still say.
bool decides(const SpeechFallback::Outcome& outcome) {
    const auto* value = std::get_if<SpeechFallback::Value>(&outcome);
    // A backup that heard nothing may be had later, if the primary has nothing better to say.
    return value != nullptr && !(value->fromBackup && value->transcript.empty());
}

/// Cancels the other contender once the race is decided; a failure leaves it running.
struct WaitForOneTranscript {
    asio::cancellation_type operator()(const std::exception_ptr& thrown,
                                       const SpeechFallback::Outcome& outcome) const noexcept {
        return !thrown && decides(outcome) ? asio::cancellation_type::all
                                           : asio::cancellation_type::none;
    }
};

SpeechFallback::Outcome outcomeOf(SpeechFallback::Transcript transcript, bool fromBackup,
                                  SpeechFallback::Claim& claim) {
    if (!transcript)
        return SpeechFallback::Failed{std::move(transcript.error()), fromBackup};
    SpeechFallback::Value value{std::move(*transcript), fromBackup};
    if (decides(value) && !claim.take())
        return SpeechFallback::Idle{};
    return value;
}

}  // namespace

bool SpeechFallback::Claim::take() {
    const std::scoped_lock lock(lock_);
    return !std::exchange(taken_, true);
}

Scheduler::Duration SpeechFallback::delayFor(double seconds) {
    return std::chrono::duration_cast<Scheduler::Duration>(
        std::chrono::duration<double>(seconds * secondsADelay + shortestDelay));
}

asio::awaitable<SpeechFallback::Finish> SpeechFallback::race(Scheduler& scheduler,
                                                             Scheduler::Duration delay,
                                                             Primary primary, Contender backup) {
    Claim claim;
    Event primaryFailed;
    std::optional<STTError> primaryError;
    const auto stumbled = [&](const STTError& error) {
        primaryError = error;
        primaryFailed.set();
    };
    auto first = [&]() -> asio::awaitable<Outcome> {
        auto transcript = co_await primary(stumbled);
        co_await checkpoint();
        if (!transcript)
            stumbled(transcript.error());
        co_return outcomeOf(std::move(transcript), false, claim);
    };
    auto second = [&]() -> asio::awaitable<Outcome> {
        co_await (scheduler.sleep(delay) || primaryFailed.wait());
        auto transcript = co_await backup();
        co_await checkpoint();
        co_return outcomeOf(std::move(transcript), true, claim);
    };
    const auto executor = co_await asio::this_coro::executor;
    auto [order, firstThrown, firstOutcome, secondThrown, secondOutcome] =
        co_await asio::experimental::make_parallel_group(
            asio::co_spawn(executor, first(), asio::experimental::deferred),
            asio::co_spawn(executor, second(), asio::experimental::deferred))
            .async_wait(WaitForOneTranscript{}, asio::use_awaitable);
    for (auto* outcome : {&firstOutcome, &secondOutcome}) {
        if (decides(*outcome))
            co_return Finish{std::move(*outcome), std::move(primaryError)};
    }
    // Without a winner nobody inside cancelled anything: the race itself was.
    for (const auto& thrown : {firstThrown, secondThrown}) {
        if (thrown)
            std::rethrow_exception(thrown);
    }
    if (std::holds_alternative<Value>(secondOutcome))
        co_return Finish{std::move(secondOutcome), std::move(primaryError)};
    co_return Finish{Exhausted{*primaryError}, primaryError};
}

std::string_view failureReason(const STTError& error, std::string_view url) {
    constexpr long unauthorized = 401;
    constexpr long forbidden = 403;
    constexpr long tooManyRequests = 429;
    const bool cloudflare = isCloudflareWhisper(url);
    const long status = error.kind == STTError::Kind::http ? error.status : 0;
    if (status == unauthorized || status == forbidden)
        return cloudflare ? toTranslate("Check the Cloudflare token / account ID")
                          : toTranslate("Check the API key");
    if (status == tooManyRequests)
        return cloudflare ? toTranslate("Cloudflare free quota used up for today")
                          : toTranslate("Server busy");
    return toTranslate("Server unreachable");
}

bool deviceMayStandIn(const STTError& error) {
    switch (error.kind) {
        case STTError::Kind::network:
        case STTError::Kind::http:
        case STTError::Kind::parseFailure:
        case STTError::Kind::notAllowed:
            return true;
        case STTError::Kind::noInputDevice:
        case STTError::Kind::noAudioCaptured:
        case STTError::Kind::noPermission:
        case STTError::Kind::notConfigured:
        case STTError::Kind::engineUnavailable:
            return false;
    }
    return false;
}

std::string backupNotice(const STTError& error, std::string_view url, std::string_view deviceName) {
    return fmt::format(fmt::runtime(translated("{} — recognized on this {}")),
                       translated(failureReason(error, url)), deviceName);
}

}  // namespace quillet
