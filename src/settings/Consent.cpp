#include "settings/Consent.h"

#include <nlohmann/json.hpp>

#include "base/http/Url.h"
#include "base/text/Translation.h"

namespace quillet {

namespace {

using nlohmann::json;

constexpr std::string_view consentKey = "aiConsentV1";
constexpr ServicePurpose purposes[] = {ServicePurpose::speech, ServicePurpose::languageModel,
                                       ServicePurpose::modelDownload};

std::optional<ConsentDecision> decisionNamed(const json& stored) {
    for (const auto decision : {ConsentDecision::allowed, ConsentDecision::denied}) {
        if (stored == nameOf(decision))
            return decision;
    }
    return std::nullopt;
}

/// The stored record of a service; null where there is none.
json storedEntry(const UserDefaults& defaults, const std::string& name) {
    const auto stored = defaults.get(consentKey);
    const bool isThere =
        stored && stored->is_object() && stored->contains(name) && stored->at(name).is_object();
    return isThere ? stored->at(name) : json();
}

}  // namespace

std::string_view nameOf(ConsentDecision decision) {
    switch (decision) {
        case ConsentDecision::notAsked:
            return "not asked";
        case ConsentDecision::allowed:
            return "allowed";
        case ConsentDecision::denied:
            return "denied";
    }
    return {};
}

Consent::Consent(Loop& loop, UserDefaults& defaults, const Calendar& calendar,
                 NotificationCenter& notifications)
    : defaults_(defaults), calendar_(calendar), notifications_(notifications), tasks_(loop) {}

ConsentDecision Consent::decision(const ServiceID& service) const {
    const auto entry = storedEntry(defaults_, service.name());
    return entry.is_null()
               ? ConsentDecision::notAsked
               : decisionNamed(entry.value("decision", json())).value_or(ConsentDecision::notAsked);
}

std::vector<Consent::Entry> Consent::decided() const {
    std::vector<Entry> entries;
    const auto stored = defaults_.get(consentKey);
    if (!stored || !stored->is_object())
        return entries;
    for (const auto& [name, value] : stored->items()) {
        const auto service = parse(name);
        const auto decision =
            value.is_object() ? decisionNamed(value.value("decision", json())) : std::nullopt;
        if (!service || !decision)
            continue;
        const auto time = value.value("decidedAt", json());
        entries.push_back({*service, *decision,
                           Calendar::UnixTime(std::chrono::duration<double>(
                               time.is_number() ? time.get<double>() : 0.0))});
    }
    return entries;
}

bool Consent::decide(const ServiceID& service, ConsentDecision decision) {
    const bool isStored = defaults_.edit(consentKey, [&](const std::optional<json>& present) {
        json stored = present && present->is_object() ? *present : json::object();
        if (decision == ConsentDecision::notAsked)
            stored.erase(service.name());
        else
            stored[service.name()] = {{"decision", nameOf(decision)},
                                      {"decidedAt", calendar_.now().time_since_epoch().count()}};
        return std::optional(std::move(stored));
    });
    notifications_.post(consentChangedNotification);
    return isStored;
}

asio::awaitable<bool> Consent::settled(ServiceID service) {
    if (const auto known = decision(service); known != ConsentDecision::notAsked)
        co_return known == ConsentDecision::allowed;
    if (!ask_)
        co_return false;
    const auto [open, isNew] = questions_.try_emplace(service, std::make_shared<Event>());
    const auto answered = open->second;  // the entry goes with the answer, which may come at once
    if (isNew)
        tasks_.spawn(ask(service));
    co_await answered->wait();
    co_return decision(service) == ConsentDecision::allowed;
}

asio::awaitable<void> Consent::ask(ServiceID service) {
    struct Asked {
        Consent& consent;
        const ServiceID& about;
        ~Asked() { consent.questions_.extract(about).mapped()->set(); }
    };
    const Asked asked{*this, service};
    const auto answer = co_await ask_(service);
    if (answer != ConsentDecision::notAsked)
        (void)decide(service, answer);
}

void Consent::askBy(Ask ask) {
    tasks_.cancelAndJoin();
    ask_ = std::move(ask);
}

std::optional<ServiceID> Consent::serviceOf(ServicePurpose purpose, std::string_view url) {
    const auto parsed = parseUrl(url);
    if (!parsed)
        return std::nullopt;
    return ServiceID{purpose, parsed->server()};
}

std::expected<ServiceID, std::string> Consent::parse(std::string_view name) {
    const auto at = name.find('@');
    if (at != std::string_view::npos) {
        const std::string server(name.substr(at + 1));
        const auto url = server.contains("://") ? server : "https://" + server;
        for (const auto purpose : purposes) {
            auto service =
                name.substr(0, at) == nameOf(purpose) ? serviceOf(purpose, url) : std::nullopt;
            if (service)
                return std::move(*service);
        }
    }
    return std::unexpected(
        "A service is named by what it is for and its host: speech@HOST, "
        "language-model@HOST or models@HOST, such as speech@api.example.com, or "
        "speech@http://localhost:8000 where nothing is encrypted. `quillet consent list` shows "
        "those that are known.");
}

ServiceDescription descriptionOf(ServicePurpose purpose) {
    switch (purpose) {
        case ServicePurpose::speech:
            return {
                .title = toTranslate("Speech recognition"),
                .whatIsSent = toTranslate(
                    "The sound of what you dictate and of the meetings that you record, and the "
                    "words of your vocabulary as a hint."),
                .why = toTranslate("The server writes down what was said."),
            };
        case ServicePurpose::languageModel:
            return {
                .title = toTranslate("Language model"),
                .whatIsSent = toTranslate(
                    "The words that you dictated, the name of the application, and, where you "
                    "switched it on, the text before the cursor. A spoken command sends the text "
                    "that is selected, a meeting its transcript, and the nightly review the "
                    "dictations of the day."),
                .why = toTranslate(
                    "The model tidies what was said, carries out spoken commands, translates, and "
                    "writes the notes of meetings."),
            };
        case ServicePurpose::modelDownload:
            return {
                .title = toTranslate("Download of a recognition model"),
                .whatIsSent = toTranslate(
                    "Only the request for the file. Nothing of what you say or write is sent; the "
                    "server sees the address of your network, as with every download."),
                .why = toTranslate("With the model, this device recognises speech by itself."),
            };
    }
    return {};
}

}  // namespace quillet
