#include "app/Messages.h"

#include <fmt/format.h>

namespace quillet::messages {

std::string bannerFor(const Utterance& utterance, bool forAgent,
                      std::string_view translationTarget) {
    if (forAgent)
        return std::string(agentBanner);
    if (utterance.liveUnavailable)
        return std::string(liveUnavailable);
    if (utterance.live && utterance.liveNotice)
        return fmt::format("{}\n{}", liveConsent, liveBanner);
    if (utterance.live)
        return std::string(liveBanner);
    if (utterance.amend)
        return std::string(amendBanner);
    switch (utterance.intent) {
        case VoiceIntent::dictate:
            return {};
        case VoiceIntent::command:
            return std::string(commandBanner);
        case VoiceIntent::translate:
            return "Translate → " + std::string(translationTarget);
    }
    return {};
}

std::string_view noticeFor(Inserter::Outcome outcome) {
    switch (outcome) {
        case Inserter::Outcome::pasted:
            return {};
        case Inserter::Outcome::appChanged:
            return appChanged;
        case Inserter::Outcome::copied:
            return copied;
        case Inserter::Outcome::lost:
            return notEvenCopied;
        case Inserter::Outcome::withheld:
            return {};
    }
    return {};
}

}  // namespace quillet::messages
