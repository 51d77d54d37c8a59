#include "app/ContextCapture.h"

#include "refine/ScreenTerms.h"

namespace quillet {

namespace {

/// How often the focused field is looked at before it counts as none that can be known.
constexpr int mostLooks = 3;
constexpr std::chrono::milliseconds betweenLooks{250};
constexpr std::size_t mostScreenTerms = 30;

}  // namespace

void ContextCapture::begin(const FrontApp& front, Callbacks callbacks) {
    task_.cancel();
    task_ = services_.tasks.spawn(look(front, std::move(callbacks)));
}

void ContextCapture::end() {
    task_.cancel();
}

asio::awaitable<void> ContextCapture::look(FrontApp front, Callbacks callbacks) {
    const auto& record = services_.settings.record();
    const bool wanted = record.useFocusedContext || record.useScreenTerms;
    switch (co_await security(front.pid)) {
        case FocusedField::Security::secure:
            callbacks.passwordSeen();
            co_return;
        case FocusedField::Security::plain:
            if (wanted)
                callbacks.seen(co_await read(front.pid));
            co_return;
        case FocusedField::Security::unknown:
            if (wanted)
                services_.log.info("Focused element did not expose text via AX");
            co_return;
    }
}

/// An application that is busy may tell a moment later; the recording goes on meanwhile.
asio::awaitable<FocusedField::Security> ContextCapture::security(pid_t application) {
    auto security = FocusedField::Security::unknown;
    for (int look = 0; look < mostLooks && security == FocusedField::Security::unknown; ++look) {
        if (look > 0)
            co_await services_.scheduler.sleep(betweenLooks);
        security = co_await services_.focusedField.security(application);
    }
    co_return security;
}

asio::awaitable<ContextCapture::Context> ContextCapture::read(pid_t application) {
    const auto record = services_.settings.record();
    Context context;
    if (record.useFocusedContext) {
        auto around =
            co_await services_.focusedField.surroundings(application, {contextCharacters, 0});
        if (around)
            context.beforeCursor = std::move(around->before);
        else
            services_.log.info("Focused element did not expose text via AX");
    }
    if (record.useScreenTerms) {
        context.screenText =
            co_await services_.focusedField.visibleText(application, screenCharacters);
        context.screenTerms = screenTerms(context.screenText, mostScreenTerms);
    }
    co_return context;
}

}  // namespace quillet
