#pragma once

#include <span>
#include <string_view>

namespace quillet {

/// A vendor of language models whose server speaks the OpenAI-compatible chat completions.
struct LLMProvider {
    struct Model {
        std::string_view id;    ///< as it is sent
        std::string_view name;  ///< as people read it
    };

    std::string_view id;
    std::string_view name;
    std::string_view baseURL;  ///< may hold the placeholder of the user's account
    std::string_view model;    ///< the id of the one to begin with
    std::string_view keyURL;   ///< where the user gets a key
    std::span<const Model> models;
};

/// The known ones, in the order in which they are offered.
[[nodiscard]] std::span<const LLMProvider> llmProviders();

}  // namespace quillet
