#include "ui/history/StepAside.h"

#include <QGuiApplication>
#include <QWidget>
#include <QWindow>

namespace quillet {

void stepAside(QWidget& window, std::function<void()> then) {
    if (QGuiApplication::focusWindow() == nullptr) {
        window.showMinimized();
        then();
        return;
    }
    auto* waiting = new QObject(&window);
    QObject::connect(qGuiApp, &QGuiApplication::focusWindowChanged, waiting,
                     [waiting, then = std::move(then)](const QWindow* focused) {
                         if (focused != nullptr)
                             return;
                         const auto act = then;
                         delete waiting;
                         act();
                     });
    window.showMinimized();
}

}  // namespace quillet
