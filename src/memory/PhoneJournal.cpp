#include "memory/PhoneJournal.h"

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/file/JsonFile.h"

namespace quillet {

namespace {

using nlohmann::json;

std::optional<PhoneDictation> decode(const json& one) {
    if (!one.is_object() || !one.value("time", json()).is_number() ||
        !one.value("sent", json()).is_string())
        return std::nullopt;
    PhoneDictation dictation;
    dictation.time = Calendar::UnixTime(std::chrono::duration<double>(one["time"].get<double>()));
    dictation.sent = one["sent"].get<std::string>();
    const auto heard = one.value("heard", json());
    dictation.heard = heard.is_string() ? heard.get<std::string>() : dictation.sent;
    if (const auto app = one.value("app", json()); app.is_string())
        dictation.app = app.get<std::string>();
    return dictation;
}

}  // namespace

std::vector<PhoneDictation> readPhoneJournal(const std::filesystem::path& file,
                                             std::optional<Calendar::UnixTime> after,
                                             Calendar::UnixTime now) {
    const auto journal = readJsonFile(file);
    if (!journal || !journal->is_array())
        return {};
    std::vector<PhoneDictation> found;
    for (const auto& one : *journal) {
        auto dictation = decode(one);
        if (dictation && (!after || dictation->time > *after) && dictation->time <= now)
            found.push_back(std::move(*dictation));
    }
    std::ranges::sort(found, {}, &PhoneDictation::time);
    return found;
}

}  // namespace quillet
