#include "ui/meetings/NoteView.h"

#include <QAbstractTextDocumentLayout>
#include <QDesktopServices>
#include <QScrollBar>
#include <QTextBlock>
#include <QTextCursor>
#include <QTextDocument>
#include <QUrl>
#include <cmath>

#include "ui/kit/UiText.h"

namespace quillet {

namespace {

constexpr int documentMargin = 12;
constexpr int lineSpacing = 4;
constexpr int markAlpha = 70;

QString timeScheme() {
    return QStringLiteral("time");
}

QString markText() {
    return QStringLiteral("▶ ");
}

}  // namespace

NoteView::NoteView(QWidget* parent) : QTextBrowser(parent) {
    setAccessibleName(label("Meeting note"));
    setOpenLinks(false);
    setUndoRedoEnabled(false);
    setTextInteractionFlags(Qt::TextBrowserInteraction | Qt::TextSelectableByKeyboard);
    document()->setDocumentMargin(documentMargin);
    connect(this, &QTextBrowser::anchorClicked, this, [this](const QUrl& link) { follow(link); });
}

QVariant NoteView::loadResource(int /*type*/, const QUrl& /*name*/) {
    return {};
}

void NoteView::showNote(NoteText note, Times times) {
    heard_.reset();
    setExtraSelections({});
    document()->setMarkdown(fromText(note.body),
                            QTextDocument::MarkdownFeatures(QTextDocument::MarkdownDialectGitHub) |
                                QTextDocument::MarkdownNoHTML);
    lines_ = std::move(note.lines);
    QTextCursor cursor(document());
    cursor.movePosition(QTextCursor::End);
    firstBlock_ = document()->blockCount();
    cursor.beginEditBlock();
    for (const auto& line : lines_)
        addLine(cursor, line, times);
    cursor.endEditBlock();
    moveCursor(QTextCursor::Start);
}

void NoteView::addLine(QTextCursor& cursor, const NoteText::Line& line, Times times) {
    QTextBlockFormat block;
    block.setTopMargin(lineSpacing);
    QTextCharFormat plain;
    QTextCharFormat time;
    if (line.start && times == Times::links) {
        time.setAnchor(true);
        time.setAnchorHref(timeScheme() + QLatin1Char(':') + QString::number(line.start->count()));
        time.setForeground(palette().link());
        time.setFontUnderline(true);
    }
    cursor.insertBlock(block, plain);
    cursor.insertText(fromText(line.time), time);
    cursor.insertText((line.start ? QStringLiteral(" ") : QString()) + fromText(line.text), plain);
}

QTextBlock NoteView::blockOf(std::size_t line) const {
    return document()->findBlockByNumber(firstBlock_ + static_cast<int>(line));
}

void NoteView::markHeard(std::optional<std::size_t> line) {
    if (line == heard_)
        return;
    if (heard_)
        setMark(*heard_, {});
    heard_ = line;
    if (!heard_) {
        setExtraSelections({});
        return;
    }
    setMark(*heard_, markText());
    ExtraSelection ground;
    auto colour = palette().color(QPalette::Highlight);
    colour.setAlpha(markAlpha);
    ground.format.setBackground(colour);
    ground.format.setProperty(QTextFormat::FullWidthSelection, true);
    ground.cursor = QTextCursor(blockOf(*heard_));
    setExtraSelections({ground});
    bringIntoView(blockOf(*heard_));
}

/// A colour alone would not be seen by everybody.
void NoteView::setMark(std::size_t line, const QString& text) {
    QTextCursor cursor(blockOf(line));
    if (text.isEmpty())
        cursor.movePosition(QTextCursor::Right, QTextCursor::KeepAnchor,
                            static_cast<int>(markText().size()));
    cursor.insertText(text, QTextCharFormat());
}

void NoteView::bringIntoView(const QTextBlock& block) {
    const auto area = document()->documentLayout()->blockBoundingRect(block);
    auto* bar = verticalScrollBar();
    const auto height = viewport()->height();
    const auto top = static_cast<int>(std::floor(area.top()));
    const auto bottom = static_cast<int>(std::ceil(area.bottom()));
    if (top < bar->value() || bottom > bar->value() + height)
        bar->setValue(top - height / 3);
}

void NoteView::follow(const QUrl& link) {
    if (link.scheme() == timeScheme()) {
        if (timeChosen)
            timeChosen(std::chrono::seconds(link.path().toInt()));
        return;
    }
    if (link.scheme() == QStringLiteral("https") || link.scheme() == QStringLiteral("http"))
        QDesktopServices::openUrl(link);
}

}  // namespace quillet
