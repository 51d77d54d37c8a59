#include "ui/settings/EntryDialog.h"

#include <QAccessible>
#include <QDialogButtonBox>
#include <QFormLayout>
#include <QLabel>
#include <QLineEdit>
#include <QPlainTextEdit>
#include <QPushButton>
#include <QVBoxLayout>

#include "base/text/Text.h"
#include "ui/kit/UiText.h"
#include "ui/settings/SettingsPage.h"

namespace quillet {

namespace {

constexpr int letters = 50;
constexpr int lines = 6;

}  // namespace

EntryDialog::EntryDialog(QWidget* parent, const Texts& texts, const Entry& entry, Check check)
    : QDialog(parent), check_(std::move(check)), said_(new QLineEdit), rule_(newNote(texts.rule)) {
    setAttribute(Qt::WA_DeleteOnClose);
    setWindowTitle(texts.title);
    buildForm(texts, entry);
    said_->setFocus();
}

void EntryDialog::buildForm(const Texts& texts, const Entry& entry) {
    auto* form = new QFormLayout;
    said_->setText(fromText(entry.said));
    said_->setMinimumWidth(fontMetrics().averageCharWidth() * letters);
    form->addRow(texts.said, said_);
    if (texts.hasLines) {
        lines_ = new QPlainTextEdit(fromText(entry.written));
        lines_->setTabChangesFocus(true);
        lines_->setMinimumHeight(fontMetrics().lineSpacing() * lines);
        form->addRow(texts.written, lines_);
    } else {
        line_ = new QLineEdit(fromText(entry.written));
        form->addRow(texts.written, line_);
    }
    auto* buttons = new QDialogButtonBox(QDialogButtonBox::Save | QDialogButtonBox::Cancel);
    buttons->button(QDialogButtonBox::Save)->setText(label("Save"));
    buttons->button(QDialogButtonBox::Cancel)->setText(label("Cancel"));
    connect(buttons, &QDialogButtonBox::accepted, this, &EntryDialog::accept);
    connect(buttons, &QDialogButtonBox::rejected, this, &EntryDialog::reject);
    auto* column = new QVBoxLayout(this);
    column->addLayout(form);
    column->addWidget(rule_);
    column->addStretch();
    column->addWidget(buttons);
}

EntryDialog::Entry EntryDialog::entered() const {
    return {trimmed(toText(said_->text())),
            lines_ != nullptr ? toText(lines_->toPlainText()) : trimmed(toText(line_->text()))};
}

void EntryDialog::refuse(const QString& sentence) {
    auto font = rule_->font();
    font.setBold(true);
    rule_->setFont(font);
    rule_->setText(sentence);
    rule_->setAccessibleName(sentence);
    resize(size().expandedTo({0, layout()->totalHeightForWidth(width())}));
    QAccessibleEvent event(rule_, QAccessible::Alert);
    QAccessible::updateAccessibility(&event);
}

void EntryDialog::accept() {
    auto entry = entered();
    if (const auto checked = check_(entry); !checked) {
        refuse(label(checked.error()));
        return;
    }
    if (accepted_)
        accepted_(std::move(entry));
    QDialog::accept();
}

}  // namespace quillet
