#pragma once

#include <QString>
#include <functional>

class QWidget;

namespace quillet {

/// Asks before something that cannot be taken back, without stopping the rest of the program.
struct Question {
    QString sentence;  ///< "Delete 12 dictations?"
    QString detail;    ///< what goes and what stays; may be empty
    QString action;    ///< on the button that does it: "Delete"
};
/// Calls `then` when the user agrees; not any more once `parent` is gone.
void askFirst(QWidget* parent, const Question& question, std::function<void()> then);

}  // namespace quillet
