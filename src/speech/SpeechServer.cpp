#include "speech/SpeechServer.h"

#include "base/text/Translation.h"
#include "settings/CloudflareAccount.h"
#include "speech/TranscriptionRequest.h"

namespace quillet {

std::string speechServer(const QuilletSettings& settings) {
    if (settings.sttEngineType == STTEngineType::apple)
        return {};
    return resolvedAddress(settings.sttEndpoint, settings.cloudflareAccount).value_or("");
}

std::string_view speechEngineName(const QuilletSettings& settings) {
    if (settings.sttEngineType == STTEngineType::apple)
        return toTranslate("On-device recognition");
    return isCloudflareWhisper(speechServer(settings)) ? toTranslate("Cloudflare Whisper")
                                                       : toTranslate("Speech server");
}

std::string_view speechKeyName(std::string_view address) {
    return isCloudflareWhisper(address) ? "cloudflareToken" : "sttAPIKey";
}

}  // namespace quillet
