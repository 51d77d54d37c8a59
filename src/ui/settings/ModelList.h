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

class QComboBox;
class QLabel;
class QProgressBar;
class QPushButton;
class QTreeWidget;

namespace quillet {

/// The recognition models on this machine: which there are, and installing and removing them.
class ModelList : public QWidget {
public:
    struct Services {
        Loop& loop;
        std::filesystem::path models;                      ///< the folder that holds them
        std::vector<std::filesystem::path> engineFolders;  ///< where the engine's library may be
        std::shared_ptr<SerialQueue> worker;               ///< for work with files
    };
    /// `spoken` tells the language to be offered for a new model.
    ModelList(Services services, MessageBar& messages, std::function<std::string()> spoken);

private:
    struct Found {
        std::vector<SpeechModels::Model> models;
        bool hasEngine = false;
    };

    void build();
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
    TaskScope tasks_;
};

}  // namespace quillet
