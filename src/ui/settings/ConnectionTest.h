#pragma once

#include <QWidget>
#include <asio/awaitable.hpp>
#include <functional>
#include <string>

#include "base/async/TaskScope.h"

class QLabel;
class QPushButton;

namespace quillet {

/// A button that asks a service whether it answers, and the sentence that came of it. The test can
/// be cancelled.
class ConnectionTest : public QWidget {
public:
    struct Report {
        bool reachable = false;
        std::string sentence;
    };
    using Test = std::function<asio::awaitable<Report>()>;

    ConnectionTest(Loop& loop, Test test);

private:
    void press();
    void show(const QString& sentence, bool isBad);
    asio::awaitable<void> run();

    Test test_;
    QPushButton* button_;
    QLabel* outcome_;
    TaskHandle running_;
    TaskScope tasks_;
};

}  // namespace quillet
