#pragma once

#include <QWidget>
#include <functional>
#include <string>

#include "base/async/TaskScope.h"
#include "speech/ModelDownload.h"
#include "ui/kit/MessageBar.h"

class QLabel;
class QProgressBar;
class QPushButton;

namespace quillet {

/// A model that can be downloaded: its size and where it comes from, and while it is fetched, how
/// far that is. It goes on while this is hidden, and ends with it.
class ModelOffer : public QWidget {
public:
    struct Services {
        Loop& loop;
        ModelDownload& download;
        MessageBar& messages;
        std::function<void(const std::string& language)> installed;
    };
    ModelOffer(const Services& services, OfferedModel model);

    [[nodiscard]] const std::string& language() const { return model_.language; }
    [[nodiscard]] bool isFetching() const { return fetching_.running(); }

private:
    void start();
    void showIdle();
    void showProgress(std::uint64_t bytes);
    asio::awaitable<void> fetch();

    Services services_;
    OfferedModel model_;
    QLabel* text_;
    QPushButton* download_;
    QPushButton* cancel_;
    QProgressBar* progress_;
    TaskHandle fetching_;
    TaskScope tasks_;
};

}  // namespace quillet
