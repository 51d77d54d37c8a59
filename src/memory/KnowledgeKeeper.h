#pragma once

#include <asio/awaitable.hpp>
#include <expected>
#include <filesystem>
#include <functional>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "base/async/Event.h"
#include "base/async/SerialQueue.h"
#include "base/async/TaskScope.h"
#include "base/notification/NotificationCenter.h"
#include "meetings/MeetingLibrary.h"
#include "memory/ForgottenKnowledge.h"
#include "memory/KnowledgeDistiller.h"
#include "memory/NightReport.h"
#include "platform/IdSource.h"
#include "refine/LLMRefiner.h"
#include "settings/AppSettings.h"
#include "store/SessionStore.h"

namespace quillet {

/// The knowledge base changed, or its distilling began or ended.
inline constexpr std::string_view knowledgeChangedNotification = "Quillet.KnowledgeChanged";

/// Owns the knowledge base: has what was said distilled into it, and is the only one to change it.
/// Every change is saved at once; what cannot be saved holds in memory, and is saved with the next
/// one. Belongs to the main queue's thread.
class KnowledgeKeeper {
public:
    struct State {
        Knowledge::Store store;
        KnowledgeDistiller::Cursor cursor;
        std::optional<Calendar::UnixTime> lastRun;
        std::optional<std::string> report;      ///< what the last night did
        std::optional<KnowledgeCounts> counts;  ///< what the report counts; none: nothing
        bool backlog = false;                   ///< entries were left for the next night
    };
    using Snapshot = std::shared_ptr<const State>;

    struct Services {
        Loop& loop;
        const Calendar& calendar;
        std::shared_ptr<IdSource> ids;
        NotificationCenter& notifications;
        AppSettings& settings;
        SessionStore& history;
        MeetingLibrary& meetings;
        LLMRefiner& llm;
        std::filesystem::path file;
        std::filesystem::path phoneJournal;
        std::shared_ptr<SerialQueue> fileQueue;
        Log log;
    };
    /// The report; the error is a sentence for the user.
    using Distilled = std::expected<std::string, std::string>;

    /// Requests of one night; what is left is the next one's.
    static constexpr int mostRequests = 60;

    explicit KnowledgeKeeper(Services services);
    ~KnowledgeKeeper();
    KnowledgeKeeper(const KnowledgeKeeper&) = delete;
    KnowledgeKeeper& operator=(const KnowledgeKeeper&) = delete;

    /// The base as it is now, read from the file when it is first asked for.
    [[nodiscard]] asio::awaitable<Snapshot> state();
    [[nodiscard]] bool running() const { return running_; }
    /// Whether the last run failed for a reason that passes.
    [[nodiscard]] bool wantsRetry() const { return wantsRetry_; }

    /// Distils what was said since the last time. Goes on when the one who asked is gone.
    [[nodiscard]] asio::awaitable<Distilled> run();
    /// Ends a run under way; what was answered already is kept, and the next one goes on from
    /// there.
    void cancel();

    /// Deletes an item, or a category with its items; the error is a sentence for the user.
    [[nodiscard]] asio::awaitable<std::expected<void, std::string>> deleteItem(std::string id);
    [[nodiscard]] asio::awaitable<std::expected<void, std::string>> deleteCategory(
        std::string idOrName);

    /// Takes out what was quoted from dictations that are deleted; a run under way, which may have
    /// read them, is broken off. What was taken out, to be put back.
    [[nodiscard]] asio::awaitable<Knowledge::Forgotten> forget(DeletedDictations deleted);
    [[nodiscard]] asio::awaitable<void> restore(Knowledge::Forgotten forgotten);

private:
    using Source = KnowledgeDistiller::Source;
    struct Night;

    asio::awaitable<void> runToEnd();
    asio::awaitable<Distilled> distil();
    asio::awaitable<std::vector<Source>> gather();
    asio::awaitable<void> gatherMeetings(const KnowledgeDistiller::Cursor& cursor,
                                         std::vector<Source>& sources);
    enum class Answered { yes, no, stale };
    struct Answer {
        Answered how = Answered::no;
        std::optional<std::vector<KnowledgeDistiller::Op>> ops;  ///< none: it cannot be read
    };
    using Batch = std::shared_ptr<const std::vector<Source>>;
    asio::awaitable<Answered> distilBatch(Night& night, std::vector<Source> batch);
    asio::awaitable<Answer> ask(Night& night, Batch batch);
    asio::awaitable<void> file(Night& night, Batch batch, std::vector<KnowledgeDistiller::Op> ops);
    asio::awaitable<Distilled> later();
    asio::awaitable<Distilled> conclude(Night& night, bool backlog);
    /// Changes the state on the file queue and saves it; false when it could not be saved.
    asio::awaitable<bool> change(std::function<void(State&)> edit);
    void adopt(Snapshot current);

    Services services_;
    struct File;
    std::shared_ptr<File> file_;  // touched on the file queue only
    Snapshot snapshot_;
    bool running_ = false;
    bool wantsRetry_ = false;
    bool cancelled_ = false;
    TaskHandle run_;
    std::uint64_t generation_ = 0;  // raised by a change of settings that a run must not outlive
    Distilled distilledAs_;
    Event ended_;
    NotificationCenter::Subscription settingsChanged_;
    TaskScope tasks_;
};

/// The file of a base, as JSON.
[[nodiscard]] std::string encodedText(const KnowledgeKeeper::State& state);
/// None unless the value is an object; tolerant of what older versions wrote.
[[nodiscard]] std::optional<KnowledgeKeeper::State> decodeKnowledge(const nlohmann::json& record);
/// The base in a file, for reading; an empty one where there is none. Blocks.
[[nodiscard]] KnowledgeKeeper::State readKnowledge(const std::filesystem::path& file);
/// Takes out of a file, which no keeper holds, what was quoted from deleted dictations; false when
/// it could not be written. Blocks.
[[nodiscard]] bool forgetInKnowledge(const std::filesystem::path& file,
                                     const DeletedDictations& deleted);

}  // namespace quillet
