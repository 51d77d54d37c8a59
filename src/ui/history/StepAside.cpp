#include "ui/history/StepAside.h"

#include <QGuiApplication>
#include <QTimer>
#include <QWidget>
#include <QWindow>

#include "ui/kit/MessageBar.h"
#include "ui/kit/UiText.h"

namespace quillet {

namespace {

constexpr QLatin1StringView waitName("stepping aside");

void comeBack(QWidget& window, MessageBar& messages) {
    window.setWindowState(window.windowState() & ~Qt::WindowMinimized);
    window.show();
    window.raise();
    window.activateWindow();
    messages.showError(
        label("Nothing was typed: no other program came to the front. Open the window that the "
              "text is for, then try again."));
}

}  // namespace

void stepAside(QWidget& window, MessageBar& messages, std::function<void()> then,
               std::chrono::milliseconds limit) {
    delete window.findChild<QObject*>(QString(waitName), Qt::FindDirectChildrenOnly);
    if (QGuiApplication::focusWindow() == nullptr) {
        window.showMinimized();
        then();
        return;
    }
    auto* waiting = new QObject(&window);
    waiting->setObjectName(QString(waitName));
    QObject::connect(qGuiApp, &QGuiApplication::focusWindowChanged, waiting,
                     [waiting, then = std::move(then)](const QWindow* focused) {
                         if (focused != nullptr)
                             return;
                         const auto act = then;
                         delete waiting;
                         act();
                     });
    QTimer::singleShot(limit, waiting, [waiting, &window, &messages] {
        auto& back = window;
        auto& bar = messages;
        delete waiting;
        comeBack(back, bar);
    });
    window.showMinimized();
}

}  // namespace quillet
