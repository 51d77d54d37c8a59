#pragma once

#include <map>
#include <optional>

#include "base/async/TaskScope.h"
#include "settings/AppProfileStore.h"
#include "store/SessionStore.h"
#include "ui/settings/SettingsPage.h"

class QDoubleSpinBox;
class QLineEdit;
class QListWidget;
class QPushButton;
class QTreeWidget;

namespace quillet {

/// What differs by application: how a message is sent, and which applications are left alone.
class AppsPage : public SettingsPage {
public:
    struct Services {
        Loop& loop;
        AppProfileStore& profiles;
        SessionStore& history;  ///< tells which applications the user dictates into
        /// The names of those that are installed, by id.
        std::function<asio::awaitable<std::map<std::string, std::string>>()> installed;
    };

    AppsPage(const Binding& binding, Services services);

private:
    using Chosen = std::function<void(const AppProfile& application)>;

    void addProfiles();
    void addProfileForm(QVBoxLayout& column);
    void addExcluded();
    void showProfiles();
    void addLine(const std::string& name, const std::vector<AppProfile>& profiles);
    void showProfile();
    void showExcluded();
    void saveProfile();
    void deleteProfile();
    void resetProfiles();
    void exclude(const QStringList& ids);
    void allowAgain();
    void chooseApplication(const QString& title, Chosen chosen);
    void tell(const std::expected<void, std::string>& done);
    [[nodiscard]] std::vector<AppProfile> selected() const;
    [[nodiscard]] std::string nameOf(const std::string& id, const std::string& otherwise) const;
    [[nodiscard]] bool isOfHere(const std::string& id) const;
    asio::awaitable<void> gatherApplications();

    Services services_;
    std::map<std::string, std::string> applications_;  // names by id: those that were dictated into
    std::map<std::string, std::string> installed_;
    QTreeWidget* profiles_ = nullptr;
    QWidget* form_ = nullptr;
    QComboBox* sendKey_ = nullptr;
    QCheckBox* autoSend_ = nullptr;
    QDoubleSpinBox* delay_ = nullptr;
    QPushButton* delete_ = nullptr;
    QListWidget* excluded_ = nullptr;
    TaskScope tasks_;
};

}  // namespace quillet
