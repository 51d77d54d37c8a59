#pragma once

#include <QPointer>

#include "app/RecordingSession.h"
#include "speech/SpeechClient.h"
#include "ui/settings/ConnectionTest.h"
#include "ui/settings/KeySetting.h"
#include "ui/settings/ModelList.h"
#include "ui/settings/SettingsPage.h"

namespace quillet {

/// Where speech is recognised: on the device or by a server, with which model and key.
class RecognitionPage : public SettingsPage {
public:
    struct Services {
        Loop& loop;
        Keychain& keychain;
        SpeechClient& speech;
        const RecordingSession& session;
        const Calendar& calendar;
        ModelList::Services models;
    };

    RecognitionPage(const Binding& binding, Services services);

    ~RecognitionPage() override;

protected:
    enum class Parts { all, none };
    /// For a page that has some of the parts beside others.
    RecognitionPage(const Binding& binding, Services services, Parts parts);

    void addLanguage(QFormLayout& form);
    QFormLayout* addPresets();
    void addServer();
    void addBackup();
    void addCloudflare();
    /// Tells that a model was installed. Where the device recognises and has no model for the
    /// language that is set, that of the new one is set.
    void tellInstalled(const std::string& language);
    [[nodiscard]] std::string spokenLanguage() const;
    [[nodiscard]] const Services& services() const { return services_; }

private:
    void addEngine();
    void showPreset(QLabel& note, QLabel& steps);
    void usePreset(std::string_view id);
    void showMissing();
    KeySetting* addKey(QFormLayout& form, const QString& name, KeySetting::Key key);
    void addModels();
    void addLastFailure();
    [[nodiscard]] std::string cloudflareAddress() const;
    asio::awaitable<ConnectionTest::Report> test();

    Services services_;
    std::vector<KeySetting*> keys_;
    QPointer<QLabel> missing_;  // of what a backup needs
    bool hasToken_ = true;
};

}  // namespace quillet
