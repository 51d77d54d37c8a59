#pragma once

#include <QPointer>
#include <map>
#include <memory>

#include "base/async/Event.h"
#include "base/notification/NotificationCenter.h"
#include "settings/Consent.h"

class QDialog;

namespace quillet {

/// Asks the user, on behalf of `Consent`, whether a service may be sent anything: a window for each
/// service, which stays until it is answered or closed. A decision that is made elsewhere meanwhile
/// answers it. Belongs to the main queue's thread.
class ConsentPrompt {
public:
    ConsentPrompt(Consent& consent, NotificationCenter& notifications);
    ~ConsentPrompt();
    ConsentPrompt(const ConsentPrompt&) = delete;
    ConsentPrompt& operator=(const ConsentPrompt&) = delete;

private:
    struct Open;

    asio::awaitable<ConsentDecision> ask(ServiceID service);

    void decidedElsewhere();

    Consent& consent_;
    std::map<ServiceID, std::shared_ptr<Open>> open_;
    NotificationCenter::Subscription consentChanged_;
    NotificationCenter::Subscription settingsChanged_;
};

}  // namespace quillet
