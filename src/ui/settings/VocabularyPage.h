#pragma once

#include "ui/settings/SettingsPage.h"
#include "ui/settings/SnippetTable.h"
#include "ui/settings/VocabularyTable.h"

namespace quillet {

/// What is written for what is heard: the vocabulary, and snippets.
class VocabularyPage : public SettingsPage {
public:
    struct Services {
        VocabularyTable::Services vocabulary;
        std::shared_ptr<IdSource> ids;
    };

    VocabularyPage(const Binding& binding, Services services);
};

}  // namespace quillet
