#include "meetings/MeetingArchive.h"

#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <limits>
#include <nlohmann/json.hpp>
#include <utility>

#include "audio/Wav.h"
#include "base/file/FileDescriptor.h"
#include "base/file/JsonFile.h"

namespace quillet {

namespace fs = std::filesystem;
using nlohmann::json;
using Stage = MeetingRecord::Stage;

namespace {

constexpr std::uint16_t channels = 2;
constexpr std::size_t bytesPerFrame = sizeof(std::int16_t) * channels;
/// How much is gathered before it is handed to the disk: 0.25 s.
constexpr std::size_t samplesPerWrite = std::size_t{channels} * 4'000;
/// How much may be written without being forced to the disk: 0.5 s.
constexpr std::size_t bytesPerSync = 8'000 * bytesPerFrame;

constexpr std::pair<Stage, std::string_view> stageNames[] = {
    {Stage::open, "open"}, {Stage::transcribed, "transcribed"}, {Stage::done, "done"}};

std::string_view nameOf(Stage stage) {
    return std::ranges::find(stageNames, stage, &std::pair<Stage, std::string_view>::first)->second;
}

json encode(const MeetingRecord& record) {
    json lines = json::array();
    for (const auto& line : record.lines) {
        json one = {{"start", line.start.count()}, {"end", line.end.count()}, {"text", line.text}};
        if (line.speaker)
            one["speaker"] = *line.speaker;
        lines.push_back(std::move(one));
    }
    return {{"id", record.id},
            {"started", record.started.time_since_epoch().count()},
            {"stage", nameOf(record.stage)},
            {"transcribedUpTo", record.transcribedUpTo},
            {"lines", std::move(lines)},
            {"note", record.note},
            {"target", record.target}};
}

std::optional<MeetingRecord> decode(const json& value) {
    try {
        MeetingRecord record;
        record.id = value.at("id").get<std::string>();
        record.started =
            Calendar::UnixTime(std::chrono::duration<double>(value.at("started").get<double>()));
        for (const auto& [stage, name] : stageNames) {
            if (value.at("stage") == name)
                record.stage = stage;
        }
        record.transcribedUpTo = value.at("transcribedUpTo").get<std::int64_t>();
        for (const auto& one : value.at("lines")) {
            MeetingNote::Line line;
            line.start = MeetingNote::Seconds(one.at("start").get<double>());
            line.end = MeetingNote::Seconds(one.at("end").get<double>());
            line.text = one.at("text").get<std::string>();
            if (one.contains("speaker"))
                line.speaker = one.at("speaker").get<std::string>();
            record.lines.push_back(std::move(line));
        }
        record.note = value.value("note", "");
        record.target = value.value("target", "");
        return record;
    } catch (const json::exception&) {
        return std::nullopt;
    }
}

/// Reads at one place of a file, however often the system gives only a part.
std::vector<std::int16_t> samplesAt(const FileDescriptor& file, std::int64_t from,
                                    std::int64_t frames) {
    std::vector<std::int16_t> samples(static_cast<std::size_t>(frames) * channels);
    auto* bytes = reinterpret_cast<char*>(samples.data());
    std::size_t got = 0;
    const auto wanted = samples.size() * sizeof(std::int16_t);
    const auto start = static_cast<off_t>(wavHeaderSize) + from * static_cast<off_t>(bytesPerFrame);
    while (got < wanted) {
        const auto n =
            ::pread(file.get(), bytes + got, wanted - got, start + static_cast<off_t>(got));
        if (n <= 0)
            break;
        got += static_cast<std::size_t>(n);
    }
    samples.resize(got / bytesPerFrame * channels);
    return samples;
}

std::vector<std::int16_t> together(std::span<const std::int16_t> user,
                                   std::span<const std::int16_t> far) {
    std::vector<std::int16_t> interleaved;
    interleaved.reserve(user.size() * channels);
    for (std::size_t i = 0; i < user.size(); ++i) {
        interleaved.push_back(user[i]);
        interleaved.push_back(far[i]);
    }
    return interleaved;
}

TwoSides apart(std::span<const std::int16_t> interleaved) {
    TwoSides sides;
    sides.user.reserve(interleaved.size() / channels);
    sides.far.reserve(interleaved.size() / channels);
    for (std::size_t i = 0; i + 1 < interleaved.size(); i += channels) {
        sides.user.push_back(interleaved[i]);
        sides.far.push_back(interleaved[i + 1]);
    }
    return sides;
}

/// Audio whose record is lost is a meeting that nothing was done for yet.
void addThoseWithoutRecord(const fs::path& folder, std::vector<MeetingRecord>& records) {
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder, ec)) {
        const auto id = entry.path().stem().string();
        struct ::stat info{};
        if (entry.path().extension() != ".wav" ||
            std::ranges::find(records, id, &MeetingRecord::id) != records.end() ||
            ::stat(entry.path().c_str(), &info) != 0)
            continue;
        const auto seconds = static_cast<double>(info.st_size) / (bytesPerFrame * 16'000.0);
        MeetingRecord record;
        record.id = id;
        record.started = Calendar::UnixTime(
            std::chrono::duration<double>(static_cast<double>(info.st_mtim.tv_sec) - seconds));
        records.push_back(std::move(record));
    }
}

FileDescriptor openForReading(const fs::path& path) {
    return FileDescriptor(::open(path.c_str(), O_RDONLY | O_CLOEXEC));
}

/// The pieces of a whole file.
std::vector<MeetingPiece> cutAgain(const FileDescriptor& file, std::int64_t from) {
    std::vector<MeetingPiece> found;
    PieceCutter cutter(from);
    while (true) {
        constexpr std::int64_t framesAtOnce = 16'000;
        const auto sides = apart(samplesAt(file, cutter.position(), framesAtOnce));
        if (sides.user.empty())
            break;
        for (std::size_t at = 0; at < sides.user.size(); at += PieceCutter::longestFeed) {
            const auto count = std::min(PieceCutter::longestFeed, sides.user.size() - at);
            if (const auto piece = cutter.feed(std::span(sides.user).subspan(at, count),
                                               std::span(sides.far).subspan(at, count)))
                found.push_back(*piece);
        }
    }
    if (const auto last = cutter.finish())
        found.push_back(*last);
    return found;
}

}  // namespace

/// Lives on the archive's queue.
struct MeetingArchive::Audio::File {
    fs::path path;
    Log log;
    FileDescriptor file;
    std::uint64_t written = 0;
    std::size_t unsynced = 0;
    bool failed = false;

    void open() {
        std::error_code ec;
        fs::create_directories(path.parent_path(), ec);
        ::chmod(path.parent_path().c_str(), 0700);
        file = FileDescriptor(::open(path.c_str(), O_CREAT | O_TRUNC | O_RDWR | O_CLOEXEC, 0600));
        const auto header = wavHeader(0, channels);
        failed = !file.valid() || !file.writeAll({header.data(), header.size()}) || !file.sync();
        if (failed)
            log.error("The meeting's audio cannot be written to {}", path.string());
    }

    /// What cannot be written leaves a hole; what comes later has its place all the same.
    void write(std::span<const std::int16_t> samples) {
        const std::string_view bytes(reinterpret_cast<const char*>(samples.data()),
                                     samples.size_bytes());
        const bool fits = writeAt(wavHeaderSize + written, bytes);
        written += bytes.size();
        unsynced += bytes.size();
        if (fits && unsynced < bytesPerSync)
            return;
        const bool safe = fits && file.sync();
        unsynced = 0;
        if (!safe && !failed)
            log.error("The meeting's audio cannot be written to {}", path.string());
        failed = failed || !safe;
    }

    [[nodiscard]] bool writeAt(std::uint64_t at, std::string_view bytes) const {
        while (!bytes.empty()) {
            const auto n = ::pwrite(file.get(), bytes.data(), bytes.size(), static_cast<off_t>(at));
            if (n <= 0)
                return false;
            at += static_cast<std::uint64_t>(n);
            bytes.remove_prefix(static_cast<std::size_t>(n));
        }
        return true;
    }

    bool complete() {
        constexpr std::uint64_t largest = std::numeric_limits<std::uint32_t>::max();
        const auto header =
            wavHeader(static_cast<std::uint32_t>(std::min(written, largest)), channels);
        return !std::exchange(failed, false) && writeAt(0, {header.data(), header.size()}) &&
               file.sync();
    }
};

MeetingArchive::Audio::Audio(std::shared_ptr<SerialQueue> queue, std::shared_ptr<File> file)
    : queue_(std::move(queue)), file_(std::move(file)) {}

MeetingArchive::Audio::~Audio() {
    queue_->post([file = std::move(file_), chunk = std::move(pending_)] { file->write(chunk); });
}

void MeetingArchive::Audio::append(std::span<const std::int16_t> user,
                                   std::span<const std::int16_t> far) {
    const auto samples = together(user, far);
    pending_.insert(pending_.end(), samples.begin(), samples.end());
    if (pending_.size() >= samplesPerWrite)
        queue_->post([file = file_, chunk = std::exchange(pending_, {})] { file->write(chunk); });
}

asio::awaitable<bool> MeetingArchive::Audio::flush() {
    auto work = [file = file_] { return !std::exchange(file->failed, false); };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<bool> MeetingArchive::Audio::close() {
    auto work = [file = file_, chunk = std::exchange(pending_, {})] {
        file->write(chunk);
        return file->complete();
    };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<bool> MeetingArchive::Audio::rewrite(std::int64_t from,
                                                     std::shared_ptr<const TwoSides> sides) {
    auto work = [file = file_, from, sides = std::move(sides)] {
        const auto samples = together(sides->user, sides->far);
        const std::string_view bytes(reinterpret_cast<const char*>(samples.data()),
                                     samples.size() * sizeof(std::int16_t));
        return file->writeAt(wavHeaderSize + static_cast<std::uint64_t>(from) * bytesPerFrame,
                             bytes) &&
               file->file.sync();
    };
    co_return co_await queue_->run(std::move(work));
}

MeetingArchive::MeetingArchive(fs::path folder, const Calendar& calendar, Log log,
                               std::shared_ptr<SerialQueue> queue)
    : folder_(std::move(folder)),
      calendar_(calendar),
      log_(std::move(log)),
      queue_(queue ? std::move(queue) : std::make_shared<SerialQueue>("meetings")) {}

fs::path MeetingArchive::audioPath(std::string_view id) const {
    return folder_ / (std::string(id) + ".wav");
}

fs::path MeetingArchive::recordPath(std::string_view id) const {
    return folder_ / (std::string(id) + ".json");
}

asio::awaitable<std::unique_ptr<MeetingArchive::Audio>> MeetingArchive::begin(std::string id) {
    auto file = std::make_shared<Audio::File>(audioPath(id), log_);
    auto work = [file] {
        file->open();
        return !file->failed;
    };
    if (!co_await queue_->run(std::move(work)))
        co_return nullptr;
    co_return std::unique_ptr<Audio>(new Audio(queue_, std::move(file)));
}

asio::awaitable<std::optional<TwoSides>> MeetingArchive::load(std::string id, std::int64_t from,
                                                              std::int64_t to) {
    auto work = [path = audioPath(id), from, to]() -> std::optional<TwoSides> {
        const auto file = openForReading(path);
        auto sides = apart(samplesAt(file, from, to - from));
        if (std::ssize(sides.user) != to - from)
            return std::nullopt;
        return sides;
    };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<std::vector<MeetingPiece>> MeetingArchive::pieces(std::string id,
                                                                  std::int64_t from) {
    auto work = [path = audioPath(id), from] { return cutAgain(openForReading(path), from); };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<bool> MeetingArchive::save(MeetingRecord record) {
    auto path = recordPath(record.id);
    auto work = [path = std::move(path), record = std::move(record)] {
        return writeJsonFile(path, encode(record)).has_value();
    };
    co_return co_await queue_->run(std::move(work));
}

std::vector<MeetingRecord> MeetingArchive::records() const {
    std::vector<MeetingRecord> found;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder_, ec)) {
        if (entry.path().extension() != ".json")
            continue;
        const auto value = readJsonFile(entry.path());
        auto record = value ? decode(*value) : std::nullopt;
        if (record && entry.path() == recordPath(record->id))
            found.push_back(std::move(*record));
    }
    addThoseWithoutRecord(folder_, found);
    std::ranges::sort(found, {}, &MeetingRecord::started);
    return found;
}

asio::awaitable<std::vector<MeetingRecord>> MeetingArchive::unfinished() {
    auto work = [this] {
        auto all = records();
        std::erase_if(all, [](const MeetingRecord& one) { return one.stage != Stage::open; });
        return all;
    };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<std::optional<MeetingRecord>> MeetingArchive::withoutSummary(std::string note) {
    auto work = [this, note = std::move(note)]() -> std::optional<MeetingRecord> {
        auto all = records();
        std::erase_if(all, [&](const MeetingRecord& one) {
            return one.stage != Stage::transcribed || (!note.empty() && one.note != note);
        });
        return all.empty() ? std::nullopt : std::optional(std::move(all.back()));
    };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<std::optional<MeetingRecord>> MeetingArchive::ofNote(std::string note) {
    auto work = [this, note = std::move(note)]() -> std::optional<MeetingRecord> {
        auto all = records();
        const auto found = std::ranges::find(all, note, &MeetingRecord::note);
        return found == all.end() ? std::nullopt : std::optional(std::move(*found));
    };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<std::optional<std::int64_t>> MeetingArchive::length(std::string id) {
    auto work = [path = audioPath(id)]() -> std::optional<std::int64_t> {
        std::error_code ec;
        const auto bytes = fs::file_size(path, ec);
        if (ec || bytes <= wavHeaderSize)
            return std::nullopt;
        return static_cast<std::int64_t>((bytes - wavHeaderSize) / bytesPerFrame);
    };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<void> MeetingArchive::remove(std::string id) {
    auto work = [audio = audioPath(id), record = recordPath(id)] {
        std::error_code ec;
        fs::remove(audio, ec);
        fs::remove(record, ec);
    };
    co_await queue_->run(std::move(work));
}

asio::awaitable<void> MeetingArchive::deleteExpired() {
    auto work = [this, now = calendar_.now()] {
        std::error_code ec;
        for (const auto& one : records()) {
            if (one.started >= now - keptFor || one.stage == Stage::open)
                continue;
            fs::remove(audioPath(one.id), ec);
            // The transcript waits for its summary.
            if (one.stage == Stage::done || one.started < now - summaryMayCome)
                fs::remove(recordPath(one.id), ec);
        }
    };
    co_await queue_->run(std::move(work));
}

}  // namespace quillet
