#pragma once

#include <expected>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

namespace quillet {

enum class STTEngineType {
    apple,  ///< on the device
    cloud,  ///< a speech server
};
enum class DictationOutputMode { raw, smart, polish };
enum class SendKeyType { enter, cmdEnter };

/// A spoken phrase and the saved text that it stands for.
struct Snippet {
    std::string id;
    std::string trigger;
    std::string text;
    friend bool operator==(const Snippet&, const Snippet&) = default;
};

/// Applications that are never dictated into and never logged, unless the user says otherwise.
[[nodiscard]] const std::vector<std::string>& defaultSessionBlacklist();

/// Everything that the user can set, but the secrets, which live in the keychain. Stored as one
/// JSON record whose keys are the names of the fields.
struct QuilletSettings {
    STTEngineType sttEngineType = STTEngineType::apple;
    std::string sttEndpoint;
    std::string selectedLanguage = "mixed";
    std::optional<DictationOutputMode> dictationOutputMode;
    bool autoSend = false;
    SendKeyType sendKey = SendKeyType::enter;
    double autoSendDelay = 1.5;  ///< seconds
    bool llmEnabled = false;
    std::string llmBaseURL;
    std::string llmModel;
    bool sessionLoggingEnabled = true;
    int sessionRetentionDays = 30;
    std::vector<std::string> sessionBlacklist = defaultSessionBlacklist();
    std::string sttModel;
    bool llmPolishMode = false;
    bool useFocusedContext = false;
    bool muteSystemAudioWhileRecording = false;
    std::string translationTarget = "English";
    bool mcpEnabled = false;
    bool mcpAllowControl = false;
    bool useScreenTerms = false;
    std::vector<Snippet> snippets;
    bool showsTextWhileSpeaking = false;
    bool vocabularySync = false;
    bool nightlyReview = false;
    bool rememberWhatISay = true;  ///< off: review and knowledge base stay as they are
    bool sttBackup = false;
    std::string cloudflareAccount;
    /// X keysym names of the keys that stand for Fn; empty means the platform's default.
    std::vector<std::string> functionKeys;
    /// Of the application's interface, "en" or "zh_CN"; empty: the desktop's.
    std::string language;

    /// Fields of a record that another version wrote, as JSON text; written back unchanged.
    std::string unknownFields = "{}";

    /// The mode that is set, else the one that older records mean.
    [[nodiscard]] DictationOutputMode effectiveOutputMode() const;
    /// The code that recognition is asked for; none for speech that mixes languages.
    [[nodiscard]] std::optional<std::string> languageCode() const;

    friend bool operator==(const QuilletSettings&, const QuilletSettings&) = default;
};

/// How the setting selectedLanguage names a language with this code.
[[nodiscard]] std::string languageSetting(std::string_view code);

/// One setting: how it is called, what it means and accepts, and how it is read and written. The
/// record's codec, the command and its help are read off the table of these.
struct SettingDescriptor {
    std::string_view name;
    std::string_view meaning;   ///< one line, for people
    std::string_view accepted;  ///< "true or false", …: what `set` takes
    nlohmann::json (*get)(const QuilletSettings&);
    /// False when the value is not accepted; the settings are then unchanged.
    bool (*set)(QuilletSettings&, const nlohmann::json&);
    /// Takes a stored value, where less is asked of it than of a user's; none: as `set`.
    bool (*load)(QuilletSettings&, const nlohmann::json&) = nullptr;
};

[[nodiscard]] std::span<const SettingDescriptor> settingDescriptors();
[[nodiscard]] const SettingDescriptor* findSetting(std::string_view name);

/// Sets one setting from a JSON value. The error is a sentence that says what is accepted.
[[nodiscard]] std::expected<void, std::string> applySetting(QuilletSettings& settings,
                                                            std::string_view name,
                                                            const nlohmann::json& value);
/// The same from text as a user types it: JSON where it reads as JSON, else the text itself.
[[nodiscard]] std::expected<void, std::string> applySettingText(QuilletSettings& settings,
                                                                std::string_view name,
                                                                std::string_view text);

/// None unless the value is an object. A field that is absent or of another type takes its default;
/// the names of the latter are put into `ignored`.
[[nodiscard]] std::optional<QuilletSettings> decodeSettings(const nlohmann::json& record,
                                                            std::vector<std::string>* ignored);
[[nodiscard]] nlohmann::json encodeSettings(const QuilletSettings& settings);

/// The words that enumerations are stored as.
[[nodiscard]] std::string_view storedName(STTEngineType value);
[[nodiscard]] std::string_view storedName(DictationOutputMode value);
[[nodiscard]] std::string_view storedName(SendKeyType value);

}  // namespace quillet
