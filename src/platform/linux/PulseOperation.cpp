#include "platform/linux/PulseOperation.h"

#include <memory>
#include <utility>

namespace quillet {

void whenEnded(pa_operation* operation, std::function<void()> ended) {
    if (operation == nullptr) {
        ended();
        return;
    }
    using Ended = std::function<void()>;
    auto owned = std::make_unique<Ended>(std::move(ended));
    pa_operation_set_state_callback(
        operation,
        [](pa_operation* over, void* data) {
            if (pa_operation_get_state(over) == PA_OPERATION_RUNNING)
                return;
            const std::unique_ptr<Ended> tell(static_cast<Ended*>(data));
            (*tell)();
            pa_operation_unref(over);
        },
        owned.release());
}

}  // namespace quillet
