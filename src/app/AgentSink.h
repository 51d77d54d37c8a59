#pragma once

#include <functional>
#include <string>

#include "base/async/Event.h"

namespace quillet {

/// Where the text of a dictation goes that an AI client asked for. Belongs to the main queue's
/// thread.
struct AgentSink {
    std::string text;        ///< empty when nothing usable came back
    bool abandoned = false;  ///< nobody waits for it any more
    Event done;
    std::function<void()> onAbandoned;  ///< called when that happens before it is done

    /// The client's side, as long as it waits.
    class Listener {
    public:
        explicit Listener(AgentSink& sink) : sink_(sink) {}
        ~Listener() {
            sink_.abandoned = true;
            if (sink_.onAbandoned && !sink_.done.isSet())
                sink_.onAbandoned();
        }
        Listener(const Listener&) = delete;
        Listener& operator=(const Listener&) = delete;

    private:
        AgentSink& sink_;
    };
};

}  // namespace quillet
