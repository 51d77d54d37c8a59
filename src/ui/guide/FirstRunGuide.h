#pragma once

#include <QWidget>
#include <functional>

#include "app/HotkeyController.h"
#include "app/RecordingSession.h"
#include "base/async/TaskScope.h"
#include "platform/AudioInput.h"
#include "settings/AppSettings.h"
#include "ui/kit/MessageBar.h"

class QLabel;
class QPushButton;
class QStackedWidget;
class QVBoxLayout;

namespace quillet {

/// Noted when the guide was finished or put away.
inline constexpr std::string_view guideSeenFlag = "firstRunGuideSeenV1";

/// Leads somebody who has never seen Quillet to his first dictation: microphone, recognition, keys,
/// and a field to try it in.
class FirstRunGuide : public QWidget {
public:
    struct Services {
        Loop& loop;
        AppSettings& settings;
        AudioInput& audioInput;
        RecordingSession& session;
        const HotkeyController& hotkeys;
        NotificationCenter& notifications;
        bool hasGlobalKeys;  ///< the desktop shows us its keys
        /// Language, device or server, and what they need; troubles are told there.
        std::function<QWidget*(MessageBar& messages)> makeRecognitionStep;
        std::function<bool()> isReady;  ///< something can recognise now
    };

    explicit FirstRunGuide(Services services);
    ~FirstRunGuide() override;

protected:
    void closeEvent(QCloseEvent* event) override;

private:
    void addPage(const QString& title, QWidget* content);
    [[nodiscard]] QWidget* welcomePage();
    [[nodiscard]] QWidget* microphonePage();
    [[nodiscard]] QWidget* recognitionPage();
    [[nodiscard]] QWidget* keysPage();
    [[nodiscard]] QWidget* tryItPage();
    void showPage(int index);
    void refreshTryIt();
    asio::awaitable<void> nameMicrophone(QLabel& line);

    Services services_;
    QLabel* title_;
    QLabel* progress_;
    MessageBar* messages_;
    QStackedWidget* pages_;
    QPushButton* back_;
    QPushButton* next_;
    QLabel* state_ = nullptr;
    QPushButton* record_ = nullptr;
    QStringList titles_;
    NotificationCenter::Subscription stateChanged_;
    NotificationCenter::Subscription settingsChanged_;
    TaskScope tasks_;
};

}  // namespace quillet
