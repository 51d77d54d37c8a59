#pragma once

#include <vector>

#include "settings/ConsentingHttpClient.h"

namespace quillet::world {

/// A user who is asked for each service, and the clients that ask him.
class ScriptedConsent {
public:
    ScriptedConsent(Loop& loop, UserDefaults& defaults, const Calendar& calendar,
                    NotificationCenter& notifications, HttpClient& server, HttpClient& llm)
        : consent(loop, defaults, calendar, notifications),
          speech(server, consent, ServicePurpose::speech),
          model(llm, consent, ServicePurpose::languageModel),
          downloads(server, consent, ServicePurpose::modelDownload) {
        consent.askBy([this](ServiceID service) -> asio::awaitable<ConsentDecision> {
            asked.push_back(std::move(service));
            co_return answer;
        });
    }

    ConsentDecision answer = ConsentDecision::allowed;
    std::vector<ServiceID> asked;
    Consent consent;
    ConsentingHttpClient speech;
    ConsentingHttpClient model;
    ConsentingHttpClient downloads;
};

}  // namespace quillet::world
