#pragma once

#include <functional>
#include <memory>
#include <string>
#include <vector>

#include "base/text/CaselessWord.h"
#include "platform/IdSource.h"
#include "store/Database.h"
#include "store/TranscriptEntry.h"

namespace quillet {

/// What the history works with: its database, whose schema is made or migrated on opening, and the
/// rules on what is kept and shown. Used on the store's queue only.
///
/// Statements know two functions more: holds_words(a, b), whether one of two texts holds each of
/// `words`, and folded(a), a text without case.
class HistoryConnection {
public:
    using Predicate = std::function<bool(const std::string& bundleID)>;

    /// Which applications' entries the store keeps at all, and which it does not show. Both are
    /// asked on the store's queue and must be thread-safe.
    struct Rules {
        Predicate keeps;
        Predicate hides;
    };

    HistoryConnection(const std::filesystem::path& path, Rules storeRules,
                      std::shared_ptr<IdSource> idSource, const Log& log);
    HistoryConnection(const HistoryConnection&) = delete;
    HistoryConnection& operator=(const HistoryConnection&) = delete;

    SQLite::Statement& statement(const char* sql) { return database.statement(sql); }
    [[nodiscard]] bool isHidden(const std::optional<std::string>& bundleID) const {
        return rules.hides && bundleID && rules.hides(*bundleID);
    }

    Rules rules;
    std::shared_ptr<IdSource> ids;
    std::vector<CaselessWord> words;  ///< of the search under way
    Database database;
};

}  // namespace quillet
