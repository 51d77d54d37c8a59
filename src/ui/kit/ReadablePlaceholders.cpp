#include "ui/kit/ReadablePlaceholders.h"

#include <QApplication>
#include <QEvent>

namespace quillet {

namespace {

constexpr float textShare = 0.5F;
/// Of the difference in lightness between text and ground, what makes a text readable.
constexpr float leastShare = 0.3F;

/// How much a colour lightens (above 0) or darkens the ground that it is drawn on.
float difference(const QColor& colour, const QColor& ground) {
    return colour.alphaF() * (colour.lightnessF() - ground.lightnessF());
}

}  // namespace

ReadablePlaceholders::ReadablePlaceholders() {
    mend();
    qApp->installEventFilter(this);
}

std::optional<QColor> ReadablePlaceholders::colourFor(const QPalette& palette) {
    const auto ground = palette.color(QPalette::Active, QPalette::Base);
    auto text = palette.color(QPalette::Active, QPalette::Text);
    const auto shown =
        difference(palette.color(QPalette::Active, QPalette::PlaceholderText), ground);
    if (shown / difference(text, ground) >= leastShare)
        return std::nullopt;
    text.setAlphaF(textShare);
    return text;
}

bool ReadablePlaceholders::eventFilter(QObject* application, QEvent* event) {
    if (application == qApp && event->type() == QEvent::ApplicationPaletteChange)
        mend();
    return false;
}

/// Sets the one colour; the others go on following the desktop.
void ReadablePlaceholders::mend() {
    const auto colour = colourFor(QApplication::palette());
    if (!colour)
        return;
    QPalette changed;
    changed.setResolveMask(0);
    changed.setColor(QPalette::PlaceholderText, *colour);
    QApplication::setPalette(changed);
}

}  // namespace quillet
