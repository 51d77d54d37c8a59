#include "settings/QuilletSettings.h"

#include <fmt/format.h>

#include <cmath>
#include <nlohmann/json.hpp>

#include "base/http/Url.h"
#include "base/text/Text.h"
#include "settings/CloudflareAccount.h"

namespace quillet {

namespace {

using nlohmann::json;

template <class Enum>
struct StoredNames;
template <>
struct StoredNames<STTEngineType> {
    static constexpr std::pair<STTEngineType, std::string_view> all[] = {
        {STTEngineType::apple, "apple"}, {STTEngineType::cloud, "cloud"}};
};
template <>
struct StoredNames<DictationOutputMode> {
    static constexpr std::pair<DictationOutputMode, std::string_view> all[] = {
        {DictationOutputMode::raw, "raw"},
        {DictationOutputMode::smart, "smart"},
        {DictationOutputMode::polish, "polish"}};
};
template <>
struct StoredNames<SendKeyType> {
    static constexpr std::pair<SendKeyType, std::string_view> all[] = {
        {SendKeyType::enter, "enter"}, {SendKeyType::cmdEnter, "cmdEnter"}};
};

template <class Enum>
std::string_view nameOf(Enum value) {
    for (const auto& [one, name] : StoredNames<Enum>::all) {
        if (one == value)
            return name;
    }
    return {};
}

template <class Enum>
bool readEnum(const json& value, Enum& into) {
    if (!value.is_string())
        return false;
    for (const auto& [one, name] : StoredNames<Enum>::all) {
        if (value.get_ref<const std::string&>() == name) {
            into = one;
            return true;
        }
    }
    return false;
}

bool read(const json& value, bool& into) {
    if (!value.is_boolean())
        return false;
    into = value.get<bool>();
    return true;
}

bool read(const json& value, std::string& into) {
    if (!value.is_string())
        return false;
    into = value.get<std::string>();
    return true;
}

bool read(const json& value, std::vector<std::string>& into) {
    if (!value.is_array() ||
        !std::ranges::all_of(value, [](const json& one) { return one.is_string(); }))
        return false;
    into = value.get<std::vector<std::string>>();
    return true;
}

bool read(const json& value, STTEngineType& into) {
    return readEnum(value, into);
}
bool read(const json& value, SendKeyType& into) {
    return readEnum(value, into);
}

bool read(const json& value, std::optional<DictationOutputMode>& into) {
    if (value.is_null()) {
        into.reset();
        return true;
    }
    DictationOutputMode mode{};
    if (!readEnum(value, mode))
        return false;
    into = mode;
    return true;
}

bool read(const json& value, std::vector<Snippet>& into) {
    if (!value.is_array())
        return false;
    std::vector<Snippet> snippets;
    for (const auto& one : value) {
        Snippet snippet;
        const bool good = one.is_object() && one.contains("id") && read(one["id"], snippet.id) &&
                          one.contains("trigger") && read(one["trigger"], snippet.trigger) &&
                          one.contains("text") && read(one["text"], snippet.text);
        if (!good)
            return false;
        snippets.push_back(std::move(snippet));
    }
    into = std::move(snippets);
    return true;
}

json write(const bool& value) {
    return value;
}
json write(const int& value) {
    return value;
}
json write(const double& value) {
    return value;
}
json write(const std::string& value) {
    return value;
}
json write(const std::vector<std::string>& value) {
    return value;
}
json write(const STTEngineType& value) {
    return nameOf(value);
}
json write(const SendKeyType& value) {
    return nameOf(value);
}
json write(const std::optional<DictationOutputMode>& value) {
    return value ? json(nameOf(*value)) : json(nullptr);
}
json write(const std::vector<Snippet>& value) {
    json all = json::array();
    for (const auto& one : value)
        all.push_back({{"id", one.id}, {"trigger", one.trigger}, {"text", one.text}});
    return all;
}

template <auto Field>
json getField(const QuilletSettings& settings) {
    return write(settings.*Field);
}

template <auto Field>
bool setField(QuilletSettings& settings, const json& value) {
    return read(value, settings.*Field);
}

constexpr double longestAutoSendDelay = 60;
constexpr int longestRetentionDays = 36'500;

bool setAutoSendDelay(QuilletSettings& settings, const json& value) {
    if (!value.is_number())
        return false;
    const auto seconds = value.get<double>();
    if (!std::isfinite(seconds) || seconds < 0 || seconds > longestAutoSendDelay)
        return false;
    settings.autoSendDelay = seconds;
    return true;
}

bool setRetentionDays(QuilletSettings& settings, const json& value) {
    if (!value.is_number_integer())
        return false;
    const auto days = value.get<std::int64_t>();
    if (days < 1 || days > longestRetentionDays)
        return false;
    settings.sessionRetentionDays = static_cast<int>(days);
    return true;
}

/// An empty text, or an address of the web.
template <auto Field>
bool setAddress(QuilletSettings& settings, const json& value) {
    std::string address;
    if (!read(value, address))
        return false;
    const auto url = parseUrl(trimmed(address));
    if (!trimmed(address).empty() && (!url || url->hasUserInfo))
        return false;
    settings.*Field = trimmed(address);
    return true;
}

/// An empty text, or one that holds the 32 hexadecimal digits of an account id.
bool setCloudflareAccount(QuilletSettings& settings, const json& value) {
    std::string pasted;
    if (!read(value, pasted))
        return false;
    const auto id = cloudflareAccountId(pasted);
    if (!id && !trimmed(pasted).empty())
        return false;
    settings.cloudflareAccount = id.value_or("");
    return true;
}

bool setInterfaceLanguage(QuilletSettings& settings, const json& value) {
    std::string language;
    if (!read(value, language) || (!language.empty() && language != "en" && language != "zh_CN"))
        return false;
    settings.language = language;
    return true;
}

bool setLanguage(QuilletSettings& settings, const json& value) {
    std::string language;
    if (!read(value, language) || trimmed(language).empty())
        return false;
    settings.selectedLanguage = trimmed(language);
    return true;
}

constexpr std::string_view boolAccepted = "true or false";
constexpr std::string_view textAccepted = "a text; empty for none";
constexpr std::string_view addressAccepted =
    "a complete address that begins with http:// or https:// and holds no user name or password; "
    "empty for none";

constexpr SettingDescriptor table[] = {
    {"sttEngineType", "Which engine recognises speech",
     "apple (on this device) or cloud (a server)", getField<&QuilletSettings::sttEngineType>,
     setField<&QuilletSettings::sttEngineType>},
    {"sttEndpoint", "Full address of the speech server's transcription endpoint", addressAccepted,
     getField<&QuilletSettings::sttEndpoint>, setAddress<&QuilletSettings::sttEndpoint>,
     setField<&QuilletSettings::sttEndpoint>},
    {"selectedLanguage", "Language that is spoken",
     "mixed, English, 简体中文, or a language code such as de",
     getField<&QuilletSettings::selectedLanguage>, setLanguage},
    {"dictationOutputMode", "What becomes of the recognised words",
     "raw, smart or polish; null for the one that older settings mean",
     getField<&QuilletSettings::dictationOutputMode>,
     setField<&QuilletSettings::dictationOutputMode>},
    {"autoSend", "Press the send key after a dictation", boolAccepted,
     getField<&QuilletSettings::autoSend>, setField<&QuilletSettings::autoSend>},
    {"sendKey", "The key that sends", "enter or cmdEnter", getField<&QuilletSettings::sendKey>,
     setField<&QuilletSettings::sendKey>},
    {"autoSendDelay", "Seconds to wait before sending", "a number of seconds from 0 to 60",
     getField<&QuilletSettings::autoSendDelay>, setAutoSendDelay},
    {"llmEnabled", "Let a language model tidy the words", boolAccepted,
     getField<&QuilletSettings::llmEnabled>, setField<&QuilletSettings::llmEnabled>},
    {"llmBaseURL", "Base address of the language model's server", addressAccepted,
     getField<&QuilletSettings::llmBaseURL>, setAddress<&QuilletSettings::llmBaseURL>,
     setField<&QuilletSettings::llmBaseURL>},
    {"llmModel", "Name of the language model", textAccepted, getField<&QuilletSettings::llmModel>,
     setField<&QuilletSettings::llmModel>},
    {"sessionLoggingEnabled", "Keep a local history of dictations", boolAccepted,
     getField<&QuilletSettings::sessionLoggingEnabled>,
     setField<&QuilletSettings::sessionLoggingEnabled>},
    {"sessionRetentionDays", "Days that the history is kept", "a whole number from 1 to 36500",
     getField<&QuilletSettings::sessionRetentionDays>, setRetentionDays},
    {"sessionBlacklist", "Applications never dictated into and never logged",
     "a JSON list of application ids, such as [\"com.bitwarden.desktop\"]",
     getField<&QuilletSettings::sessionBlacklist>, setField<&QuilletSettings::sessionBlacklist>},
    {"sttModel", "Name of the speech server's model", textAccepted,
     getField<&QuilletSettings::sttModel>, setField<&QuilletSettings::sttModel>},
    {"llmPolishMode", "Older form of dictationOutputMode polish", boolAccepted,
     getField<&QuilletSettings::llmPolishMode>, setField<&QuilletSettings::llmPolishMode>},
    {"useFocusedContext", "Read the text before the cursor for context", boolAccepted,
     getField<&QuilletSettings::useFocusedContext>, setField<&QuilletSettings::useFocusedContext>},
    {"muteSystemAudioWhileRecording", "Mute the loudspeakers while recording", boolAccepted,
     getField<&QuilletSettings::muteSystemAudioWhileRecording>,
     setField<&QuilletSettings::muteSystemAudioWhileRecording>},
    {"translationTarget", "Language that translations are made into", textAccepted,
     getField<&QuilletSettings::translationTarget>, setField<&QuilletSettings::translationTarget>},
    {"mcpEnabled", "Serve the user's own AI clients on this machine", boolAccepted,
     getField<&QuilletSettings::mcpEnabled>, setField<&QuilletSettings::mcpEnabled>},
    {"mcpAllowControl", "Let AI clients dictate and type", boolAccepted,
     getField<&QuilletSettings::mcpAllowControl>, setField<&QuilletSettings::mcpAllowControl>},
    {"useScreenTerms", "Read names and terms off the window in front", boolAccepted,
     getField<&QuilletSettings::useScreenTerms>, setField<&QuilletSettings::useScreenTerms>},
    {"snippets", "Saved texts and the phrases that call them",
     "a JSON list of objects with the texts id, trigger and text",
     getField<&QuilletSettings::snippets>, setField<&QuilletSettings::snippets>},
    {"showsTextWhileSpeaking", "Show the words while they are spoken", boolAccepted,
     getField<&QuilletSettings::showsTextWhileSpeaking>,
     setField<&QuilletSettings::showsTextWhileSpeaking>},
    {"vocabularySync", "Keep the vocabulary in step with the phone", boolAccepted,
     getField<&QuilletSettings::vocabularySync>, setField<&QuilletSettings::vocabularySync>},
    {"nightlyReview", "Learn from the day's dictations at night", boolAccepted,
     getField<&QuilletSettings::nightlyReview>, setField<&QuilletSettings::nightlyReview>},
    {"rememberWhatISay", "Remember what I say: let the review and the knowledge base learn",
     boolAccepted, getField<&QuilletSettings::rememberWhatISay>,
     setField<&QuilletSettings::rememberWhatISay>},
    {"sttBackup", "Ask Cloudflare too when the speech server is slow", boolAccepted,
     getField<&QuilletSettings::sttBackup>, setField<&QuilletSettings::sttBackup>},
    {"cloudflareAccount", "Account id for Cloudflare",
     "the account id, or an address that holds it; empty for none",
     getField<&QuilletSettings::cloudflareAccount>, setCloudflareAccount,
     setField<&QuilletSettings::cloudflareAccount>},
    {"functionKeys", "Keys that stand for Fn",
     "a JSON list of X key names, such as [\"Menu\"]; [] for the default",
     getField<&QuilletSettings::functionKeys>, setField<&QuilletSettings::functionKeys>},
    {"language", "Language of the application's windows, menu and messages",
     "en, zh_CN, or empty for the desktop's", getField<&QuilletSettings::language>,
     setInterfaceLanguage},
};

}  // namespace

const std::vector<std::string>& defaultSessionBlacklist() {
    static const std::vector<std::string> list = {
        "com.agilebits.onepassword7", "com.agilebits.onepassword", "com.bitwarden.desktop",
        "com.lastpass.LastPass", "com.apple.keychainaccess"};
    return list;
}

DictationOutputMode QuilletSettings::effectiveOutputMode() const {
    if (dictationOutputMode)
        return *dictationOutputMode;
    if (llmPolishMode)
        return DictationOutputMode::polish;
    return llmEnabled ? DictationOutputMode::smart : DictationOutputMode::raw;
}

std::optional<std::string> QuilletSettings::languageCode() const {
    if (selectedLanguage == "mixed" || selectedLanguage == "中英混合")
        return std::nullopt;
    if (selectedLanguage == "English")
        return "en";
    if (selectedLanguage == "简体中文")
        return "zh";
    return selectedLanguage;
}

std::string languageSetting(std::string_view code) {
    if (code == "en")
        return "English";
    return std::string(code == "zh" ? "简体中文" : code);
}

std::span<const SettingDescriptor> settingDescriptors() {
    return table;
}

const SettingDescriptor* findSetting(std::string_view name) {
    const auto found = std::ranges::find(table, name, &SettingDescriptor::name);
    return found == std::end(table) ? nullptr : &*found;
}

std::expected<void, std::string> applySetting(QuilletSettings& settings, std::string_view name,
                                              const json& value) {
    const auto* descriptor = findSetting(name);
    if (descriptor == nullptr)
        return std::unexpected(fmt::format(
            "There is no setting \"{}\". `quillet settings list` shows all of them.", name));
    if (descriptor->set(settings, value))
        return {};
    // Keys are pasted into the wrong field, too: texts are not repeated.
    const auto given =
        value.is_string() ? "this" : value.dump(-1, ' ', false, json::error_handler_t::replace);
    return std::unexpected(
        fmt::format("{} does not accept {}. It takes {}.", name, given, descriptor->accepted));
}

std::expected<void, std::string> applySettingText(QuilletSettings& settings, std::string_view name,
                                                  std::string_view text) {
    const auto* descriptor = findSetting(name);
    if (descriptor != nullptr) {
        // A text such as "123" or "true" is meant as a text where a text is accepted.
        if (descriptor->set(settings, json(std::string(text))))
            return {};
        const auto value = json::parse(text, nullptr, false);
        if (!value.is_discarded())
            return applySetting(settings, name, value);
    }
    return applySetting(settings, name, json(std::string(text)));
}

std::optional<QuilletSettings> decodeSettings(const json& record,
                                              std::vector<std::string>* ignored) {
    if (!record.is_object())
        return std::nullopt;
    QuilletSettings settings;
    json unknown = json::object();
    for (const auto& [name, value] : record.items()) {
        const auto* descriptor = findSetting(name);
        if (descriptor == nullptr)
            unknown[name] = value;
        else if (const auto load = descriptor->load != nullptr ? descriptor->load : descriptor->set;
                 !value.is_null() && !load(settings, value) && ignored != nullptr)
            ignored->push_back(name);
    }
    settings.unknownFields = unknown.dump();
    return settings;
}

json encodeSettings(const QuilletSettings& settings) {
    json record = json::parse(settings.unknownFields, nullptr, false);
    if (!record.is_object())
        record = json::object();
    for (const auto& descriptor : table) {
        auto value = descriptor.get(settings);
        if (!value.is_null())
            record[std::string(descriptor.name)] = std::move(value);
    }
    return record;
}

std::string_view storedName(STTEngineType value) {
    return nameOf(value);
}
std::string_view storedName(DictationOutputMode value) {
    return nameOf(value);
}
std::string_view storedName(SendKeyType value) {
    return nameOf(value);
}

}  // namespace quillet
