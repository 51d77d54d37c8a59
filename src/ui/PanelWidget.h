#pragma once

#include <QElapsedTimer>
#include <QString>
#include <QTimer>
#include <QWidget>
#include <array>
#include <chrono>

#include "app/FloatingPanel.h"

namespace quillet {

/// The floating panel as a window without frame or focus, at the lower edge of the screen on which
/// the user types. Costs nothing while hidden.
class PanelWidget final : public QWidget, public FloatingPanel {
public:
    PanelWidget();

    void showRecording(std::string banner, std::optional<DesktopRect> window) override;
    void avoid(DesktopRect caret) override;
    void setBanner(std::string banner) override;
    void setLevel(float level) override;
    void setPartialText(std::string text) override;
    void showWorking(std::string text) override;
    void showCountdown(std::chrono::milliseconds time) override;
    void hideCountdown() override;
    void showNotice(std::string text) override;
    void hide() override;

protected:
    void paintEvent(QPaintEvent* event) override;

private:
    enum class Content { nothing, recording, working, countdown, notice };

    void present(Content content);
    void arrange();
    [[nodiscard]] QRect place(QSize size);
    void noticeEnded();
    void showRest();
    [[nodiscard]] bool wantsLittleMotion() const;
    [[nodiscard]] bool isDrawing() const;
    [[nodiscard]] int drawingWidth() const;
    void paintCountdown(QPainter& painter, const QRectF& area) const;
    void paintWaveform(QPainter& painter, const QRectF& area) const;
    void paintWorking(QPainter& painter, const QRectF& area) const;
    [[nodiscard]] QString text() const;
    [[nodiscard]] QString titleOf(const QString& words) const;
    [[nodiscard]] QFont titleFont() const;
    [[nodiscard]] QRect boundsOf(const QString& words) const;
    void paintText(QPainter& painter, QRectF inner) const;

    static constexpr std::size_t barCount = 24;

    Content content_ = Content::nothing;
    QString banner_;
    QString partialText_;
    QString workingText_;
    QString notice_;
    std::array<float, barCount> levels_{};  // oldest first
    QElapsedTimer lastLevel_;               // when the level was drawn, where that is seldom
    std::optional<DesktopRect> window_;
    std::optional<QRect> caret_;  // where the user's text appears
    bool isAtTop_ = false;        // the caret is below
    QTimer noticeTimer_;
    std::chrono::milliseconds countdownTime_{0};  // 0: there is none
    QElapsedTimer countdownBegan_;
    QTimer countdownTimer_;  // redraws the ring
};

}  // namespace quillet
