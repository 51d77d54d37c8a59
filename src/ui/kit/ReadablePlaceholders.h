#pragma once

#include <QObject>
#include <QPalette>
#include <optional>

namespace quillet {

/// Keeps the grey texts of empty fields readable: some dark desktops name no colour for them, and
/// Qt's own is black. Lives as long as the QApplication's windows.
class ReadablePlaceholders : public QObject {
public:
    ReadablePlaceholders();

    /// What is to be set where the palette's own placeholders cannot be read; none: they can.
    [[nodiscard]] static std::optional<QColor> colourFor(const QPalette& palette);

    bool eventFilter(QObject* application, QEvent* event) override;

private:
    static void mend();
};

}  // namespace quillet
