#include "ui/settings/RemainingSteps.h"

#include "settings/CloudflareAccount.h"
#include "ui/kit/UiText.h"

namespace quillet {

QStringList remainingSteps(const QuilletSettings& settings) {
    QStringList steps;
    const auto lacksAccount = [&settings](const std::string& address) {
        return !resolvedAddress(address, settings.cloudflareAccount);
    };
    if (lacksAccount(settings.sttEndpoint) || lacksAccount(settings.llmBaseURL))
        steps << label("Enter your Cloudflare account ID below.");
    if (settings.sttEngineType == STTEngineType::apple && !settings.sttEndpoint.empty())
        steps << label("Speech is still recognised on this device; choose a server below.");
    if (!settings.llmEnabled && !settings.llmBaseURL.empty())
        steps << label("The language model is switched off; switch it on in Writing.");
    return steps;
}

}  // namespace quillet
