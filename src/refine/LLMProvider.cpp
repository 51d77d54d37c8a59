#include "refine/LLMProvider.h"

namespace quillet {

namespace {

constexpr LLMProvider::Model claudeModels[] = {{"claude-haiku-5-5", "Haiku (fastest)"},
                                               {"claude-sonnet-5-5", "Sonnet (smarter)"}};
constexpr LLMProvider::Model deepSeekModels[] = {{"deepseek-v4-flash", "deepseek-v4-flash"}};
constexpr LLMProvider::Model geminiModels[] = {{"gemini-3.6-flash", "gemini-3.6-flash"}};
constexpr LLMProvider::Model cloudflareModels[] = {
    {"@cf/zai-org/glm-4.7-flash", "GLM-4.7 Flash (fast)"},
    {"@cf/openai/gpt-oss-120b", "gpt-oss-120b (smarter)"}};

constexpr LLMProvider providers[] = {
    {"anthropic", "Claude", "https://api.anthropic.com/v1", "claude-haiku-5-5",
     "https://console.anthropic.com/settings/keys", claudeModels},
    {"deepseek", "DeepSeek", "https://api.deepseek.com/v1", "deepseek-v4-flash",
     "https://platform.deepseek.com/api_keys", deepSeekModels},
    {"gemini", "Gemini", "https://generativelanguage.googleapis.com/v1beta/openai",
     "gemini-3.6-flash", "https://aistudio.google.com/apikey", geminiModels},
    {"cloudflare", "Cloudflare (free)",
     "https://api.cloudflare.com/client/v4/accounts/ACCOUNT_ID/ai/v1", "@cf/zai-org/glm-4.7-flash",
     "https://dash.cloudflare.com/profile/api-tokens", cloudflareModels},
};

}  // namespace

std::span<const LLMProvider> llmProviders() {
    return providers;
}

}  // namespace quillet
