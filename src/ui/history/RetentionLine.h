#pragma once

#include <QWidget>
#include <functional>

#include "base/notification/NotificationCenter.h"
#include "settings/AppSettings.h"

class QLabel;

namespace quillet {

/// How long the history is kept, or that none is, with the way to the settings that say so.
class RetentionLine : public QWidget {
public:
    RetentionLine(AppSettings& settings, NotificationCenter& notifications,
                  std::function<void()> openSettings, QWidget* parent = nullptr);

private:
    void fill();

    AppSettings& settings_;
    QLabel* text_;
    NotificationCenter::Subscription settingsChanged_;
};

}  // namespace quillet
