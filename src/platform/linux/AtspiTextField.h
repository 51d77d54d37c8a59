#pragma once

#include <chrono>

#include "platform/FocusedTextReader.h"
#include "platform/FrontApplication.h"
#include "platform/linux/GlibPointers.h"

// NOLINTBEGIN(bugprone-reserved-identifier)
struct _AtspiAccessible;
struct _AtspiText;
// NOLINTEND(bugprone-reserved-identifier)

namespace quillet {

/// A text field on the accessibility bus. Of an editor that is made of paragraphs, it is the
/// paragraph that has the caret; it tells nothing while several of them are selected. From the
/// deadline on it tells nothing and does nothing. On the accessibility worker's thread only.
class AtspiTextField final : public TextField {
public:
    using Accessible = _AtspiAccessible;
    using TimePoint = std::chrono::steady_clock::time_point;

    AtspiTextField(Accessible* field, TimePoint deadline);

    /// Of the whole editor, whose paragraphs come and go.
    std::string name() override { return name_; }
    std::optional<int> length() override;
    std::optional<int> caret() override;
    std::optional<Range> selection() override;
    std::optional<std::string> text(Range range) override;
    bool select(Range range) override;
    void unselect(int caret) override;
    bool wait() override;
    /// Where the caret is on the desktop; where only the field's place is known, that of a field of
    /// one line.
    std::optional<DesktopRect> caretRect();

private:
    void descendToCaret();
    std::optional<DesktopRect> characterRect(int offset);
    std::optional<DesktopRect> ownRect();
    [[nodiscard]] bool canBeAsked() const {
        return text_ && std::chrono::steady_clock::now() < deadline_;
    }

    std::string name_;
    GRef<Accessible> node_;
    GRef<_AtspiText> text_;  // none: it has no text that can be read
    TimePoint deadline_;
    std::optional<Range> askedFor_;  // to be selected
};

}  // namespace quillet
