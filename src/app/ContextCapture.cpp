#include "app/ContextCapture.h"

#include "base/async/Checkpoint.h"
#include "refine/ScreenTerms.h"

namespace quillet {

namespace {

/// How often the focused field is looked at before it counts as none that can be known.
constexpr int mostLooks = 3;
constexpr std::chrono::milliseconds betweenLooks{250};
constexpr std::size_t mostScreenTerms = 30;

}  // namespace

void ContextCapture::begin(const FrontApp& front, Callbacks callbacks) {
    end();
    application_ = front.pid;
    callbacks_ = std::move(callbacks);
    look_ = services_.tasks.spawn(look());
}

void ContextCapture::end() {
    look_.cancel();
    caretLook_.cancel();
}

void ContextCapture::lookAtCaret() {
    caretLook_.cancel();
    caretLook_ = services_.tasks.spawn(tellCaret());
}

asio::awaitable<void> ContextCapture::tellCaret() {
    const auto caret = co_await services_.focusedField.caretRect(application_);
    co_await checkpoint();
    if (caret)
        callbacks_.caretSeen(*caret);
}

asio::awaitable<void> ContextCapture::look() {
    const auto& record = services_.settings.record();
    const bool wanted = record.useFocusedContext || record.useScreenTerms;
    const auto seen = co_await security(application_);
    co_await checkpoint();
    switch (seen) {
        case FocusedField::Security::secure:
            callbacks_.passwordSeen();
            co_return;
        case FocusedField::Security::plain:
            co_await tellCaret();
            if (wanted)
                callbacks_.seen(co_await read(application_));
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
