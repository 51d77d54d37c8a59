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
        return translated(liveConsent) + "\n" + translated(liveBanner);
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
            return fmt::format(fmt::runtime(translated("Translate → {}")), translationTarget);
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
