#pragma once

#include <asio/awaitable.hpp>
#include <expected>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <string_view>
#include <vector>

#include "base/async/Event.h"
#include "base/async/TaskScope.h"
#include "base/http/ServicePurpose.h"
#include "base/notification/NotificationCenter.h"
#include "platform/Calendar.h"
#include "platform/UserDefaults.h"

namespace quillet {

/// What the user has decided about a service.
enum class ConsentDecision { notAsked, allowed, denied };

[[nodiscard]] std::string_view nameOf(ConsentDecision decision);

/// A decision was made or taken back, here or by another process.
inline constexpr std::string_view consentChangedNotification = "Quillet.ConsentChanged";

/// Which services the user lets have what. Nothing is sent to a server without an entry here; only
/// what is recognised on the device needs none. Stored among the user defaults under
/// "aiConsentV1". Belongs to the main queue's thread.
class Consent {
public:
    struct Entry {
        ServiceID service;
        ConsentDecision decision = ConsentDecision::notAsked;
        Calendar::UnixTime decidedAt;
    };
    /// Asks the user, who may take his time; `notAsked` where he did not answer. The question stays
    /// when those who wait for its answer have given up.
    using Ask = std::function<asio::awaitable<ConsentDecision>(ServiceID service)>;

    /// The services must outlive it.
    Consent(Loop& loop, UserDefaults& defaults, const Calendar& calendar,
            NotificationCenter& notifications);

    /// Who asks the user. While there is nobody, what is not decided is not allowed. Whoever asks
    /// takes himself out before he goes; his open questions then end unanswered.
    void askBy(Ask ask);

    [[nodiscard]] ConsentDecision decision(const ServiceID& service) const;
    /// What was decided so far, by name.
    [[nodiscard]] std::vector<Entry> decided() const;
    /// False when it could not be stored; it then holds until the program ends. `notAsked` takes a
    /// decision back.
    bool decide(const ServiceID& service, ConsentDecision decision);

    /// Whether something may be sent, asking the user where that has not been decided. All who ask
    /// for the same service at the same time share one question.
    [[nodiscard]] asio::awaitable<bool> settled(ServiceID service);

    /// The service of an address; none when the address is not one of the web.
    [[nodiscard]] static std::optional<ServiceID> serviceOf(ServicePurpose purpose,
                                                            std::string_view url);
    /// The service that `name()` stands for; the error is a sentence for the user.
    [[nodiscard]] static std::expected<ServiceID, std::string> parse(std::string_view name);

private:
    asio::awaitable<void> ask(ServiceID service);

    UserDefaults& defaults_;
    const Calendar& calendar_;
    NotificationCenter& notifications_;
    Ask ask_;
    std::map<ServiceID, std::shared_ptr<Event>> questions_;  // open ones; set when answered
    TaskScope tasks_;
};

/// What is sent to a service, and why: for the question and the list of what was decided. English;
/// to be translated.
struct ServiceDescription {
    std::string_view title;  ///< "Speech recognition"
    std::string_view whatIsSent;
    std::string_view why;
};
[[nodiscard]] ServiceDescription descriptionOf(ServicePurpose purpose);

}  // namespace quillet
