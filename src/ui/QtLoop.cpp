#include "ui/QtLoop.h"

#include <QCoreApplication>
#include <QEvent>

namespace quillet {

class QtLoop::Receiver final : public QObject {
public:
    explicit Receiver(QtLoop& loop) : loop_(loop) {}

    bool event(QEvent* event) override {
        if (event->type() != QEvent::User)
            return QObject::event(event);
        loop_.drain();
        return true;
    }

private:
    QtLoop& loop_;
};

QtLoop::QtLoop() : receiver_(std::make_unique<Receiver>(*this)) {}

QtLoop::~QtLoop() {
    close();
}

void QtLoop::wake() {
    QCoreApplication::postEvent(receiver_.get(), new QEvent(QEvent::User));
}

}  // namespace quillet
