#pragma once

#include <asio/awaitable.hpp>
#include <memory>

#include "speech/cleanup/VocabularyMatcher.h"
#include "store/VocabularyDB.h"

namespace quillet {

/// The user's corrections ready to be applied, prepared anew whenever the vocabulary has changed.
/// Belongs to the main queue's thread; preparing is done on the vocabulary's own queue.
class VocabularyRules {
public:
    using Matcher = std::shared_ptr<const VocabularyMatcher>;

    /// The vocabulary must outlive it.
    explicit VocabularyRules(VocabularyDB& vocabulary) : vocabulary_(vocabulary) {}

    /// What the vocabulary holds now.
    [[nodiscard]] asio::awaitable<Matcher> current();

private:
    VocabularyDB& vocabulary_;
    VocabularyDB::Entries entries_;  // what matcher_ was made of
    Matcher matcher_;
};

}  // namespace quillet
