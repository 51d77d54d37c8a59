#include <gtest/gtest.h>

#include <QListView>
#include <QStringListModel>
#include <nlohmann/json.hpp>

#include "ui/WindowService.h"
#include "ui/kit/Choice.h"
#include "ui/kit/ReadablePlaceholders.h"
#include "world/World.h"

namespace quillet {
namespace {

TEST(Choice, IsWhatIsSelectedNotWhereTheKeyboardIs) {
    QStringListModel model({QStringLiteral("a"), QStringLiteral("b"), QStringLiteral("c")});
    QListView list;
    list.setModel(&model);
    list.setSelectionMode(QAbstractItemView::ExtendedSelection);
    int shown = -1;
    onChosen(list, [&] { shown = chosenIn(list).row(); });
    list.setCurrentIndex(model.index(0));
    EXPECT_EQ(shown, 0);

    auto* selection = list.selectionModel();
    selection->select(model.index(2), QItemSelectionModel::ClearAndSelect);
    EXPECT_EQ(shown, 2) << "as assistive technology selects it";
    selection->setCurrentIndex(model.index(1), QItemSelectionModel::Select);
    EXPECT_EQ(shown, 1) << "of several, the one that is gone to";
    selection->clearSelection();
    EXPECT_EQ(shown, -1);
}

TEST(ReadablePlaceholders, AreMadeOfTheTextWhereTheyCannotBeSeen) {
    QPalette dark;
    dark.setColor(QPalette::Base, QColor(27, 30, 32));
    dark.setColor(QPalette::Text, QColor(252, 252, 252));
    dark.setColor(QPalette::PlaceholderText, QColor(0, 0, 0, 128));
    const auto mended = ReadablePlaceholders::colourFor(dark);
    ASSERT_TRUE(mended);
    EXPECT_EQ(mended->rgb(), QColor(252, 252, 252).rgb());
    EXPECT_NEAR(mended->alphaF(), 0.5, 0.01);
    dark.setColor(QPalette::PlaceholderText, *mended);
    EXPECT_FALSE(ReadablePlaceholders::colourFor(dark));

    dark.setColor(QPalette::Base, Qt::white);
    dark.setColor(QPalette::Text, Qt::black);
    EXPECT_TRUE(ReadablePlaceholders::colourFor(dark)) << "the desktop has become a light one";
    dark.setColor(QPalette::PlaceholderText, QColor(112, 125, 138));
    EXPECT_FALSE(ReadablePlaceholders::colourFor(dark)) << "the desktop's own grey";
}

TEST(WindowService, RefusesAWindowThatIsNotOffered) {
    world::World world;
    Windows windows(world.defaults);
    windows.offer(WindowKind::history, [] { return std::make_unique<QWidget>(); });
    WindowService service(windows);
    JsonRpcDispatcher dispatcher;
    service.offer(dispatcher);
    const auto open = [&](const char* name) {
        const nlohmann::json request = {
            {"jsonrpc", "2.0"}, {"id", 1}, {"method", "open"}, {"params", {{"window", name}}}};
        return world.await(dispatcher.handle(request.dump())).value_or("");
    };
    EXPECT_NE(open("history").find("\"result\":true"), std::string::npos);
    EXPECT_TRUE(windows.isOpen(WindowKind::history));
    EXPECT_NE(open("meetings").find("error"), std::string::npos);
    EXPECT_NE(open("nowhere").find("error"), std::string::npos);
}

}  // namespace
}  // namespace quillet
