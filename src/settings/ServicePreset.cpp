#include "settings/ServicePreset.h"

#include <algorithm>

#include "base/text/Translation.h"

namespace quillet {

namespace {

constexpr ServicePreset presets[] = {
    {"groq", toTranslate("Groq (free tier)"),
     toTranslate("Whisper large-v3 + gpt-oss-120b. Free key, about 2,000 dictations a day."),
     "https://api.groq.com/openai/v1/audio/transcriptions", "whisper-large-v3",
     "https://api.groq.com/openai/v1", "openai/gpt-oss-120b", "https://console.groq.com/keys"},
    {"cloudflare", toTranslate("Cloudflare (free tier)"),
     toTranslate("Whisper turbo + GLM-4.7-flash on your Cloudflare account. Free: about 3.5 h of "
                 "speech a day, "
                 "then it stops — never bills."),
     "https://api.cloudflare.com/client/v4/accounts/ACCOUNT_ID/ai/run/"
     "@cf/openai/whisper-large-v3-turbo",
     "@cf/openai/whisper-large-v3-turbo",
     "https://api.cloudflare.com/client/v4/accounts/ACCOUNT_ID/ai/v1", "@cf/zai-org/glm-4.7-flash",
     "https://dash.cloudflare.com/profile/api-tokens"},
    {"openai", toTranslate("OpenAI"),
     toTranslate(
         "gpt-4o-mini-transcribe + gpt-4.1-mini. Pay as you go, about $0.20 per hour of speech."),
     "https://api.openai.com/v1/audio/transcriptions", "gpt-4o-mini-transcribe",
     "https://api.openai.com/v1", "gpt-4.1-mini", "https://platform.openai.com/api-keys"},
    {"tailnet", toTranslate("My tailnet servers"),
     toTranslate("Self-hosted Whisper + Qwen. Needs Tailscale on this device."),
     "http://quillet-speech:8861/v1/audio/transcriptions", "", "http://quillet-llm:8800/proxy/v1",
     "Qwen3.6-35B-A3B-MXFP4_MOE.gguf", std::nullopt},
};

}  // namespace

std::span<const ServicePreset> servicePresets() {
    return presets;
}

const ServicePreset* findPreset(std::string_view id) {
    const auto* found = std::ranges::find(presets, id, &ServicePreset::id);
    return found == std::end(presets) ? nullptr : found;
}

void applyPreset(QuilletSettings& settings, const ServicePreset& preset) {
    settings.sttEndpoint = preset.sttEndpoint;
    settings.sttModel = preset.sttModel;
    settings.llmBaseURL = preset.llmBaseURL;
    settings.llmModel = preset.llmModel;
}

const ServicePreset* presetInForce(const QuilletSettings& settings) {
    const auto* found = std::ranges::find_if(presets, [&settings](const ServicePreset& preset) {
        return settings.sttEndpoint == preset.sttEndpoint && settings.sttModel == preset.sttModel &&
               settings.llmBaseURL == preset.llmBaseURL && settings.llmModel == preset.llmModel;
    });
    return found == std::end(presets) ? nullptr : found;
}

}  // namespace quillet
