#pragma once

#include <filesystem>
#include <functional>
#include <memory>
#include <string>
#include <thread>

#include "base/file/FileDescriptor.h"
#include "base/log/Log.h"
#include "platform/UserDefaults.h"

namespace quillet {

class Loop;

/// Records in one JSON file, written atomically. Several processes may share it: a change reads the
/// file again under a lock, so that nobody's change is lost, and watchers are told.
class JsonUserDefaults final : public UserDefaults {
public:
    JsonUserDefaults(std::filesystem::path file, Log log);
    ~JsonUserDefaults() override;

    /// Begins to watch the file for other processes' changes; `loop` is where they are told.
    void watch(Loop& loop);

    std::optional<nlohmann::json> get(std::string_view key) const override;
    bool set(std::string_view key, nlohmann::json value) override;
    bool remove(std::string_view key) override;
    bool edit(std::string_view key, const Change& change) override;
    void onExternalChange(std::function<void()> changed) override;

private:
    struct Records;

    void load();
    void loadAndTell();
    void readRecords();
    void followChanges(Loop& loop);

    std::filesystem::path file_;
    Log log_;
    std::unique_ptr<Records> records_;
    Loop* loop_ = nullptr;  // where changes are told; none while the file is not watched
    std::shared_ptr<std::function<void()>> changed_;
    FileDescriptor inotify_;
    FileDescriptor ending_;
    std::thread watcher_;
};

}  // namespace quillet
