#pragma once

#include "app/DictationDeletion.h"
#include "base/async/TaskScope.h"
#include "settings/Consent.h"
#include "store/SessionStore.h"
#include "ui/settings/SettingsPage.h"

class QPushButton;
class QTreeWidget;

namespace quillet {

/// What is kept of dictations, and which services may be sent what.
class PrivacyPage : public SettingsPage {
public:
    struct Services {
        Loop& loop;
        SessionStore& history;
        /// Deletes all of it, with what was made of it.
        std::function<asio::awaitable<DictationDeletion::Outcome>()> eraseHistory;
        Consent& consent;
        const Calendar& calendar;
    };

    PrivacyPage(const Binding& binding, Services services);

private:
    void addHistory();
    void askToDelete();
    void addConsent();
    void showConsent();
    void decide(ConsentDecision decision);
    void enableActions();
    void addNeverSent();
    asio::awaitable<void> deleteHistory();

    Services services_;
    QTreeWidget* decided_ = nullptr;
    QPushButton* allow_ = nullptr;
    QPushButton* deny_ = nullptr;
    QPushButton* forget_ = nullptr;
    TaskScope tasks_;
};

}  // namespace quillet
