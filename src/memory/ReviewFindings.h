#pragma once

#include <functional>
#include <span>
#include <string>
#include <string_view>
#include <unordered_set>
#include <vector>

#include "memory/ReviewFile.h"
#include "memory/ReviewPrompt.h"

namespace quillet {

/// What one run of the review has found so far. Nothing of it counts before it is concluded.
class ReviewFindings {
public:
    using FreshId = std::function<std::string()>;

    ReviewFindings(Calendar::UnixTime date, NightlyReview::Memory memory,
                   std::vector<VocabEntry> vocabulary, FreshId freshId);

    /// What the next batch is told.
    [[nodiscard]] const NightlyReview::Memory& memory() const { return run_.memoryAfter; }
    [[nodiscard]] const std::vector<VocabEntry>& vocabulary() const { return vocabulary_; }
    [[nodiscard]] NightlyReview::Run& run() { return run_; }

    /// Judges a reply to a batch and keeps what stands up.
    void takeIn(const NightlyReview::Reply& reply, std::span<const NightlyReview::Entry> batch);

    /// The pairs that tonight's clean-up looks through: a large vocabulary in parts, a part a
    /// night, and none that the user has accepted or put back.
    [[nodiscard]] std::vector<VocabEntry> pairsToTidy(const NightlyReview::State& state) const;
    void takeIn(const NightlyReview::CleanUp& cleanUp, std::span<const VocabEntry> shown);

    /// What is to be done about it, in the face of what the user answered meanwhile.
    [[nodiscard]] ReviewCommit conclude(const NightlyReview::State& state) const;

private:
    void takeIn(const NightlyReview::Term& term, NightlyReview::Status status,
                std::span<const NightlyReview::Entry> batch);
    NightlyReview::Suggestion& add(NightlyReview::Kind kind, const std::string& heard,
                                   const std::string& written, const std::string& reason);

    NightlyReview::Run run_;
    std::vector<VocabEntry> vocabulary_;
    std::unordered_set<std::string> known_;  // ids of the vocabulary's pairs
    FreshId freshId_;
};

}  // namespace quillet
