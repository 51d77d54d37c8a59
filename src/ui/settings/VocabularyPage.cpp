#include "ui/settings/VocabularyPage.h"

#include <QVBoxLayout>

#include "memory/ReviewLedger.h"
#include "ui/kit/UiText.h"

namespace quillet {

VocabularyPage::VocabularyPage(const Binding& binding, Services services) : SettingsPage(binding) {
    auto* pairs = new VocabularyTable(services.vocabulary, messages());
    addColumn(label("Vocabulary"), Height::whatThereIs)->addWidget(pairs);
    auto* snippets = new SnippetTable({settings(), std::move(services.ids)}, messages());
    addColumn(label("Snippets"))->addWidget(snippets);
    follow([snippets] { snippets->refresh(); });
    // What is dictated and reviewed teaches words.
    on(entryLoggedNotification, [pairs] { pairs->refresh(); });
    on(reviewChangedNotification, [pairs] { pairs->refresh(); });
}

}  // namespace quillet
