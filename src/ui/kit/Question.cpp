#include "ui/kit/Question.h"

#include <QMessageBox>
#include <QPushButton>

#include "ui/kit/UiText.h"

namespace quillet {

void askFirst(QWidget* parent, const Question& question, std::function<void()> then) {
    auto* box = new QMessageBox(QMessageBox::Question, label("Quillet"), question.sentence,
                                QMessageBox::NoButton, parent);
    box->setAttribute(Qt::WA_DeleteOnClose);
    box->setInformativeText(question.detail);
    auto* act = box->addButton(question.action, QMessageBox::DestructiveRole);
    auto* cancel = box->addButton(label("Cancel"), QMessageBox::RejectRole);
    box->setDefaultButton(cancel);
    box->setEscapeButton(cancel);
    QObject::connect(act, &QPushButton::clicked, box, [then = std::move(then)] { then(); });
    box->open();
}

}  // namespace quillet
