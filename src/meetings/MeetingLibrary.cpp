#include "meetings/MeetingLibrary.h"

#include <fcntl.h>
#include <fmt/format.h>
#include <sys/stat.h>
#include <unistd.h>

#include <algorithm>
#include <nlohmann/json.hpp>

#include "base/file/FileDescriptor.h"
#include "base/file/JsonFile.h"
#include "base/text/CaselessWord.h"
#include "base/text/Text.h"

namespace quillet {

namespace fs = std::filesystem;
using nlohmann::json;

namespace {

constexpr std::string_view noteExtension = ".md";
constexpr std::string_view indexName = "index.json";
/// Weeks of talk; what is larger is no note.
constexpr ::off_t largestNote = 16L << 20U;

/// Names come from other programs too; only a file right in the folder is a note.
bool isNoteName(std::string_view name) {
    return name.size() > noteExtension.size() && name.ends_with(noteExtension) &&
           name.front() != '.' && name.find('/') == std::string_view::npos &&
           name.find('\0') == std::string_view::npos;
}

std::string nameFreeIn(const fs::path& folder, const std::string& name) {
    const auto stem = name.substr(0, name.size() - noteExtension.size());
    std::error_code ec;
    auto candidate = name;
    for (int n = 2; fs::exists(folder / candidate, ec); ++n)
        candidate = fmt::format("{} {}{}", stem, n, noteExtension);
    return candidate;
}

MeetingIndex readIndex(const fs::path& folder) {
    const auto value = readJsonFile(folder / indexName);
    return value ? decodeMeetingIndex(*value) : MeetingIndex{};
}

}  // namespace

json encode(const MeetingIndex& index) {
    json meetings = json::array();
    for (const auto& one : index.meetings)
        meetings.push_back({{"record", one.record},
                            {"name", one.name},
                            {"started", one.started.time_since_epoch().count()},
                            {"minutes", one.minutes},
                            {"summary", one.summary}});
    return {{"meetings", std::move(meetings)}};
}

MeetingIndex decodeMeetingIndex(const json& value) {
    MeetingIndex index;
    if (!value.is_object() || !value.contains("meetings") || !value["meetings"].is_array())
        return index;
    for (const auto& one : value["meetings"]) {
        try {
            index.meetings.push_back(
                {one.at("record").get<std::string>(), one.at("name").get<std::string>(),
                 Calendar::UnixTime(std::chrono::duration<double>(one.at("started").get<double>())),
                 one.at("minutes").get<int>(), one.at("summary").get<std::string>()});
        } catch (const json::exception&) {
            // What the user broke in the file is written anew with the meeting's next note.
            continue;
        }
    }
    return index;
}

MeetingLibrary::MeetingLibrary(fs::path folder, std::shared_ptr<SerialQueue> queue)
    : folder_(std::move(folder)),
      queue_(queue ? std::move(queue) : std::make_shared<SerialQueue>("notes")) {}

asio::awaitable<std::string> MeetingLibrary::freeName(std::string name) {
    auto work = [this, name = std::move(name)] { return nameFreeIn(folder_, name); };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<bool> MeetingLibrary::write(std::string name, std::string markdown) {
    auto work = [path = folder_ / name, markdown = std::move(markdown)] {
        return writeFileAtomically(path, markdown).has_value();
    };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<bool> MeetingLibrary::addToIndex(MeetingIndex::Entry entry) {
    auto work = [this, entry = std::move(entry)] {
        auto index = readIndex(folder_);
        std::erase_if(index.meetings, [&](const auto& one) { return one.record == entry.record; });
        index.meetings.push_back(entry);
        return writeJsonFile(folder_ / indexName, encode(index)).has_value();
    };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<MeetingIndex> MeetingLibrary::index() {
    auto work = [this] { return readIndex(folder_); };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<void> MeetingLibrary::remove(std::string name) {
    auto work = [this, name = std::move(name)] {
        std::error_code ec;
        if (isNoteName(name))
            fs::remove(folder_ / name, ec);
    };
    co_await queue_->run(std::move(work));
}

asio::awaitable<bool> MeetingLibrary::erase(std::string name) {
    auto work = [this, name = std::move(name)] {
        std::error_code ec;
        if (isNoteName(name))
            fs::remove(folder_ / name, ec);
        if (ec || !isNoteName(name))
            return false;
        auto index = readIndex(folder_);
        if (std::erase_if(index.meetings, [&](const auto& one) { return one.name == name; }) == 0)
            return true;
        return writeJsonFile(folder_ / indexName, encode(index)).has_value();
    };
    co_return co_await queue_->run(std::move(work));
}

std::vector<MeetingLibrary::Entry> MeetingLibrary::list() const {
    std::vector<Entry> found;
    std::error_code ec;
    for (const auto& entry : fs::directory_iterator(folder_, ec)) {
        const auto name = entry.path().filename().string();
        struct ::stat info{};
        if (!isNoteName(name) || ::lstat(entry.path().c_str(), &info) != 0 ||
            !S_ISREG(info.st_mode))
            continue;
        constexpr double nanosecond = 1e-9;
        const auto modified = static_cast<double>(info.st_mtim.tv_sec) +
                              static_cast<double>(info.st_mtim.tv_nsec) * nanosecond;
        found.push_back(
            {name, entry.path(), Calendar::UnixTime(std::chrono::duration<double>(modified))});
    }
    // The name begins with date and time, whatever was done to the file since.
    std::ranges::sort(found, std::ranges::greater{}, &Entry::name);
    return found;
}

/// What is no file of the folder, be it a link or a pipe, is not read.
std::optional<std::string> MeetingLibrary::bytesOf(std::string_view name) const {
    if (!isNoteName(name))
        return std::nullopt;
    const FileDescriptor file(
        ::open((folder_ / name).c_str(), O_RDONLY | O_NOFOLLOW | O_NONBLOCK | O_CLOEXEC));
    struct ::stat info{};
    if (!file.valid() || ::fstat(file.get(), &info) != 0 || !S_ISREG(info.st_mode) ||
        info.st_size > largestNote)
        return std::nullopt;
    return file.read(static_cast<std::size_t>(info.st_size));
}

std::optional<std::string> MeetingLibrary::readNow(std::string_view name) const {
    const auto bytes = bytesOf(name);
    return bytes ? std::optional(withValidUtf8(*bytes)) : std::nullopt;
}

asio::awaitable<std::vector<MeetingLibrary::Entry>> MeetingLibrary::entries() {
    auto work = [this] { return list(); };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<std::optional<std::string>> MeetingLibrary::read(std::string name) {
    auto work = [this, name = std::move(name)] { return readNow(name); };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<std::vector<MeetingLibrary::Hit>> MeetingLibrary::search(std::string words,
                                                                         std::size_t most) {
    auto work = [this, wanted = CaselessWord(words), most] {
        std::vector<Hit> hits;
        for (const auto& entry : list()) {
            if (hits.size() >= most)
                break;
            const auto content = readNow(entry.name).value_or("");
            Hit hit{entry.name, {}};
            for (const auto line : linesOf(content)) {
                if (wanted.isIn(line))
                    hit.lines.emplace_back(line);
            }
            if (!hit.lines.empty())
                hits.push_back(std::move(hit));
        }
        return hits;
    };
    co_return co_await queue_->run(std::move(work));
}

asio::awaitable<void> MeetingLibrary::forEach(Look look) {
    auto work = [this, look = std::move(look)] {
        for (const auto& note : list())
            look(note, [this, &note] { return bytesOf(note.name).value_or(""); });
    };
    co_await queue_->run(std::move(work));
}

}  // namespace quillet
