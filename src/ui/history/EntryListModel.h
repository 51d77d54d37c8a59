#pragma once

#include <QAbstractListModel>
#include <QDate>
#include <functional>
#include <vector>

#include "store/SessionStore.h"

namespace quillet {

/// Dictations, newest first, in a list that is filled page by page.
class EntryListModel : public QAbstractListModel {
public:
    explicit EntryListModel(const Calendar& calendar, QObject* parent = nullptr);

    /// Called when the view has come to the end of what is there, while there is more.
    std::function<void()> wantsMore;

    void setEntries(std::vector<TranscriptEntry> entries, bool hasMore);
    void append(std::vector<TranscriptEntry> page, bool hasMore);
    /// Puts the entries that are new in front.
    void addNewest(std::vector<TranscriptEntry> page);
    void remove(const std::vector<std::string>& ids);

    [[nodiscard]] const std::vector<TranscriptEntry>& entries() const { return entries_; }
    [[nodiscard]] const TranscriptEntry* entryAt(const QModelIndex& index) const;
    [[nodiscard]] QModelIndex indexOf(const std::string& id) const;

    [[nodiscard]] int rowCount(const QModelIndex& parent = {}) const override;
    [[nodiscard]] QVariant data(const QModelIndex& index, int role) const override;
    [[nodiscard]] bool canFetchMore(const QModelIndex& parent) const override;
    void fetchMore(const QModelIndex& parent) override;

private:
    const Calendar& calendar_;
    std::vector<TranscriptEntry> entries_;
    bool hasMore_ = false;
    bool isAsking_ = false;
};

/// "Today, 14:32 · Editor · Live writing".
[[nodiscard]] QString captionOf(const TranscriptEntry& entry, const Calendar& calendar);
/// What the row of an entry reads: what was written, or heard where nothing was.
[[nodiscard]] QString lineOf(const TranscriptEntry& entry);

}  // namespace quillet
