#pragma once

#include <asio/awaitable.hpp>
#include <expected>
#include <functional>
#include <memory>
#include <string>
#include <string_view>
#include <vector>

#include "base/async/SerialQueue.h"
#include "base/http/HttpClient.h"
#include "speech/ModelCatalogue.h"
#include "speech/SpeechModels.h"

namespace quillet {

/// Fetches the models that are offered, and installs them. Belongs to the main queue's thread.
class ModelDownload {
public:
    struct Services {
        HttpClient& http;  ///< for ServicePurpose::modelDownload
        std::shared_ptr<SerialQueue> worker;
        SpeechModels models;
        std::vector<OfferedModel> offered;
    };
    using Result = std::expected<SpeechModels::Model, std::string>;
    /// Told how much of it has arrived; all of it means that it is being unpacked.
    using OnProgress = std::function<void(std::uint64_t bytes)>;

    explicit ModelDownload(Services services) : services_(std::move(services)) {}

    [[nodiscard]] const std::vector<OfferedModel>& offered() const { return services_.offered; }
    /// The model for a language; none where none is offered.
    [[nodiscard]] const OfferedModel* find(std::string_view language) const;

    /// Asks for the user's consent where that is needed, and ends with the model in its place, or
    /// with a sentence in the user's language and everything as it was. May be cancelled at any
    /// moment. Nothing of what arrived is left behind, however it ends.
    [[nodiscard]] asio::awaitable<Result> run(OfferedModel model, OnProgress onProgress);

private:
    Services services_;
};

}  // namespace quillet
