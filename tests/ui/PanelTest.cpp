#include <gtest/gtest.h>

#include <QGuiApplication>
#include <QScreen>

#include "ui/PanelWidget.h"

namespace quillet {
namespace {

TEST(Panel, KeepsClearOfTheCaretAndStaysWhereItIsFree) {
    PanelWidget panel;
    const auto screen = QGuiApplication::primaryScreen()->availableGeometry();
    const DesktopRect window{screen.x(), screen.y(), screen.width(), screen.height()};
    const auto caretIn = [](QRect place) {
        return DesktopRect{place.center().x(), place.center().y(), 1, 16};
    };
    panel.showRecording("", window);
    const auto below = panel.geometry();
    panel.avoid(caretIn(below));
    const auto above = panel.geometry();
    EXPECT_LT(above.bottom(), below.top());
    panel.setPartialText("some words that make it wider");
    EXPECT_EQ(panel.geometry().top(), above.top());

    panel.avoid(caretIn(screen));
    EXPECT_EQ(panel.geometry().top(), above.top()) << "what moves is looked at";
    panel.avoid(caretIn(above));
    EXPECT_EQ(panel.geometry().bottom(), below.bottom());
    panel.avoid(caretIn(below));
    panel.showRecording("", window);
    EXPECT_EQ(panel.geometry(), below) << "a new recording knows nothing of the last";
}

}  // namespace
}  // namespace quillet
