#pragma once

#include <QWidget>
#include <chrono>
#include <functional>

class QLabel;
class QPushButton;
class QSlider;

namespace quillet {

/// Play or Stop, and the position in a meeting's audio, which can be moved.
class PlayBar : public QWidget {
public:
    using Position = std::chrono::milliseconds;

    explicit PlayBar(QWidget* parent = nullptr);

    std::function<void()> playOrStop;
    std::function<void(Position position)> moved;  ///< by the user

    void setLength(Position length);
    void setPosition(Position position);
    void setPlaying(bool isPlaying);
    [[nodiscard]] Position position() const;

private:
    void showPosition();

    QPushButton* button_;
    QSlider* slider_;
    QLabel* text_;
};

}  // namespace quillet
