#pragma once

#include <QFrame>
#include <chrono>
#include <functional>

class QLabel;
class QPushButton;
class QTimer;

namespace quillet {

/// A line at a window's top that says how something went, with one thing to do about it at most.
/// Hidden while there is nothing to say. Read aloud by assistive technology when it changes.
class MessageBar : public QFrame {
public:
    explicit MessageBar(QWidget* parent = nullptr);

    /// What went wrong, and what to do. Stays until something else is said or it is closed.
    void showError(const QString& sentence);
    /// Good to know. Goes by itself, unless there is something to do about it.
    void showInfo(const QString& sentence);
    /// With a button, such as "Undo".
    void showInfo(const QString& sentence, const QString& action, std::function<void()> act);
    /// The same; after this time it goes, and what could be done about it.
    void showInfo(const QString& sentence, const QString& action, std::function<void()> act,
                  std::chrono::milliseconds time);
    void clear();

private:
    void present(const QString& sentence, bool isError);

    QLabel* text_;
    QPushButton* action_;
    QTimer* ending_;
    std::function<void()> act_;
};

}  // namespace quillet
