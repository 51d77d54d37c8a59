#include "ui/settings/TextSetting.h"

#include <QAccessible>
#include <QLabel>
#include <QLineEdit>
#include <QVBoxLayout>

#include "ui/settings/SettingsPage.h"

namespace quillet {

TextSetting::TextSetting(const QString& name, const QString& placeholder, Save save)
    : save_(std::move(save)), edit_(new QLineEdit), refusal_(new QLabel) {
    edit_->setPlaceholderText(placeholder);
    edit_->setAccessibleName(name);
    refusal_->setWordWrap(true);
    refusal_->hide();
    auto font = refusal_->font();
    font.setBold(true);
    refusal_->setFont(font);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins({});
    column->addWidget(edit_);
    column->addWidget(refusal_);
    setFocusProxy(edit_);
    setFocusPolicy(edit_->focusPolicy());  // a label's mnemonic goes by this
    setSizePolicy(QSizePolicy::Expanding, QSizePolicy::Preferred);
    connect(edit_, &QLineEdit::editingFinished, this, &TextSetting::commit);
}

void TextSetting::present(const QString& stored) {
    // What is being entered stays; assistive technology enters without typing.
    const bool isBeingEntered = edit_->text() != stored_;
    stored_ = stored;
    if (!isBeingEntered)
        showText(stored);
}

void TextSetting::showText(const QString& text) {
    if (edit_->text() == text)
        return;
    edit_->setText(text);
    edit_->setCursorPosition(0);
}

void TextSetting::commit() {
    if (edit_->text() == stored_)
        return;
    const auto refused = save_(edit_->text());
    showSentence(*refusal_, refused.value_or(QString()), edit_->width());
    refusal_->setVisible(refused.has_value());
    edit_->setAccessibleDescription(refusal_->text());
    if (refused) {
        QAccessibleEvent event(edit_, QAccessible::DescriptionChanged);
        QAccessible::updateAccessibility(&event);
        return;
    }
    showText(stored_);
}

}  // namespace quillet
