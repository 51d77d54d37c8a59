#pragma once

#include <filesystem>
#include <map>
#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <string>
#include <vector>

#include "base/log/Log.h"
#include "memory/DeletedDictations.h"
#include "memory/NightlyReview.h"

namespace quillet {

/// What a review is about to do to the vocabulary and to its own state. Written down before it is
/// done, so that whatever happens in between it is done to its end, once.
struct ReviewCommit {
    struct Pair {
        std::string heard;
        std::string written;
        double confidence = 1;
        std::string source;
    };
    std::vector<Pair> learn;
    std::vector<VocabEntry> remove;
    std::vector<VocabEntry> restore;
    std::vector<VocabEntry> forget;  ///< to be removed while their source is still this one
    NightlyReview::State next;
};

/// What a review asked and was told already, for the one that goes on where it was broken off.
struct ReviewProgress {
    double since = 0;  ///< the last run before it; another one makes all of this void
    std::map<std::string, std::string> again;    ///< second transcriptions, by entry id
    std::map<std::string, std::string> replies;  ///< the model's, by what was asked
};

/// The files of the nightly review. Everything blocks, and belongs to one queue.
class ReviewFile {
public:
    struct Paths {
        std::filesystem::path state;
        std::filesystem::path progress;
    };
    struct Content {
        NightlyReview::State state;
        std::optional<ReviewCommit> commit;  ///< begun, and perhaps not done
    };

    ReviewFile(Paths paths, Log log) : paths_(std::move(paths)), log_(std::move(log)) {}

    /// A file that cannot be read is kept under another name, and the state is empty.
    [[nodiscard]] Content load();
    /// False when it could not be written, which is logged.
    [[nodiscard]] bool save(const NightlyReview::State& state,
                            const ReviewCommit* commit = nullptr);

    [[nodiscard]] ReviewProgress loadProgress();
    [[nodiscard]] bool saveProgress(const ReviewProgress& progress);
    void removeProgress();

    /// Takes out of files, which no reviewer holds, what rests on deleted dictations; false when
    /// that could not be written.
    [[nodiscard]] bool forget(const DeletedDictations& deleted);

private:
    Paths paths_;
    Log log_;
};

}  // namespace quillet
