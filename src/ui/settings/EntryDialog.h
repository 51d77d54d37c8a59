#pragma once

#include <QDialog>
#include <expected>
#include <functional>
#include <optional>
#include <string>

class QLabel;
class QLineEdit;
class QPlainTextEdit;

namespace quillet {

/// Asks for two texts that belong together: what is said or heard, and what is written for it. Says
/// what is not accepted, and stays open until it is.
class EntryDialog : public QDialog {
public:
    struct Entry {
        std::string said;
        std::string written;
    };
    struct Texts {
        QString title;
        QString said;  ///< names of the fields, with mnemonics
        QString written;
        QString rule;
        bool hasLines = false;  ///< what is written may have several lines
    };
    using Check = std::function<std::expected<void, std::string>(const Entry& entry)>;

    EntryDialog(QWidget* parent, const Texts& texts, const Entry& entry, Check check);

    void onAccepted(std::function<void(Entry)> accepted) { accepted_ = std::move(accepted); }

protected:
    void accept() override;

private:
    void refuse(const QString& sentence);
    void buildForm(const Texts& texts, const Entry& entry);
    [[nodiscard]] Entry entered() const;

    Check check_;
    std::function<void(Entry)> accepted_;
    QLineEdit* said_;
    QLineEdit* line_ = nullptr;        // of these two, the one that
    QPlainTextEdit* lines_ = nullptr;  // what is written needs
    QLabel* rule_;                     // or why what was entered is not accepted
};

}  // namespace quillet
