#pragma once

#include <QWidget>
#include <functional>
#include <optional>

class QLabel;
class QLineEdit;

namespace quillet {

/// A line of text that is saved when it is left or confirmed, and says below it what is not
/// accepted.
class TextSetting : public QWidget {
public:
    /// None when the text was saved, else a sentence on what is accepted.
    using Save = std::function<std::optional<QString>(const QString& text)>;

    TextSetting(const QString& name, const QString& placeholder, Save save);

    /// Shows what is stored; text that is being typed stays.
    void present(const QString& stored);
    /// Saves what was typed, where that is not done yet.
    void commit();

    [[nodiscard]] QLineEdit* edit() const { return edit_; }

private:
    void showText(const QString& text);

    Save save_;
    QString stored_;
    QLineEdit* edit_;
    QLabel* refusal_;
};

}  // namespace quillet
