#include "speech/ModelCatalogue.h"

#include <nlohmann/json.hpp>

#include "base/file/JsonFile.h"
#include "base/http/Url.h"
#include "base/text/Text.h"

namespace quillet {

namespace {

using nlohmann::json;

constexpr double bytesPerMegabyte = 1'000'000;
constexpr std::size_t digitsOfChecksum = 64;

std::vector<OfferedModel> ownChoice() {
    return {
        {.language = "en",
         .url = "https://alphacephei.com/vosk/models/vosk-model-small-en-us-0.15.zip",
         .bytes = 41'205'931,
         .sha256 = "30f26242c4eb449f948e42cb302dd7a686cb29a3423a8367f99ff41780942498"},
        {.language = "zh",
         .url = "https://alphacephei.com/vosk/models/vosk-model-small-cn-0.22.zip",
         .bytes = 43'898'754,
         .sha256 = "3af8b0e7e0f835ae9d414ce5df580237a3cfb08d586c9fbbb0f7ff29ad5b14ba"},
    };
}

OfferedModel offeredBy(const json& entry) {
    return {.language = entry.at("language").get<std::string>(),
            .url = entry.at("url").get<std::string>(),
            .bytes = entry.at("bytes").get<std::uint64_t>(),
            .sha256 = asciiLowered(entry.at("sha256").get<std::string>())};
}

}  // namespace

std::string OfferedModel::host() const {
    return hostOf(url);
}

double OfferedModel::megabytes() const {
    return inMegabytes(bytes);
}

double inMegabytes(std::uint64_t bytes) {
    return static_cast<double>(bytes) / bytesPerMegabyte;
}

std::vector<OfferedModel> modelCatalogue(const std::filesystem::path& file) {
    if (file.empty())
        return ownChoice();
    const auto stored = readJsonFile(file);
    std::vector<OfferedModel> models;
    if (!stored || !stored->is_array())
        return models;
    try {
        for (const auto& entry : *stored)
            models.push_back(offeredBy(entry));
    } catch (const json::exception&) {
        return {};
    }
    std::erase_if(models, [](const OfferedModel& model) {
        return !parseUrl(model.url) || model.sha256.size() != digitsOfChecksum;
    });
    return models;
}

}  // namespace quillet
