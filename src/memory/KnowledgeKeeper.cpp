#include "memory/KnowledgeKeeper.h"

#include <fmt/format.h>

#include <algorithm>
#include <nlohmann/json.hpp>
#include <set>

#include "base/async/Checkpoint.h"
#include "base/file/JsonFile.h"
#include "base/text/Translation.h"
#include "memory/PhoneJournal.h"
#include "memory/SecretScreen.h"

namespace quillet {

namespace fs = std::filesystem;
using nlohmann::json;
using namespace KnowledgeDistiller;
using Distilled = KnowledgeKeeper::Distilled;

namespace {

constexpr std::chrono::milliseconds distillingTimeout{300'000};

/// More entries than these that no reply can be read to are the model's fault.
constexpr int mostUnreadable = 3;

constexpr auto paused = toTranslate("Memory is paused (Memory & Knowledge).");
constexpr auto noModel =
    toTranslate("No language model is set up. Set one up in Settings › Writing.");
constexpr auto noAnswer = toTranslate("The LLM didn't answer — trying again later.");
constexpr auto cancelled = toTranslate("Filing was cancelled; the rest is read the next time.");
constexpr auto abandoned =
    toTranslate("The settings or the history changed; the rest is read the next time.");

std::optional<Calendar::UnixTime> timeIn(const json& record, const char* name) {
    const auto found = record.find(name);
    if (found == record.end() || !found->is_number())
        return std::nullopt;
    return Calendar::UnixTime(std::chrono::duration<double>(found->get<double>()));
}

/// A clock that was ahead once must not hide what is said from then on.
Cursor upToNow(Cursor cursor, Calendar::UnixTime now) {
    for (auto* time : {&cursor.readUpTo, &cursor.phoneReadUpTo}) {
        if (*time && **time > now)
            *time = now;
    }
    return cursor;
}

/// Where the next request ends: never between two of the same moment and origin, for the cursor
/// knows moments only.
std::size_t cut(std::span<const Source> sources) {
    auto size = batchSize(sources);
    const auto belongTogether = [&](std::size_t at) {
        return sources[at].time == sources[at - 1].time &&
               sources[at].origin.index() == sources[at - 1].origin.index() &&
               !std::holds_alternative<FromMeeting>(sources[at].origin);
    };
    while (size < sources.size() && size > 0 && belongTogether(size))
        ++size;
    return size;
}

}  // namespace

std::string encodedText(const KnowledgeKeeper::State& state) {
    const auto text = [](const json& value) {
        return value.dump(-1, ' ', false, json::error_handler_t::replace);
    };
    auto all = R"({"cursor": )" + text(KnowledgeDistiller::encode(state.cursor)) +
               ",\n\"backlog\": " + text(state.backlog);
    if (state.lastRun)
        all += ",\n\"lastRun\": " + text(state.lastRun->time_since_epoch().count());
    if (state.report)
        all += ",\n\"report\": " + text(*state.report);
    if (state.counts)
        all += ",\n\"reportCounts\": " + text(quillet::encode(*state.counts));
    return all + ",\n\"store\": " + Knowledge::encodedText(state.store) + "}\n";
}

std::optional<KnowledgeKeeper::State> decodeKnowledge(const json& record) {
    if (!record.is_object())
        return std::nullopt;
    KnowledgeKeeper::State state;
    auto store = Knowledge::decodeStore(record.value("store", json::object()));
    if (!store)
        return std::nullopt;
    state.store = std::move(*store);
    state.cursor = decodeCursor(record.value("cursor", json::object()));
    state.lastRun = timeIn(record, "lastRun");
    if (const auto report = record.value("report", json()); report.is_string())
        state.report = report.get<std::string>();
    if (state.report)
        state.counts = decodeKnowledgeCounts(record.value("reportCounts", json()));
    state.backlog = record.value("backlog", json()) == true;
    return state;
}

KnowledgeKeeper::State readKnowledge(const fs::path& file) {
    const auto record = readJsonFile(file);
    auto state = record ? decodeKnowledge(*record) : std::nullopt;
    if (state)
        return std::move(*state);
    KnowledgeKeeper::State empty;
    empty.store.categories = Knowledge::builtInCategories();
    return empty;
}

/// Lives on the file queue.
struct KnowledgeKeeper::File {
    fs::path path;
    Log log;
    std::shared_ptr<const State> current;  // none before it was read

    const std::shared_ptr<const State>& read() {
        if (current)
            return current;
        const auto record = readJsonFile(path);
        const bool damaged =
            record ? !decodeKnowledge(*record) : record.error() != FileError::notFound;
        if (damaged) {
            std::error_code ec;
            fs::rename(path, path.string() + ".damaged", ec);
            log.error("The knowledge base cannot be read; it is kept as {}.damaged", path.string());
        }
        current = std::make_shared<const State>(readKnowledge(path));
        return current;
    }

    /// The state that it is then, and whether that could be saved.
    std::pair<std::shared_ptr<const State>, bool> change(const std::function<void(State&)>& edit) {
        auto next = std::make_shared<State>(*read());
        edit(*next);
        current = next;
        const bool isSaved = writeFileAtomically(path, encodedText(*next)).has_value();
        if (!isSaved)
            log.error("Couldn't save the knowledge base: {} cannot be written", path.string());
        return {current, isSaved};
    }
};

/// A run under way.
struct KnowledgeKeeper::Night {
    std::uint64_t generation = 0;
    std::string model;
    Applied applied;
    bool anyRead = false;  // some reply could be read
    int unreadable = 0;    // entries that were given up
};

KnowledgeKeeper::KnowledgeKeeper(Services services)
    : services_(std::move(services)),
      file_(std::make_shared<File>(services_.file, services_.log)),
      tasks_(services_.loop) {
    auto relevant = [this] {
        const auto& record = services_.settings.record();
        return std::tuple(record.rememberWhatISay, record.llmEnabled, record.llmBaseURL,
                          record.llmModel, record.sessionBlacklist);
    };
    settingsChanged_ = services_.notifications.subscribe(
        std::string(settingsChangedNotification), [this, relevant, last = relevant()]() mutable {
            auto now = relevant();
            if (now != last)
                ++generation_;
            last = std::move(now);
        });
}

KnowledgeKeeper::~KnowledgeKeeper() = default;

asio::awaitable<KnowledgeKeeper::Snapshot> KnowledgeKeeper::state() {
    if (!snapshot_) {
        auto read = [file = file_] { return file->read(); };
        adopt(co_await services_.fileQueue->run(std::move(read)));
    }
    co_return snapshot_;
}

/// A large base takes a while to be let go of.
void KnowledgeKeeper::adopt(Snapshot current) {
    services_.fileQueue->post([old = std::exchange(snapshot_, std::move(current))] {});
}

asio::awaitable<bool> KnowledgeKeeper::change(std::function<void(State&)> edit) {
    auto work = [file = file_, edit = std::move(edit)] { return file->change(edit); };
    auto [current, isSaved] = co_await services_.fileQueue->run(std::move(work));
    adopt(std::move(current));
    services_.notifications.post(knowledgeChangedNotification);
    co_return isSaved;
}

asio::awaitable<Distilled> KnowledgeKeeper::run() {
    if (running_)
        co_return std::unexpected(
            std::string(toTranslate("What was said is being distilled already.")));
    running_ = true;
    ended_.reset();
    services_.notifications.post(knowledgeChangedNotification);
    cancelled_ = false;
    run_ = tasks_.spawn(runToEnd());
    co_await ended_.wait();
    co_return distilledAs_;
}

asio::awaitable<void> KnowledgeKeeper::runToEnd() {
    wantsRetry_ = false;
    try {
        distilledAs_ = co_await distil();
    } catch (const std::system_error&) {
        if (!cancelled_)
            throw;
        distilledAs_ = std::unexpected(std::string(cancelled));
    }
    running_ = false;
    services_.notifications.post(knowledgeChangedNotification);
    ended_.set();
}

void KnowledgeKeeper::cancel() {
    if (!running_)
        return;
    cancelled_ = true;
    run_.cancel();
}

asio::awaitable<Distilled> KnowledgeKeeper::distil() {
    const auto& settings = services_.settings.record();
    if (!settings.rememberWhatISay)
        co_return std::unexpected(std::string(paused));
    if (!services_.llm.isConfigured())
        co_return std::unexpected(std::string(noModel));
    Night night;
    night.generation = generation_;
    night.model = settings.llmModel;
    auto sources = co_await gather();
    co_await checkpoint();
    std::span<Source> rest = sources;
    for (int request = 0; !rest.empty() && request < mostRequests; ++request) {
        const auto size = cut(rest);
        std::vector<Source> batch(
            std::make_move_iterator(rest.begin()),
            std::make_move_iterator(rest.begin() + static_cast<std::ptrdiff_t>(size)));
        rest = rest.subspan(size);
        const auto how = co_await distilBatch(night, std::move(batch));
        if (how == Answered::stale)
            co_return std::unexpected(std::string(abandoned));
        if (how == Answered::no)
            co_return co_await later();
    }
    co_return co_await conclude(night, !rest.empty());
}

asio::awaitable<Distilled> KnowledgeKeeper::later() {
    wantsRetry_ = true;
    co_await change([](State& state) {
        state.report = std::string(noAnswer);
        state.counts.reset();
    });
    co_return std::unexpected(std::string(noAnswer));
}

// --- What there is to read ---

asio::awaitable<std::vector<KnowledgeKeeper::Source>> KnowledgeKeeper::gather() {
    const auto cursor = upToNow((co_await state())->cursor, services_.calendar.now());
    const auto now = services_.calendar.now();
    auto logged = co_await services_.history.entriesSince(cursor.readUpTo);
    auto dictations = [logged = std::move(logged), cursor, now, journal = services_.phoneJournal] {
        std::set<std::string_view> replaced;
        for (const auto& one : logged) {
            if (one.replaces)
                replaced.insert(*one.replaces);
        }
        std::vector<Source> sources;
        const auto add = [&](Source source) {
            auto text = withoutSecrets(source.text);
            if (!text)
                return;
            source.text = std::move(*text);
            sources.push_back(std::move(source));
        };
        for (const auto& one : logged) {
            const bool isNew = !cursor.readUpTo || one.timestamp > *cursor.readUpTo;
            // What was changed was said once.
            if (isNew && !one.finalText.empty() && !replaced.contains(one.id))
                add({one.timestamp, one.appName.value_or(std::string(Knowledge::dictationLabel)),
                     one.finalText, FromMac{}, one.appBundleID, std::string(storedName(one.kind))});
        }
        for (auto& one : readPhoneJournal(journal, cursor.phoneReadUpTo, now))
            add({one.time, one.app.value_or("Phone"), std::move(one.sent), FromPhone{},
                 std::nullopt, "dictation"});
        return sources;
    };
    auto sources = co_await services_.fileQueue->run(std::move(dictations));
    co_await gatherMeetings(cursor, sources);
    co_return sources;
}

asio::awaitable<void> KnowledgeKeeper::gatherMeetings(const Cursor& cursor,
                                                      std::vector<Source>& sources) {
    auto notes = co_await services_.meetings.entries();
    for (const auto& note : notes | std::views::reverse) {
        const auto read = cursor.meetings.find(note.name);
        const bool isRead = read != cursor.meetings.end() && read->second == note.modified;
        if (isRead || note.name.contains(draftTitle))
            continue;
        auto content = co_await services_.meetings.read(note.name);
        if (!content)
            continue;
        auto split = [text = std::move(*content)] {
            std::vector<std::optional<std::string>> parts;
            for (const auto& part : partsOf(text))
                parts.push_back(withoutSecrets(part));
            return parts;
        };
        auto parts = co_await services_.fileQueue->run(std::move(split));
        const auto begun = cursor.meetingParts.find(note.name);
        const bool same =
            begun != cursor.meetingParts.end() && begun->second.modified == note.modified;
        const auto total = static_cast<int>(parts.size());
        const auto when = timeOfNote(note.name, services_.calendar).value_or(note.modified);
        for (int part = same ? begun->second.read : 0; part < total; ++part) {
            if (auto& text = parts[static_cast<std::size_t>(part)])
                sources.push_back({when, note.name, std::move(*text),
                                   FromMeeting{note.name, note.modified, part + 1, total},
                                   std::nullopt, "meeting"});
        }
    }
}

// --- One request ---

/// Entries that no reply can be read to are asked about in halves, down to the one that stands in
/// the way; that one is given up, where other replies can be read.
asio::awaitable<KnowledgeKeeper::Answered> KnowledgeKeeper::distilBatch(Night& night,
                                                                        std::vector<Source> batch) {
    std::vector<std::vector<Source>> parts;
    parts.push_back(std::move(batch));
    while (!parts.empty()) {
        const auto part = std::make_shared<const std::vector<Source>>(std::move(parts.back()));
        parts.pop_back();
        auto answer = co_await ask(night, part);
        if (answer.how != Answered::yes)
            co_return answer.how;
        if (!answer.ops && part->size() > 1) {
            const auto middle = part->begin() + std::ssize(*part) / 2;
            parts.emplace_back(middle, part->end());
            parts.emplace_back(part->begin(), middle);
            continue;
        }
        if (!answer.ops && (!night.anyRead || night.unreadable >= mostUnreadable))
            co_return Answered::no;  // it is not the entry that is to blame
        if (!answer.ops) {
            services_.log.error("The reply to an entry cannot be read; it is left out");
            ++night.unreadable;
            answer.ops.emplace();
        } else {
            night.anyRead = true;
        }
        // What was read may have been deleted while the reply was looked at.
        if (night.generation != generation_)
            co_return Answered::stale;
        co_await file(night, part, std::move(*answer.ops));
    }
    co_return Answered::yes;
}

asio::awaitable<KnowledgeKeeper::Answer> KnowledgeKeeper::ask(Night& night, Batch batch) {
    auto build = [file = file_, batch, model = night.model, &calendar = services_.calendar] {
        return request(model, file->read()->store, *batch, calendar, calendar.now());
    };
    auto body = co_await services_.fileQueue->run(std::move(build));
    // The user may have said no while this was prepared.
    if (night.generation != generation_)
        co_return Answer{Answered::stale, std::nullopt};
    const auto reply = co_await services_.llm.complete(std::move(body), distillingTimeout);
    co_await checkpoint();
    if (night.generation != generation_)
        co_return Answer{Answered::stale, std::nullopt};
    if (!reply) {
        services_.log.error("The knowledge base got no answer: {}", reply.error().message);
        if (reply.error().kind != LLMError::Kind::parseFailure)
            co_return Answer{Answered::no, std::nullopt};
        co_return Answer{Answered::yes, std::nullopt};
    }
    auto read = [&reply] { return readOps(*reply); };
    co_return Answer{Answered::yes, co_await services_.fileQueue->run(std::move(read))};
}

asio::awaitable<void> KnowledgeKeeper::file(Night& night, Batch batch, std::vector<Op> ops) {
    const auto applied = std::make_shared<Applied>();
    co_await change([batch, ops = std::move(ops), applied, ids = services_.ids](State& state) {
        *applied = apply(state.store, ops, *batch, [&ids] { return ids->uuid(); });
        KnowledgeDistiller::advance(state.cursor, *batch);
    });
    night.applied += *applied;
    co_await checkpoint();
}

asio::awaitable<Distilled> KnowledgeKeeper::conclude(Night& night, bool backlog) {
    const auto& done = night.applied;
    const KnowledgeCounts counts{static_cast<int>(done.added),
                                 static_cast<int>(done.enriched + done.revised),
                                 static_cast<int>(done.leftOut), night.unreadable, backlog};
    const auto text = worded(counts, ReportLanguage::english);
    const auto now = services_.calendar.now();
    co_await change([text, counts, now, backlog](State& state) {
        state.report = text;
        state.counts = counts;
        state.lastRun = now;
        state.backlog = backlog;
    });
    services_.log.info("Knowledge: {}", text);
    co_return text;
}

// --- Deleting ---

asio::awaitable<std::expected<void, std::string>> KnowledgeKeeper::deleteItem(std::string id) {
    if ((co_await state())->store.item(id) == nullptr)
        co_return std::unexpected(
            fmt::format("There is no item {}. `quillet knowledge list` shows their ids.", id));
    co_await change([id](State& state) {
        std::erase_if(state.store.items, [&](const auto& one) { return one.id == id; });
    });
    co_return std::expected<void, std::string>();
}

asio::awaitable<std::expected<void, std::string>> KnowledgeKeeper::deleteCategory(
    std::string idOrName) {
    const auto known = co_await state();
    const auto* category = known->store.category(idOrName);
    if (category == nullptr)
        co_return std::unexpected(
            fmt::format("There is no category {}. `quillet knowledge list` shows them.", idOrName));
    co_await change([id = category->id](State& state) {
        std::erase_if(state.store.items, [&](const auto& one) { return one.category == id; });
        const auto isBuiltIn = [](const auto& one) {
            return std::ranges::find(Knowledge::builtInCategories(), one.id,
                                     &Knowledge::Category::id) !=
                   Knowledge::builtInCategories().end();
        };
        std::erase_if(state.store.categories,
                      [&](const auto& one) { return one.id == id && !isBuiltIn(one); });
    });
    co_return std::expected<void, std::string>();
}

asio::awaitable<Knowledge::Forgotten> KnowledgeKeeper::forget(DeletedDictations deleted) {
    if (running_)
        ++generation_;
    const auto forgotten = std::make_shared<Knowledge::Forgotten>();
    const bool isSaved = co_await change([deleted = std::move(deleted), forgotten](State& state) {
        *forgotten = Knowledge::forget(state.store, deleted);
    });
    forgotten->isWritten = isSaved;
    co_return std::move(*forgotten);
}

asio::awaitable<void> KnowledgeKeeper::restore(Knowledge::Forgotten forgotten) {
    if (forgotten.items.empty())
        co_return;
    co_await change([forgotten = std::move(forgotten)](State& state) {
        Knowledge::restore(state.store, forgotten);
    });
}

bool forgetInKnowledge(const fs::path& file, const DeletedDictations& deleted) {
    const auto record = readJsonFile(file);
    auto state = record ? decodeKnowledge(*record) : std::nullopt;
    if (!state)
        return true;
    if (Knowledge::forget(state->store, deleted).items.empty())
        return true;
    return writeFileAtomically(file, encodedText(*state)).has_value();
}

}  // namespace quillet
