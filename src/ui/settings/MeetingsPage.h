#pragma once

#include <filesystem>
#include <functional>

#include "refine/LLMRefiner.h"
#include "speech/OnDeviceTranscriber.h"
#include "ui/kit/Windows.h"
#include "ui/settings/SettingsPage.h"

namespace quillet {

/// What meetings need, and where their notes are.
class MeetingsPage : public SettingsPage {
public:
    struct Services {
        OnDeviceTranscriber& onDevice;
        const LLMRefiner& llm;
        std::filesystem::path notes;  ///< the folder
        std::function<void(WindowKind)> open;
    };

    MeetingsPage(const Binding& binding, Services services);

private:
    void addNeeds();
    void addNotes();
    [[nodiscard]] QString speechSentence();
    [[nodiscard]] QString modelSentence() const;

    Services services_;
};

}  // namespace quillet
