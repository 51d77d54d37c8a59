#include "platform/linux/JsonUserDefaults.h"

#include <fcntl.h>
#include <poll.h>
#include <pthread.h>
#include <sys/eventfd.h>
#include <sys/file.h>
#include <sys/inotify.h>
#include <sys/stat.h>
#include <unistd.h>

#include <array>
#include <cerrno>
#include <map>
#include <nlohmann/json.hpp>

#include "base/async/Loop.h"
#include "base/file/JsonFile.h"

namespace quillet {

namespace {

namespace fs = std::filesystem;

/// Keeps other processes of ours from writing meanwhile. The lock goes with the descriptor.
FileDescriptor lockBeside(const fs::path& file) {
    std::error_code ec;
    fs::create_directories(file.parent_path(), ec);
    FileDescriptor lock(
        ::open((file.string() + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC, 0600));
    if (lock.valid())
        ::flock(lock.get(), LOCK_EX);
    return lock;
}

}  // namespace

struct JsonUserDefaults::Records {
    nlohmann::json all = nlohmann::json::object();
    /// What the file lacks, because it could not be written; none: a key that was removed.
    std::map<std::string, std::optional<nlohmann::json>, std::less<>> unwritten;

    void put(const std::string& key, const std::optional<nlohmann::json>& value) {
        if (value)
            all[key] = *value;
        else
            all.erase(key);
    }
};

JsonUserDefaults::JsonUserDefaults(fs::path file, Log log)
    : file_(std::move(file)),
      log_(std::move(log)),
      records_(std::make_unique<Records>()),
      changed_(std::make_shared<std::function<void()>>()) {
    load();
}

JsonUserDefaults::~JsonUserDefaults() {
    if (!watcher_.joinable())
        return;
    constexpr std::uint64_t one = 1;
    [[maybe_unused]] const auto woken = ::write(ending_.get(), &one, sizeof one);
    watcher_.join();
}

void JsonUserDefaults::load() {
    readRecords();
    for (const auto& [key, value] : records_->unwritten)
        records_->put(key, value);
}

/// As `load`; where that finds something new, it is told later: whoever changes a record now is not
/// to be called from within.
void JsonUserDefaults::loadAndTell() {
    const auto before = records_->all;
    load();
    if (loop_ == nullptr || records_->all == before)
        return;
    loop_->enqueue([weak = std::weak_ptr(changed_)] {
        if (const auto changed = weak.lock(); changed && *changed)
            (*changed)();
    });
}

void JsonUserDefaults::readRecords() {
    auto content = readJsonFile(file_);
    if (content && content->is_object()) {
        records_->all = std::move(*content);
        return;
    }
    if (!content && content.error() == FileError::notFound) {
        records_->all = nlohmann::json::object();
        return;
    }
    if (!content && content.error() == FileError::unreadable) {
        log_.error("The settings in {} cannot be read; they are as at the first start",
                   file_.string());
        return;
    }
    // Truncated or not ours: set aside, so that the next change does not bury it.
    const auto aside = fs::path(file_.string() + ".damaged");
    std::error_code ec;
    fs::rename(file_, aside, ec);
    log_.error("The settings in {} are damaged; they are kept in {}", file_.string(),
               aside.string());
}

std::optional<nlohmann::json> JsonUserDefaults::get(std::string_view key) const {
    const auto found = records_->all.find(key);
    return found == records_->all.end() ? std::nullopt : std::optional<nlohmann::json>(*found);
}

bool JsonUserDefaults::set(std::string_view key, nlohmann::json value) {
    return edit(key, [&](const auto&) { return std::optional(std::move(value)); });
}

bool JsonUserDefaults::remove(std::string_view key) {
    return edit(key, [](const auto&) { return std::optional<nlohmann::json>(); });
}

bool JsonUserDefaults::edit(std::string_view key, const Change& change) {
    const auto lock = lockBeside(file_);
    loadAndTell();
    const std::string name(key);
    auto value = change(get(key));
    records_->put(name, value);
    if (writeJsonFile(file_, records_->all)) {
        records_->unwritten.clear();
        return true;
    }
    records_->unwritten.insert_or_assign(name, std::move(value));
    return false;
}

void JsonUserDefaults::onExternalChange(std::function<void()> changed) {
    *changed_ = std::move(changed);
}

void JsonUserDefaults::watch(Loop& loop) {
    std::error_code ec;
    fs::create_directories(file_.parent_path(), ec);
    inotify_ = FileDescriptor(::inotify_init1(IN_CLOEXEC));
    ending_ = FileDescriptor(::eventfd(0, EFD_CLOEXEC));
    // The folder is watched: an atomic write replaces the file itself.
    if (::inotify_add_watch(inotify_.get(), file_.parent_path().c_str(),
                            IN_MOVED_TO | IN_CLOSE_WRITE) < 0) {
        log_.error("Changes of {} by other programs will not be seen", file_.string());
        return;
    }
    loop_ = &loop;
    watcher_ = std::thread([this, &loop] { followChanges(loop); });
    pthread_setname_np(watcher_.native_handle(), "settings");
}

void JsonUserDefaults::followChanges(Loop& loop) {
    constexpr std::size_t bufferSize = 4'096;
    alignas(inotify_event) std::array<char, bufferSize> buffer{};
    const auto name = file_.filename().string();
    std::array<pollfd, 2> waited = {pollfd{inotify_.get(), POLLIN, 0},
                                    pollfd{ending_.get(), POLLIN, 0}};
    while (true) {
        if (::poll(waited.data(), waited.size(), -1) < 0) {
            if (errno == EINTR)
                continue;
            return;
        }
        if (waited[1].revents != 0)
            return;
        const auto length = ::read(inotify_.get(), buffer.data(), buffer.size());
        bool ours = false;
        for (ssize_t at = 0; at < length;) {
            const auto* event = reinterpret_cast<const inotify_event*>(buffer.data() + at);
            ours = ours || (event->len > 0 && name == event->name);
            at += static_cast<ssize_t>(sizeof(inotify_event) + event->len);
        }
        if (!ours)
            continue;
        loop.enqueue([this, weak = std::weak_ptr(changed_)] {
            // Our own writes come by here too; they change nothing.
            if (!weak.expired())
                loadAndTell();
        });
    }
}

}  // namespace quillet
