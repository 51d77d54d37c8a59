#include "ui/PanelWidget.h"

#include <QFontMetrics>
#include <QGuiApplication>
#include <QPainter>
#include <QPainterPath>
#include <QPalette>
#include <QScreen>
#include <QStyle>
#include <algorithm>
#include <cmath>

#include "ui/kit/UiText.h"

namespace quillet {

namespace {

constexpr int horizontalMargin = 18;
constexpr int verticalMargin = 12;
constexpr int waveformWidth = 120;
constexpr int waveformHeight = 28;
constexpr int spacing = 12;
constexpr int widestText = 560;
constexpr int distanceFromEdge = 72;
constexpr int distanceFromCaret = 24;
constexpr qreal cornerRadius = 14;
constexpr int mostPartialLines = 3;
/// Reading time: a moment to notice it, and a fifteenth of a second a letter.
constexpr int shortestNoticeMs = 2'500;
constexpr int longestNoticeMs = 9'000;
constexpr int noticeMsPerLetter = 65;
constexpr int countdownFrameMs = 50;
/// Where the user wants little motion, the picture changes this often, and does not run along.
constexpr int calmFrameMs = 500;
constexpr auto countdownText = toTranslate("Sending… Esc to cancel");

constexpr auto panelFlags = Qt::Tool | Qt::FramelessWindowHint | Qt::WindowStaysOnTopHint |
                            Qt::WindowDoesNotAcceptFocus |
                            // Under a full-screen window a managed panel would not be seen.
                            Qt::X11BypassWindowManagerHint;

/// The height of a bar, 0 to 1, by loudness as the ear has it: from a quiet room to a loud voice.
qreal visible(float level) {
    constexpr double quietRoom = -55;  // dB
    constexpr double loudVoice = -15;
    const double loudness = 20 * std::log10(std::max(static_cast<double>(level), 1e-6));
    return std::clamp((loudness - quietRoom) / (loudVoice - quietRoom), 0.06, 1.0);
}

/// A thin line that stands out a little from the ground, be it light or dark.
QColor edgeColour(const QPalette& palette) {
    constexpr float share = 0.25F;
    auto colour = palette.color(QPalette::WindowText);
    colour.setAlphaF(share);
    return colour;
}

}  // namespace

PanelWidget::PanelWidget() : QWidget(nullptr, panelFlags) {
    setAttribute(Qt::WA_ShowWithoutActivating);
    setAttribute(Qt::WA_TranslucentBackground);
    setFocusPolicy(Qt::NoFocus);
    setWindowTitle(QStringLiteral("Quillet"));
    setAccessibleName(label("Quillet status"));
    noticeTimer_.setSingleShot(true);
    connect(&noticeTimer_, &QTimer::timeout, this, [this] { noticeEnded(); });
    connect(&countdownTimer_, &QTimer::timeout, this, [this] { update(); });
    // The screen that it was on may be gone.
    connect(qGuiApp, &QGuiApplication::screenRemoved, this, [this] {
        if (content_ != Content::nothing)
            arrange();
    });
}

void PanelWidget::showRecording(std::string banner, std::optional<DesktopRect> window) {
    banner_ = label(banner);
    partialText_.clear();
    // What was said of the last dictation must not hide what is said of this one.
    notice_.clear();
    noticeTimer_.stop();
    levels_.fill(0);
    window_ = window;
    caret_.reset();
    isAtTop_ = false;
    present(Content::recording);
}

void PanelWidget::avoid(DesktopRect caret) {
    caret_ = QRect(caret.x, caret.y, std::max(caret.width, 1), std::max(caret.height, 1));
    if (content_ != Content::nothing)
        arrange();
}

void PanelWidget::setBanner(std::string banner) {
    banner_ = label(banner);
    notice_.clear();
    if (content_ == Content::recording)
        arrange();
}

void PanelWidget::setLevel(float level) {
    if (content_ != Content::recording)
        return;
    if (wantsLittleMotion()) {
        if (lastLevel_.isValid() && lastLevel_.elapsed() < calmFrameMs)
            return;
        lastLevel_.start();
        levels_.fill(level);
    } else {
        std::ranges::rotate(levels_, levels_.begin() + 1);
        levels_.back() = level;
    }
    update();
}

void PanelWidget::setPartialText(std::string text) {
    partialText_ = fromText(text);
    if (content_ == Content::recording)
        arrange();
}

void PanelWidget::showWorking(std::string text) {
    workingText_ = label(text.empty() ? toTranslate("Writing…") : std::string_view(text));
    present(Content::working);
}

void PanelWidget::showNotice(std::string text) {
    notice_ = label(text);
    const auto readingTime = noticeMsPerLetter * static_cast<int>(notice_.size());
    noticeTimer_.start(std::clamp(readingTime, shortestNoticeMs, longestNoticeMs));
    // What is under way stays in view; the notice stands in its place for the text.
    if (isDrawing())
        arrange();
    else
        present(Content::notice);
}

void PanelWidget::showCountdown(std::chrono::milliseconds time) {
    countdownTime_ = time;
    countdownBegan_.start();
    countdownTimer_.start(wantsLittleMotion() ? calmFrameMs : countdownFrameMs);
    showRest();
}

void PanelWidget::hideCountdown() {
    countdownTime_ = {};
    countdownTimer_.stop();
    if (content_ == Content::countdown)
        showRest();
}

void PanelWidget::hide() {
    showRest();
}

/// What stays when nothing is recorded or worked on.
void PanelWidget::showRest() {
    content_ = Content::nothing;
    if (countdownTime_.count() > 0)
        present(Content::countdown);
    else if (noticeTimer_.isActive())
        present(Content::notice);
    else {
        setAccessibleDescription({});
        QWidget::hide();
    }
}

void PanelWidget::noticeEnded() {
    notice_.clear();
    if (content_ == Content::notice)
        showRest();
    else
        arrange();
}

void PanelWidget::present(Content content) {
    content_ = content;
    arrange();
    show();
    raise();
}

QString PanelWidget::text() const {
    if (content_ == Content::countdown && !notice_.isEmpty())
        return notice_ + QLatin1Char('\n') + label(countdownText);
    if (!notice_.isEmpty())
        return notice_;
    switch (content_) {
        case Content::recording:
            return partialText_.isEmpty() ? banner_ : partialText_;
        case Content::working:
            return workingText_;
        case Content::countdown:
            return label(countdownText);
        case Content::notice:
        case Content::nothing:
            return {};
    }
    return {};
}

/// The desktop has its animations switched off.
bool PanelWidget::wantsLittleMotion() const {
    return style()->styleHint(QStyle::SH_Widget_Animation_Duration, nullptr, this) == 0;
}

/// Something is drawn beside the text.
bool PanelWidget::isDrawing() const {
    return content_ == Content::recording || content_ == Content::working ||
           content_ == Content::countdown;
}

int PanelWidget::drawingWidth() const {
    return content_ == Content::countdown ? waveformHeight : waveformWidth;
}

/// Of a notice in lines, the first one is its title.
QString PanelWidget::titleOf(const QString& words) const {
    const auto end = words.indexOf(QLatin1Char('\n'));
    return notice_.isEmpty() || end < 0 ? QString() : words.left(end);
}

QFont PanelWidget::titleFont() const {
    auto titles = font();
    titles.setWeight(QFont::DemiBold);
    return titles;
}

/// What a text takes up, with its title.
QRect PanelWidget::boundsOf(const QString& words) const {
    constexpr int highest = 1'000;
    const QRect room(0, 0, widestText, highest);
    const auto title = titleOf(words);
    if (title.isEmpty())
        return QFontMetrics(font()).boundingRect(room, Qt::TextWordWrap, words);
    const auto head = QFontMetrics(titleFont()).boundingRect(room, Qt::TextWordWrap, title);
    const auto body =
        QFontMetrics(font()).boundingRect(room, Qt::TextWordWrap, words.mid(title.size() + 1));
    return {0, 0, std::max(head.width(), body.width()), head.height() + body.height()};
}

void PanelWidget::arrange() {
    const auto words = text();
    setAccessibleDescription(words);
    const QFontMetrics metrics(font());
    QRect textRect;
    if (!words.isEmpty())
        textRect = boundsOf(words);
    const int textHeight = std::min(textRect.height(), mostPartialLines * metrics.lineSpacing());
    const bool drawing = isDrawing();
    int width = 2 * horizontalMargin + textRect.width();
    if (drawing)
        width += drawingWidth() + (words.isEmpty() ? 0 : spacing);
    const int height =
        2 * verticalMargin + std::max(textHeight, drawing ? waveformHeight : textHeight);

    setGeometry(place({width, height}));
    // Where nobody composes windows, the corners would be black.
    QPainterPath outline;
    outline.addRoundedRect(QRectF(rect()), cornerRadius, cornerRadius);
    setMask(QRegion(outline.toFillPolygon().toPolygon()));
    update();
}

/// At the lower edge of the screen on which the user types, or at its upper one where the text
/// would be covered. It goes there and back only where it must, for what moves is looked at.
QRect PanelWidget::place(QSize size) {
    const QScreen* screen = nullptr;
    if (window_)
        screen = QGuiApplication::screenAt(
            QPoint(window_->x + window_->width / 2, window_->y + window_->height / 2));
    if (screen == nullptr)
        screen = QGuiApplication::primaryScreen();
    const QRect area = screen->availableGeometry();
    const auto at = [&](bool top) {
        const int y =
            top ? area.y() + distanceFromEdge : area.bottom() - distanceFromEdge - size.height();
        return QRect(QPoint(area.x() + (area.width() - size.width()) / 2, y), size);
    };
    const auto covers = [&](bool top) {
        const QMargins room(distanceFromCaret, distanceFromCaret, distanceFromCaret,
                            distanceFromCaret);
        return caret_ && at(top).intersects(*caret_ + room);
    };
    if (covers(isAtTop_) && !covers(!isAtTop_))
        isAtTop_ = !isAtTop_;
    return at(isAtTop_);
}

void PanelWidget::paintEvent(QPaintEvent*) {
    QPainter painter(this);
    painter.setRenderHint(QPainter::Antialiasing);
    QColor background = palette().color(QPalette::Window);
    background.setAlpha(245);
    // All of it: what lies half outside would be black where nobody composes windows.
    painter.fillRect(rect(), background);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(edgeColour(palette()));
    painter.drawRoundedRect(QRectF(rect()).adjusted(0.5, 0.5, -0.5, -0.5), cornerRadius,
                            cornerRadius);

    QRectF inner =
        rect().adjusted(horizontalMargin, verticalMargin, -horizontalMargin, -verticalMargin);
    const bool drawing = isDrawing();
    if (drawing) {
        const QRectF area(inner.left(), inner.center().y() - waveformHeight / 2.0, drawingWidth(),
                          waveformHeight);
        if (content_ == Content::recording)
            paintWaveform(painter, area);
        else if (content_ == Content::countdown)
            paintCountdown(painter, area);
        else
            paintWorking(painter, area);
        inner.setLeft(area.right() + spacing);
    }
    if (!text().isEmpty())
        paintText(painter, inner);
}

void PanelWidget::paintText(QPainter& painter, QRectF inner) const {
    const auto words = text();
    painter.setPen(palette().color(QPalette::WindowText));
    if (const auto title = titleOf(words); !title.isEmpty()) {
        const int left = (inner.toRect().height() - boundsOf(words).height()) / 2;
        inner.setTop(inner.top() + std::max(left, 0));
        painter.setFont(titleFont());
        QRectF taken;
        painter.drawText(inner, Qt::AlignTop | Qt::AlignLeft | Qt::TextWordWrap, title, &taken);
        inner.setTop(taken.bottom());
        painter.setFont(font());
        painter.drawText(inner, Qt::AlignTop | Qt::AlignLeft | Qt::TextWordWrap,
                         words.mid(title.size() + 1));
        return;
    }
    // Of a long text the end is what is being said.
    const bool overflows =
        QFontMetrics(font()).boundingRect(inner.toRect(), Qt::TextWordWrap, words).height() >
        inner.height();
    const auto vertical = overflows ? Qt::AlignBottom : Qt::AlignVCenter;
    painter.drawText(inner, static_cast<int>(vertical) | Qt::AlignLeft | Qt::TextWordWrap, words);
}

void PanelWidget::paintWaveform(QPainter& painter, const QRectF& area) const {
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette().color(QPalette::Highlight));
    const qreal step = area.width() / barCount;
    for (std::size_t i = 0; i < barCount; ++i) {
        const qreal height = area.height() * visible(levels_[i]);
        const QRectF bar(area.left() + step * static_cast<qreal>(i) + 1,
                         area.center().y() - height / 2, step - 2, height);
        painter.drawRoundedRect(bar, 1.5, 1.5);
    }
}

/// A ring that is used up.
void PanelWidget::paintCountdown(QPainter& painter, const QRectF& area) const {
    constexpr qreal thickness = 4;
    constexpr int top = 90 * 16;  // sixteenths of a degree
    constexpr int whole = 360 * 16;
    const qreal left = std::clamp(1.0 - static_cast<qreal>(countdownBegan_.elapsed()) /
                                            static_cast<qreal>(countdownTime_.count()),
                                  0.0, 1.0);
    const qreal side = area.height() - thickness;
    const QRectF ring(area.center().x() - side / 2, area.center().y() - side / 2, side, side);
    painter.setBrush(Qt::NoBrush);
    painter.setPen(QPen(palette().color(QPalette::Mid), thickness));
    painter.drawEllipse(ring);
    painter.setPen(
        QPen(palette().color(QPalette::Highlight), thickness, Qt::SolidLine, Qt::RoundCap));
    painter.drawArc(ring, top, static_cast<int>(whole * left));
}

void PanelWidget::paintWorking(QPainter& painter, const QRectF& area) const {
    // Three still dots: nothing moves, so nothing has to be drawn again.
    painter.setPen(Qt::NoPen);
    painter.setBrush(palette().color(QPalette::Highlight));
    constexpr qreal radius = 4;
    constexpr qreal distance = 16;
    for (const int i : {-1, 0, 1})
        painter.drawEllipse(QPointF(area.center().x() + i * distance, area.center().y()), radius,
                            radius);
}

}  // namespace quillet
