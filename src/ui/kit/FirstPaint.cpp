#include "ui/kit/FirstPaint.h"

#include <QElapsedTimer>
#include <QEvent>
#include <QTimer>

namespace quillet {

namespace {

/// Waits for a window's first paint, and goes.
class FirstPaint : public QObject {
public:
    FirstPaint(QWidget* window, QElapsedTimer since, std::function<void(double)> tell)
        : QObject(window), since_(since), tell_(std::move(tell)) {
        window->installEventFilter(this);
    }

    bool eventFilter(QObject* window, QEvent* event) override {
        if (event->type() == QEvent::Paint) {
            window->removeEventFilter(this);
            // All of it is painted before anything else happens.
            QTimer::singleShot(0, this, [this] {
                tell_(static_cast<double>(since_.nsecsElapsed()) / 1e6);
                deleteLater();
            });
        }
        return false;
    }

private:
    QElapsedTimer since_;
    std::function<void(double)> tell_;
};

}  // namespace

std::function<std::unique_ptr<QWidget>()> timed(std::function<std::unique_ptr<QWidget>()> make,
                                                std::function<void(double ms)> tell) {
    return [make = std::move(make), tell = std::move(tell)] {
        QElapsedTimer since;
        since.start();
        auto window = make();
        new FirstPaint(window.get(), since, tell);
        return window;
    };
}

}  // namespace quillet
