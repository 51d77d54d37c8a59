#pragma once

#include "refine/LLMRefiner.h"
#include "ui/settings/ConnectionTest.h"
#include "ui/settings/KeySetting.h"
#include "ui/settings/SettingsPage.h"

namespace quillet {

/// What becomes of the words that were recognised: how far they are rewritten, by which language
/// model, and whether they are sent.
class WritingPage : public SettingsPage {
public:
    struct Services {
        Loop& loop;
        Keychain& keychain;
        LLMRefiner& llm;
    };

    WritingPage(const Binding& binding, Services services);
    ~WritingPage() override;

private:
    void addModes();
    void addModel();
    void addProvider(QFormLayout& form);
    void useProvider(const QString& choice);
    void addContext();
    void addSending();
    asio::awaitable<ConnectionTest::Report> test();

    Services services_;
};

}  // namespace quillet
