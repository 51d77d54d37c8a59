#pragma once

#include <QWidget>
#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/async/SerialQueue.h"
#include "base/async/TaskScope.h"
#include "speech/SpeechModels.h"
#include "ui/kit/MessageBar.h"
#include "ui/settings/ModelOffer.h"

class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QTreeWidget;
class QVBoxLayout;

namespace quillet {

/// The recognition models on this machine: which there are and which can be downloaded, and
/// installing and removing them.
class ModelList : public QWidget {
public:
    struct Services {
        Loop& loop;
        SpeechModels models;
        std::vector<std::filesystem::path> engineFolders;  ///< where the engine's library may be
        std::shared_ptr<SerialQueue> worker;               ///< for work with files
        ModelDownload& download;
    };
    using Installed = std::function<void(const std::string& language)>;
    /// `spoken`: the language to be offered for a new model. `installed` is told of each model that
    /// is there from now on.
    ModelList(Services services, MessageBar& messages, const std::string& spoken,
              Installed installed);

protected:
    void showEvent(QShowEvent* event) override;

private:
    struct Found {
        std::vector<SpeechModels::Model> models;
        bool hasEngine = false;
    };

    void build();
    void addOffers(QVBoxLayout& column);
    void choose(bool isFolder);
    void remove();
    void show(const Found& found);
    void setBusy(bool isBusy);
    [[nodiscard]] std::string selected() const;
    asio::awaitable<void> look();
    asio::awaitable<void> install(std::filesystem::path source, std::string language);
    asio::awaitable<void> removeNow(std::string language);

    Services services_;
    MessageBar& messages_;
    QTreeWidget* list_;
    QLabel* state_;
    QComboBox* language_;
    QPushButton* fromFile_;
    QPushButton* fromFolder_;
    QPushButton* remove_;
    QProgressBar* progress_;
    QPushButton* cancel_;
    Installed installed_;
    std::vector<ModelOffer*> offers_;
    TaskHandle installing_;
    TaskScope tasks_;
};

}  // namespace quillet
