#pragma once

#include <filesystem>
#include <map>
#include <mutex>
#include <optional>
#include <string>
#include <vector>

#include "base/async/SerialQueue.h"

namespace quillet {

/// The desktop files of the installed applications. They are read once, in the background; until
/// then nothing is known.
class DesktopEntries {
public:
    struct Entry {
        std::string id;           ///< name of the file, without its ending
        std::string displayName;  ///< as people call the application
        std::string windowClass;  ///< class of its windows, if the file names one
        std::string program;      ///< base name of what it starts
    };

    /// `dataFolders` are those whose applications/ holds desktop files, the first one first.
    explicit DesktopEntries(std::vector<std::filesystem::path> dataFolders);

    /// The application whose windows have this class, or which has this id.
    [[nodiscard]] std::optional<Entry> find(std::string_view windowClass,
                                            std::string_view applicationId) const;
    /// The names of all, by their applications' ids; several that share a well-known one are named
    /// together.
    [[nodiscard]] std::map<std::string, std::string> names() const;
    /// Waits until all are read.
    void waitUntilRead();

private:
    mutable std::mutex mutex_;
    std::vector<Entry> entries_;  // guarded by mutex_
    SerialQueue queue_;
};

}  // namespace quillet
