#include "app/SelectionCapture.h"

#include "base/async/Event.h"

namespace quillet {

namespace {

constexpr int mostLooks = 3;
constexpr std::chrono::milliseconds betweenLooks{250};

}  // namespace

struct SelectionCapture::Look {
    std::optional<std::string> bundleID;
    Selection selection;
    Event ended;
};

void SelectionCapture::begin(std::optional<std::string> bundleID) {
    task_.cancel();
    look_ = std::make_shared<Look>();
    look_->bundleID = std::move(bundleID);
    task_ = services_.tasks.spawn(run(services_, look_));
}

void SelectionCapture::cancel() {
    task_.cancel();
    look_.reset();
}

const SelectionCapture::Selection& SelectionCapture::soFar() const {
    static const Selection none;
    return look_ ? look_->selection : none;
}

/// The application that is looked at, while it is in front.
std::optional<FrontApp> SelectionCapture::watched(Services services, const Look& look) {
    auto front = services.frontApplication.current();
    return front && front->bundleID == look.bundleID ? front : std::nullopt;
}

asio::awaitable<void> SelectionCapture::run(Services services, std::shared_ptr<Look> look) {
    const auto front = watched(services, *look);
    for (int n = 0; front && n < mostLooks; ++n) {
        if (n > 0)
            co_await services.scheduler.sleep(betweenLooks);
        look->selection = co_await services.focusedField.selection(front->pid);
        if (look->selection.kind != Selection::Kind::unknown)
            break;
    }
    look->ended.set();
}

asio::awaitable<SelectionCapture::Selection> SelectionCapture::finished() {
    const auto look = look_;
    if (!look)
        co_return Selection{};
    co_await look->ended.wait();
    co_return look->selection;
}

asio::awaitable<bool> SelectionCapture::stands() {
    const auto look = look_;
    const auto front = look ? watched(services_, *look) : std::nullopt;
    // Another application in front gets nothing typed anyway.
    if (!front)
        co_return true;
    const auto now = co_await services_.focusedField.selection(front->pid);
    co_return now.kind == Selection::Kind::unknown || now.text == look->selection.text;
}

}  // namespace quillet
