#include "ui/history/EntryDetail.h"

#include <QEvent>
#include <QHBoxLayout>
#include <QLabel>
#include <QTextCursor>
#include <QTextEdit>
#include <QVBoxLayout>

#include "base/text/Text.h"
#include "base/text/TextDifference.h"
#include "ui/history/EntryListModel.h"
#include "ui/kit/UiText.h"
#include "ui/kit/WallTime.h"

namespace quillet {

namespace {

constexpr std::size_t quotedCharacters = 60;
constexpr int narrowestText = 160;

QTextEdit* makeView(const QString& name) {
    auto* view = new QTextEdit;
    view->setReadOnly(true);
    view->setTextInteractionFlags(Qt::TextSelectableByMouse | Qt::TextSelectableByKeyboard);
    view->setTabChangesFocus(true);
    view->setAccessibleName(name);
    view->setMinimumWidth(narrowestText);
    return view;
}

QWidget* titled(const QString& title, QTextEdit* view) {
    auto* box = new QWidget;
    auto* heading = new QLabel(title);
    heading->setBuddy(view);
    auto* column = new QVBoxLayout(box);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(heading);
    column->addWidget(view, 1);
    return box;
}

/// A ground that stands out from the text's without hiding it, in a light palette and a dark one.
QColor tint(const QPalette& palette) {
    constexpr float strength = 0.3F;
    auto colour = palette.color(QPalette::Highlight);
    colour.setAlphaF(strength);
    return colour;
}

QTextCharFormat formatOf(TextDifference::Kind kind, const QPalette& palette) {
    QTextCharFormat format;
    if (kind == TextDifference::Kind::same)
        return format;
    format.setBackground(tint(palette));
    if (kind == TextDifference::Kind::removed)
        format.setFontStrikeOut(true);
    else
        format.setFontUnderline(true);
    return format;
}

void write(QTextEdit& view, const TextDifference& difference, TextDifference::Kind without) {
    view.clear();
    QTextCursor cursor(view.document());
    for (const auto& piece : difference.pieces()) {
        if (piece.kind != without)
            cursor.insertText(fromText(piece.text), formatOf(piece.kind, view.palette()));
    }
    view.moveCursor(QTextCursor::Start);
}

}  // namespace

EntryDetail::EntryDetail(const Calendar& calendar, QWidget* parent)
    : QWidget(parent),
      calendar_(calendar),
      caption_(new QLabel),
      replaces_(new QLabel),
      texts_(new QWidget),
      heard_(makeView(label("Heard"))),
      written_(makeView(label("Written"))),
      legend_(new QLabel(
          label("Struck out: heard, but not written. Underlined: written, but not heard."))) {
    caption_->setWordWrap(true);
    caption_->setTextInteractionFlags(Qt::TextSelectableByMouse);
    replaces_->setWordWrap(true);
    replaces_->setTextFormat(Qt::RichText);
    replaces_->setTextInteractionFlags(Qt::LinksAccessibleByMouse | Qt::LinksAccessibleByKeyboard);
    connect(replaces_, &QLabel::linkActivated, this, [this](const QString& id) {
        if (showEntry)
            showEntry(toText(id));
    });
    legend_->setWordWrap(true);
    auto* row = new QHBoxLayout(texts_);
    row->setContentsMargins(0, 0, 0, 0);
    row->addWidget(titled(label("&Heard"), heard_), 1);
    row->addWidget(titled(label("&Written"), written_), 1);
    auto* column = new QVBoxLayout(this);
    column->setContentsMargins(0, 0, 0, 0);
    column->addWidget(caption_);
    column->addWidget(replaces_);
    column->addWidget(texts_, 1);
    column->addWidget(legend_);
    showNothing({});
}

void EntryDetail::show(const TranscriptEntry& entry) {
    // What is being read keeps its place and its selection.
    if (entry_ && entry_->id == entry.id && entry_->rawText == entry.rawText &&
        entry_->finalText == entry.finalText)
        return;
    entry_ = entry;
    caption_->setText(captionOf(entry, calendar_));
    caption_->setAlignment(Qt::AlignLeading | Qt::AlignTop);
    replaces_->hide();
    texts_->show();
    render();
}

void EntryDetail::showReplaced(const std::optional<TranscriptEntry>& replaced) {
    if (!replaced) {
        replaces_->setText(
            label("It replaces a dictation that is not kept any more.").toHtmlEscaped());
    } else {
        const auto text = fromText(shortened(toText(lineOf(*replaced)), quotedCharacters));
        const auto link = QStringLiteral("<a href=\"%1\">%2</a>")
                              .arg(fromText(replaced->id).toHtmlEscaped(), text.toHtmlEscaped());
        replaces_->setText(label("It replaces “{}”.", toText(link)));
    }
    replaces_->show();
}

void EntryDetail::showNothing(const QString& sentence) {
    entry_.reset();
    caption_->setText(sentence);
    caption_->setAlignment(Qt::AlignCenter);
    replaces_->hide();
    texts_->hide();
    legend_->hide();
}

void EntryDetail::changeEvent(QEvent* event) {
    QWidget::changeEvent(event);
    if (event->type() == QEvent::PaletteChange && entry_)
        render();
}

void EntryDetail::render() {
    const TextDifference difference(entry_->rawText, entry_->finalText);
    write(*heard_, difference, TextDifference::Kind::added);
    write(*written_, difference, TextDifference::Kind::removed);
    legend_->setVisible(!difference.isNone());
}

}  // namespace quillet
