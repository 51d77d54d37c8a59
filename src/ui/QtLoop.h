#pragma once

#include <QObject>

#include "base/async/Loop.h"

namespace quillet {

/// The main queue inside Qt's event loop: one event, when there is something to do.
class QtLoop final : public Loop {
public:
    QtLoop();
    ~QtLoop() override;

protected:
    void wake() override;

private:
    class Receiver;
    std::unique_ptr<QObject> receiver_;
};

}  // namespace quillet
