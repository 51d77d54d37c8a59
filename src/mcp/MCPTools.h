#pragma once

#include <asio/awaitable.hpp>
#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <string>

#include "base/async/Event.h"
#include "base/async/Loop.h"
#include "base/async/Scheduler.h"
#include "mcp/AgentControl.h"
#include "meetings/MeetingLibrary.h"
#include "memory/KnowledgeKeeper.h"
#include "memory/NightlyReviewer.h"
#include "platform/Calendar.h"
#include "settings/AppSettings.h"
#include "store/SessionStore.h"
#include "store/VocabularyDB.h"

namespace quillet {

/// What the user's own AI clients can ask for: seventeen tools, read off one table.
///
/// Calls run side by side on the thread of `loop`, which need not be the main queue's; what belongs
/// to the main queue is asked there. Nothing is kept between calls but how many wait.
class MCPTools {
public:
    struct Services {
        Loop& loop;            ///< where the calls run
        Scheduler& scheduler;  ///< of that loop
        Loop& main;            ///< where settings, reviewer, knowledge and control live
        const Calendar& calendar;
        AppSettings& settings;
        SessionStore& history;
        VocabularyDB& vocabulary;
        MeetingLibrary& meetings;
        NightlyReviewer& reviewer;
        KnowledgeKeeper& knowledge;
        AgentControl& control;
    };
    struct Result {
        std::string text;
        bool isError = false;  ///< the text says what to do about it
    };

    explicit MCPTools(Services services);
    ~MCPTools();
    MCPTools(const MCPTools&) = delete;
    MCPTools& operator=(const MCPTools&) = delete;

    /// The tools' names, descriptions and schemas, in their order: a JSON array.
    [[nodiscard]] static nlohmann::json toolDefinitions();

    /// Runs one tool; may take minutes. Never fails otherwise than by an error text. Cancelled, it
    /// ends at once.
    [[nodiscard]] asio::awaitable<Result> callTool(std::string name, nlohmann::json arguments);

    /// An entry was logged: whoever waits for dictations looks again. Any thread.
    void entryLogged();
};

}  // namespace quillet
