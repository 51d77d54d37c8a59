#include "platform/linux/GioCalls.h"

#include <memory>

namespace quillet {

namespace {

/// What a cancelled call gets to tidy up.
constexpr auto grace = std::chrono::milliseconds(100);

}  // namespace

struct GioCalls::Answer {
    GRef<GAsyncResult> result;

    static void arrived(GObject*, GAsyncResult* result, gpointer data) {
        const std::unique_ptr<std::shared_ptr<Answer>> self(
            static_cast<std::shared_ptr<Answer>*>(data));
        (*self)->result = sharedRef(result);
    }
};

GioCalls::GioCalls() : context_(g_main_context_new()) {}

GioCalls::~GioCalls() {
    // Objects that were let go leave the rest of their tidying up to the context.
    while (g_main_context_iteration(context_, FALSE)) {
    }
    g_main_context_unref(context_);
}

GRef<GAsyncResult> GioCalls::wait(const Start& start, TimePoint deadline) {
    if (ended_)
        return {};
    const ThreadDefaultContext here(context_);
    const GRef<GCancellable> cancellable(g_cancellable_new());
    // Shared with the callback, which may come after this has returned.
    const auto answer = std::make_shared<Answer>();
    start(cancellable.get(), Answer::arrived, new std::shared_ptr<Answer>(answer));
    turnUntil(*answer, deadline);
    if (answer->result)
        return std::move(answer->result);
    g_cancellable_cancel(cancellable.get());
    turnUntil(*answer, std::chrono::steady_clock::now() + grace);
    return {};
}

void GioCalls::turnUntil(const Answer& answer, TimePoint deadline) {
    using std::chrono::steady_clock;
    const auto left = std::chrono::ceil<std::chrono::milliseconds>(deadline - steady_clock::now());
    GSource* alarm = g_timeout_source_new(static_cast<guint>(std::max<long>(left.count(), 0)));
    g_source_set_callback(
        alarm, [](gpointer) -> gboolean { return G_SOURCE_CONTINUE; }, nullptr, nullptr);
    g_source_attach(alarm, context_);
    while (!answer.result && !ended_ && steady_clock::now() < deadline)
        g_main_context_iteration(context_, TRUE);
    g_source_destroy(alarm);
    g_source_unref(alarm);
}

void GioCalls::end() {
    ended_ = true;
    g_main_context_wakeup(context_);
}

}  // namespace quillet
