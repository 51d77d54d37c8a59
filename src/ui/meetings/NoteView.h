#pragma once

#include <QTextBrowser>
#include <functional>

#include "ui/meetings/NoteText.h"

namespace quillet {

/// Shows a meeting note. The times of its transcript are links where it can be played.
class NoteView : public QTextBrowser {
public:
    enum class Times { links, plain };

    explicit NoteView(QWidget* parent = nullptr);

    /// A time of the transcript was clicked, or chosen by the keyboard.
    std::function<void(std::chrono::seconds time)> timeChosen;

    void showNote(NoteText note, Times times);
    [[nodiscard]] const std::vector<NoteText::Line>& lines() const { return lines_; }
    /// Marks the line that is heard and brings it into view; none: no line.
    void markHeard(std::optional<std::size_t> line);

    /// A note shows no pictures: who dictates its text must not have files opened.
    QVariant loadResource(int type, const QUrl& name) override;

private:
    void addLine(QTextCursor& cursor, const NoteText::Line& line, Times times);
    [[nodiscard]] QTextBlock blockOf(std::size_t line) const;
    void setMark(std::size_t line, const QString& text);
    void bringIntoView(const QTextBlock& block);
    void follow(const QUrl& link);

    std::vector<NoteText::Line> lines_;
    int firstBlock_ = 0;  // of the transcript
    std::optional<std::size_t> heard_;
};

}  // namespace quillet
