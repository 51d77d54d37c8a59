#include <gtest/gtest.h>

#include <QCheckBox>
#include <QLabel>
#include <QListWidget>
#include <QPushButton>
#include <QTreeWidget>

#include "ui/kit/MessageBar.h"
#include "ui/kit/UiText.h"
#include "ui/settings/AppsPage.h"
#include "ui/settings/MemoryPage.h"
#include "world/Night.h"

namespace quillet {
namespace {

using world::Night;

QPushButton& button(QWidget& page, const char* text) {
    for (auto* one : page.findChildren<QPushButton*>()) {
        if (withoutMnemonic(one->text()) == fromText(text))
            return *one;
    }
    throw std::runtime_error(std::string("There is no button ") + text);
}

class NightPages : public ::testing::Test {
protected:
    SettingsPage::Binding binding() {
        return {*night.world.settings, night.world.notifications, messages};
    }

    Night night;
    MessageBar messages;
};

TEST_F(NightPages, ANightsWorkIsCancelledAsAWhole) {
    using namespace std::chrono_literals;
    night.log("what was said", "what was said");
    night.world.llm.rewrite = [](const std::string&) { return R"({"terms": [], "ops": []})"; };
    MemoryPage page(binding(), {night.world.loop,
                                *night.reviewer,
                                *night.keeper,
                                *night.world.refiner,
                                night.world.calendar,
                                {}});
    night.world.settle();
    auto& run = button(page, "Run Now");
    auto& cancel = button(page, "Cancel");
    EXPECT_TRUE(cancel.isHidden());
    run.click();
    night.world.pass(100ms);
    ASSERT_TRUE(night.reviewer->running());
    EXPECT_FALSE(cancel.isHidden());
    EXPECT_TRUE(run.isHidden());
    cancel.click();
    night.world.settle();
    EXPECT_FALSE(night.reviewer->running());
    EXPECT_FALSE(night.keeper->running()) << "what would follow is not begun";
    EXPECT_EQ(night.world.llm.requests.size(), 1U);
    EXPECT_FALSE(run.isHidden());
    EXPECT_TRUE(cancel.isHidden());
}

TEST_F(NightPages, AnApplicationOfSeveralIdsIsOneLineAndChangedAsOne) {
    auto& profiles = *night.world.profiles;
    ASSERT_TRUE(profiles.resetToDefaults());
    const auto installed = []() -> asio::awaitable<std::map<std::string, std::string>> {
        co_return std::map<std::string, std::string>{{"com.apple.TextEdit", "Mousepad"}};
    };
    AppsPage page(binding(), {night.world.loop, profiles, *night.world.store, installed});
    night.world.settle();
    auto& lines = *page.findChild<QTreeWidget*>();
    EXPECT_EQ(lines.findItems(QStringLiteral("Mousepad"), Qt::MatchExactly).size(), 1);
    EXPECT_TRUE(lines.findItems(QStringLiteral("Xcode"), Qt::MatchExactly).isEmpty())
        << "nothing here is meant by it";
    const auto telegram = lines.findItems(QStringLiteral("Telegram"), Qt::MatchExactly);
    ASSERT_EQ(telegram.size(), 1);
    lines.setCurrentItem(telegram.front());
    auto& sends = *page.findChild<QCheckBox*>();
    ASSERT_TRUE(sends.isChecked());
    sends.click();
    for (const auto* id : {"org.telegram.desktop", "ru.keepcoder.Telegram"})
        EXPECT_FALSE(profiles.profile(id)->autoSend) << id;

    auto& excluded = *page.findChild<QListWidget*>();
    const auto count = night.world.settings->record().sessionBlacklist.size();
    excluded.setCurrentItem(
        excluded.findItems(QStringLiteral("1Password"), Qt::MatchExactly).at(0));
    button(page, "Allow Again").click();
    EXPECT_EQ(night.world.settings->record().sessionBlacklist.size(), count - 2);
    EXPECT_TRUE(excluded.findItems(QStringLiteral("1Password"), Qt::MatchExactly).isEmpty());
}

}  // namespace
}  // namespace quillet
