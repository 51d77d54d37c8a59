#pragma once

#include <QWidget>
#include <functional>
#include <optional>

#include "store/SessionStore.h"

class QLabel;
class QTextEdit;

namespace quillet {

/// One dictation: what was heard beside what was written, with what differs marked in both.
class EntryDetail : public QWidget {
public:
    explicit EntryDetail(const Calendar& calendar, QWidget* parent = nullptr);

    /// Called with the id of the dictation that the shown one replaces, when it is asked for.
    std::function<void(std::string id)> showEntry;

    void show(const TranscriptEntry& entry);
    /// Says which dictation the shown one replaces; without one, that it is not there any more.
    void showReplaced(const std::optional<TranscriptEntry>& replaced);
    /// Shows nothing but this sentence.
    void showNothing(const QString& sentence);

protected:
    void changeEvent(QEvent* event) override;

private:
    void render();

    const Calendar& calendar_;
    std::optional<TranscriptEntry> entry_;
    QLabel* caption_;
    QLabel* replaces_;
    QWidget* texts_;
    QTextEdit* heard_;
    QTextEdit* written_;
    QLabel* legend_;
};

}  // namespace quillet
