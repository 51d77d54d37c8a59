#pragma once

#include <asio/awaitable.hpp>
#include <cstdint>
#include <expected>
#include <memory>
#include <mutex>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

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

class ToolArguments;

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
        bool isError = false;   ///< the text says what to do about it
        bool isQuoted = false;  ///< the text is written as a JSON string already
    };

    explicit MCPTools(Services services);
    ~MCPTools();
    MCPTools(const MCPTools&) = delete;
    MCPTools& operator=(const MCPTools&) = delete;

    /// The tools' names, descriptions and schemas, in their order: a JSON array.
    [[nodiscard]] static nlohmann::json toolDefinitions();

    /// Runs one tool; may take minutes. Never fails otherwise than by an error text. Cancelled, it
    /// ends at once. The arguments need not live longer than this call takes to return.
    [[nodiscard]] asio::awaitable<Result> callTool(std::string_view name,
                                                   const nlohmann::json& arguments);

    /// An entry was logged: whoever waits for dictations looks again. Any thread.
    void entryLogged();

private:
    struct Tool;
    /// The calls that wait for a dictation.
    struct Waits {
        std::mutex lock;
        int open = 0;  ///< guarded by the lock
    };
    /// What tells waiting calls that an entry was logged. Touched on the thread of `loop` only.
    struct News {
        std::uint64_t generation = 0;  ///< raised by every entry, so that none is missed
        Event arrived;
    };

    static const std::vector<Tool>& tools();
    static asio::awaitable<Result> failed(std::string sentence);
    asio::awaitable<Result> run(const Tool& tool, std::expected<ToolArguments, std::string> given);

    // One for each tool. The arguments live as long as the call.
    asio::awaitable<Result> getTranscripts(const ToolArguments& arguments);
    asio::awaitable<Result> waitForDictation(const ToolArguments& arguments);
    asio::awaitable<Result> listMeetings(const ToolArguments& arguments);
    asio::awaitable<Result> readMeeting(const ToolArguments& arguments);
    asio::awaitable<Result> searchMeetings(const ToolArguments& arguments);
    asio::awaitable<Result> searchMemory(const ToolArguments& arguments);
    asio::awaitable<Result> listKnowledge(const ToolArguments& arguments);
    asio::awaitable<Result> readKnowledge(const ToolArguments& arguments);
    asio::awaitable<Result> listRecordings(const ToolArguments& arguments);
    asio::awaitable<Result> transcribeRecording(const ToolArguments& arguments);
    asio::awaitable<Result> transcribeFile(const ToolArguments& arguments);
    asio::awaitable<Result> getVocabulary(const ToolArguments& arguments);
    asio::awaitable<Result> addVocabulary(const ToolArguments& arguments);
    asio::awaitable<Result> getNightlyReview(const ToolArguments& arguments);
    asio::awaitable<Result> runNightlyReview(const ToolArguments& arguments);
    asio::awaitable<Result> dictate(const ToolArguments& arguments);
    asio::awaitable<Result> insertText(const ToolArguments& arguments);

    asio::awaitable<bool> mayControl();
    /// Why the history gave nothing, where it is not just that there is nothing.
    asio::awaitable<std::optional<Result>> historyProblem();

    Services services_;
    Waits waits_;
    std::unique_ptr<HistoryReader> recent_;
    std::shared_ptr<News> news_;
};

}  // namespace quillet
