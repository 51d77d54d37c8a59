#pragma once

#include <QWidget>
#include <functional>
#include <memory>
#include <vector>

#include "ui/settings/AppsPage.h"
#include "ui/settings/GeneralPage.h"
#include "ui/settings/MCPPage.h"
#include "ui/settings/MeetingsPage.h"
#include "ui/settings/MemoryPage.h"
#include "ui/settings/PrivacyPage.h"
#include "ui/settings/RecognitionPage.h"
#include "ui/settings/VocabularyPage.h"
#include "ui/settings/WritingPage.h"

class QListWidget;
class QStackedWidget;

namespace quillet {

/// All settings: a list of pages, each of which is built when it is first shown. What is changed
/// holds at once.
class SettingsWindow : public QWidget {
public:
    struct Services {
        AppSettings& settings;
        NotificationCenter& notifications;
        GeneralPage::Services general;
        RecognitionPage::Services recognition;
        WritingPage::Services writing;
        VocabularyPage::Services vocabulary;
        AppsPage::Services apps;
        MemoryPage::Services memory;
        MeetingsPage::Services meetings;
        MCPPage::Services mcp;
        PrivacyPage::Services privacy;
    };

    explicit SettingsWindow(Services services);
    ~SettingsWindow() override;

private:
    using Maker = std::function<SettingsPage*()>;

    void offerPages();
    void offer(const QString& title, const char* icon, Maker make);
    template <class Page, class PageServices>
    Maker makerOf(const PageServices& services);
    void showPage(int row);

    Services services_;
    QListWidget* list_;
    MessageBar* messages_;
    QStackedWidget* stack_;
    std::vector<Maker> makers_;
};

}  // namespace quillet
