#include "audio/RecordingArchive.h"

#include <fcntl.h>
#include <sys/stat.h>

#include <algorithm>
#include <fstream>
#include <nlohmann/json.hpp>

#include "audio/Wav.h"
#include "base/file/FileDescriptor.h"
#include "base/file/JsonFile.h"

namespace quillet {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

constexpr std::string_view spoolSuffix = ".part";
constexpr double bytesPerSecond = 32'000;
/// How much is gathered before it is handed to the disk: 0.25 s.
constexpr std::size_t samplesPerWrite = 4'000;
/// How much may be written without being forced to the disk itself: 1 s.
constexpr std::size_t bytesPerSync = 32'000;

json encode(const RecordingArchive::Item& item) {
    json record = {{"id", item.id},
                   {"date", item.date.time_since_epoch().count()},
                   {"seconds", item.seconds},
                   {"language", item.language},
                   {"fileExtension", item.fileExtension}};
    if (item.text)
        record["text"] = *item.text;
    return record;
}

std::optional<RecordingArchive::Item> decode(const json& record) {
    try {
        RecordingArchive::Item item;
        item.id = record.at("id").get<std::string>();
        item.date =
            Calendar::UnixTime(std::chrono::duration<double>(record.at("date").get<double>()));
        item.seconds = record.at("seconds").get<double>();
        item.language = record.at("language").get<std::string>();
        item.fileExtension = record.at("fileExtension").get<std::string>();
        if (record.contains("text"))
            item.text = record.at("text").get<std::string>();
        return item;
    } catch (const json::exception&) {
        return std::nullopt;
    }
}

/// Ids become file names; anything but a plain name is nobody's recording.
bool isPlainName(std::string_view id) {
    return !id.empty() && id.find('/') == std::string_view::npos && id.front() != '.';
}

}  // namespace

/// Lives on the archive's queue, but for the fields that never change.
struct RecordingArchive::Spool::File {
    Item item;  // never changes
    fs::path path;
    FileDescriptor file;
    std::size_t unsynced = 0;
    bool failed = false;
    bool left = false;

    void open() {
        std::error_code ec;
        fs::create_directories(path.parent_path(), ec);
        ::chmod(path.parent_path().c_str(), 0700);
        file = FileDescriptor(::open(path.c_str(), O_CREAT | O_TRUNC | O_RDWR | O_CLOEXEC, 0600));
        const auto header = wavHeader(0);
        failed = !file.valid() || !file.writeAll({header.data(), header.size()});
    }

    void write(std::span<const std::int16_t> samples) {
        if (failed)
            return;
        failed =
            !file.writeAll({reinterpret_cast<const char*>(samples.data()), samples.size_bytes()});
        unsynced += samples.size_bytes();
        if (!failed && unsynced >= bytesPerSync) {
            failed = !file.sync();
            unsynced = 0;
        }
    }
};

RecordingArchive::Spool::Spool(RecordingArchive& archive, std::shared_ptr<File> file)
    : archive_(archive), file_(std::move(file)) {}

RecordingArchive::Spool::~Spool() {
    if (!file_)
        return;
    archive_.queue_->post([file = std::move(file_)] {
        std::error_code ec;
        if (!file->left)
            fs::remove(file->path, ec);
    });
}

const std::string& RecordingArchive::Spool::id() const {
    return file_->item.id;
}

void RecordingArchive::Spool::append(std::span<const std::int16_t> samples) {
    pending_.insert(pending_.end(), samples.begin(), samples.end());
    if (pending_.size() < samplesPerWrite)
        return;
    archive_.queue_->post(
        [file = file_, chunk = std::exchange(pending_, {})] { file->write(chunk); });
}

asio::awaitable<bool> RecordingArchive::Spool::flush() {
    auto work = [file = file_, chunk = std::exchange(pending_, {})] {
        file->write(chunk);
        return !file->failed;
    };
    co_return co_await archive_.queue_->run(std::move(work));
}

asio::awaitable<std::vector<std::int16_t>> RecordingArchive::Spool::load() {
    auto work = [file = file_, chunk = std::exchange(pending_, {})] {
        file->write(chunk);
        std::ifstream stream(file->path, std::ios::binary);
        stream.seekg(wavHeaderSize);
        const std::string bytes(std::istreambuf_iterator<char>(stream), {});
        std::vector<std::int16_t> samples(bytes.size() / sizeof(std::int16_t));
        std::memcpy(samples.data(), bytes.data(), samples.size() * sizeof(std::int16_t));
        return samples;
    };
    co_return co_await archive_.queue_->run(std::move(work));
}

asio::awaitable<bool> RecordingArchive::Spool::keep(std::optional<std::string> text) {
    auto work = [archive = &archive_, file = file_, chunk = std::exchange(pending_, {}),
                 text = std::move(text)] {
        file->write(chunk);
        if (file->failed) {
            archive->log_.error("The recording could not be kept: its file cannot be written");
            return false;
        }
        Item item = file->item;
        item.text = text;
        file->left = archive->finish(file->path, item);
        return file->left;
    };
    co_return co_await archive_.queue_->run(std::move(work));
}

void RecordingArchive::Spool::abandon() {
    archive_.queue_->post([file = file_, chunk = std::exchange(pending_, {})] {
        file->write(chunk);
        file->left = true;
    });
}

RecordingArchive::RecordingArchive(fs::path folder, const Calendar& calendar, Log log,
                                   std::shared_ptr<SerialQueue> queue,
                                   std::function<void()> changed)
    : folder_(std::move(folder)),
      calendar_(calendar),
      log_(std::move(log)),
      changed_(std::move(changed)),
      queue_(queue ? std::move(queue) : std::make_shared<SerialQueue>("recordings")) {}

fs::path RecordingArchive::audioPath(std::string_view id) const {
    return folder_ / (std::string(id) + ".wav");
}

fs::path RecordingArchive::recordPath(std::string_view id) const {
    return folder_ / (std::string(id) + ".json");
}

fs::path RecordingArchive::spoolPath(std::string_view id) const {
    return folder_ / (std::string(id) + std::string(spoolSuffix));
}

std::unique_ptr<RecordingArchive::Spool> RecordingArchive::beginSpool(std::string id,
                                                                      std::string language) {
    auto file = std::make_shared<Spool::File>();
    file->item.id = std::move(id);
    file->item.date = calendar_.now();
    file->item.language = std::move(language);
    file->path = spoolPath(file->item.id);
    queue_->post([file, log = log_] {
        file->open();
        if (file->failed)
            log.error("Recordings cannot be spooled: {} cannot be written", file->path.string());
    });
    return std::unique_ptr<Spool>(new Spool(*this, std::move(file)));
}

bool RecordingArchive::writeRecord(const Item& item) const {
    return writeJsonFile(recordPath(item.id), encode(item)).has_value();
}

bool RecordingArchive::finish(const fs::path& spool, const Item& given) const {
    Item item = given;
    std::error_code ec;
    const auto size = fs::file_size(spool, ec);
    if (ec || size < wavHeaderSize)
        return false;
    const auto dataBytes = size - wavHeaderSize;
    item.seconds = static_cast<double>(dataBytes) / bytesPerSecond;

    const FileDescriptor file(::open(spool.c_str(), O_WRONLY | O_CLOEXEC));
    const auto header = wavHeader(static_cast<std::uint32_t>(dataBytes));
    if (!file.valid() || !file.writeAll({header.data(), header.size()}) || !file.sync())
        return false;
    // The record comes last: an audio file without one is finished at the next start.
    fs::rename(spool, audioPath(item.id), ec);
    const bool isKept = !ec && writeRecord(item);
    tellChanged();
    return isKept;
}

void RecordingArchive::tellChanged() const {
    if (changed_)
        changed_();
}

std::vector<RecordingArchive::Item> RecordingArchive::items() const {
    std::vector<Item> found;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder_, ec)) {
        if (entry.path().extension() != ".json")
            continue;
        const auto record = readJsonFile(entry.path());
        if (!record)
            continue;
        auto one = decode(*record);
        if (one && fs::exists(audioPath(one->id), ec))
            found.push_back(std::move(*one));
    }
    std::ranges::sort(found, std::ranges::greater{}, &Item::date);
    return found;
}

asio::awaitable<std::vector<RecordingArchive::Item>> RecordingArchive::list() const {
    auto work = [this] { return items(); };
    co_return co_await queue_->run(std::move(work));
}

std::optional<RecordingArchive::Item> RecordingArchive::item(std::string_view id) const {
    if (!isPlainName(id))
        return std::nullopt;
    const auto record = readJsonFile(recordPath(id));
    return record ? decode(*record) : std::nullopt;
}

std::expected<std::vector<std::int16_t>, std::string> RecordingArchive::samples(
    std::string_view id) const {
    if (!isPlainName(id))
        return std::unexpected("there is no such recording");
    const auto file = readFile(audioPath(id));
    if (!file)
        return std::unexpected("the recording's file cannot be read");
    return decodeOwnWav(*file);
}

asio::awaitable<std::expected<std::vector<std::int16_t>, std::string>> RecordingArchive::load(
    std::string id) const {
    auto work = [this, id = std::move(id)] { return samples(id); };
    co_return co_await queue_->run(std::move(work));
}

bool RecordingArchive::setText(std::string_view id, std::string text) {
    auto found = item(id);
    if (!found)
        return false;
    found->text = std::move(text);
    const bool isNoted = writeRecord(*found);
    tellChanged();
    return isNoted;
}

asio::awaitable<bool> RecordingArchive::noteText(std::string id, std::string text) {
    auto work = [this, id = std::move(id), text = std::move(text)] { return setText(id, text); };
    co_return co_await queue_->run(std::move(work));
}

bool RecordingArchive::remove(std::string_view id) {
    const bool wasThere = removeFiles(id);
    tellChanged();
    return wasThere;
}

bool RecordingArchive::removeFiles(std::string_view id) const {
    if (!isPlainName(id))
        return false;
    std::error_code ec;
    // A record without its sound is nothing; sound without a record comes back.
    const bool wasThere = fs::remove(audioPath(id), ec);
    if (ec)
        return false;
    fs::remove(recordPath(id), ec);
    return wasThere;
}

asio::awaitable<std::optional<RecordingArchive::Taken>> RecordingArchive::take(std::string id) {
    auto work = [this, id = std::move(id)]() -> std::optional<Taken> {
        auto found = item(id);
        auto file = found ? readFile(audioPath(id)) : std::unexpected(FileError());
        if (!file || !remove(id))
            return std::nullopt;
        return Taken{std::move(*found), std::move(*file)};
    };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<bool> RecordingArchive::putBack(Taken recording) {
    auto work = [this, recording = std::move(recording)] {
        const auto& item = recording.item;
        const bool isBack = isPlainName(item.id) &&
                            writeFileAtomically(audioPath(item.id), recording.file).has_value() &&
                            writeRecord(item);
        tellChanged();
        return isBack;
    };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<std::size_t> RecordingArchive::deleteAll() {
    auto work = [this] {
        const auto all = items();
        for (const auto& one : all)
            removeFiles(one.id);
        tellChanged();
        return all.size();
    };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<void> RecordingArchive::deleteExpired() {
    auto work = [this, oldest = calendar_.now() - keptFor] {
        for (const auto& one : items()) {
            if (one.date < oldest)
                removeFiles(one.id);
        }
        tellChanged();
    };
    co_await queue_->run(std::move(work));
}

std::size_t RecordingArchive::recoverInterrupted() {
    std::vector<fs::path> unfinished;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder_, ec)) {
        const auto& path = entry.path();
        const bool lacksRecord =
            path.extension() == ".wav" && !fs::exists(recordPath(path.stem().string()), ec);
        if (path.extension() == spoolSuffix || lacksRecord)
            unfinished.push_back(path);
    }
    std::size_t recovered = 0;
    for (const auto& path : unfinished) {
        struct ::stat info{};
        if (::stat(path.c_str(), &info) != 0)
            continue;
        if (static_cast<std::size_t>(info.st_size) <= wavHeaderSize) {
            fs::remove(path, ec);
            continue;
        }
        Item item;
        item.id = path.stem().string();
        item.date = Calendar::UnixTime(
            std::chrono::duration<double>(static_cast<double>(info.st_mtim.tv_sec)));
        if (finish(path, item))
            ++recovered;
        else
            log_.error("The interrupted recording {} could not be recovered", path.string());
    }
    return recovered;
}

void RecordingArchive::flush() {
    queue_->waitUntilIdle();
}

}  // namespace quillet
