#pragma once

#include <chrono>
#include <deque>
#include <functional>
#include <map>
#include <memory>
#include <optional>
#include <string>
#include <vector>

#include "platform/linux/SelectionWindow.h"

namespace quillet {

/// What the owner of a selection offers, in several formats.
struct SelectionContent {
    struct Format {
        SelectionWindow::Atom target = 0;
        SelectionWindow::Atom type = 0;
        int unitBits = 8;
        std::shared_ptr<const std::string> bytes;
    };
    std::vector<Format> formats;
    std::vector<SelectionWindow::Atom> textTargets;  ///< those that carry the text itself
    bool isTransient = false;                        ///< not for keeping
};

/// Owns selections and hands their content to whoever asks, large content in pieces. A client that
/// asks and then dies or sleeps holds up nobody.
class SelectionOffer {
public:
    using Atom = SelectionWindow::Atom;
    using Time = SelectionWindow::Time;
    using Clock = std::chrono::steady_clock;
    /// Told when somebody has been given the text of a content.
    using OnFetched = std::function<void(const SelectionContent&)>;

    SelectionOffer(SelectionWindow& window, OnFetched onFetched);

    /// Owns `selection` from `time` on. False when somebody else has taken it later.
    [[nodiscard]] bool own(Atom selection, std::shared_ptr<const SelectionContent> content,
                           Time time);
    /// Empties a selection, whoever owns it.
    void empty(Atom selection, Time time);
    [[nodiscard]] std::shared_ptr<const SelectionContent> content(Atom selection) const;

    /// True when the event was this class's business.
    bool handle(const xcb_generic_event_t& event);

    /// Forgets transfers that nobody fetches any more.
    void dropStale(Clock::time_point now);
    [[nodiscard]] std::optional<Clock::time_point> nextDeadline() const;

private:
    struct Owned {
        std::shared_ptr<const SelectionContent> content;
        Time since = 0;
    };
    /// One piece after another goes out, each when the one before was taken.
    struct Transfer {
        SelectionWindow::Window requestor = 0;
        Atom property = 0;
        SelectionContent::Format format;
        std::shared_ptr<const SelectionContent> content;
        std::size_t sent = 0;
        Clock::time_point deadline;
    };

    void answer(const xcb_selection_request_event_t& request);
    [[nodiscard]] bool convert(const Owned& owned, SelectionWindow::Window requestor, Atom target,
                               Atom property);
    [[nodiscard]] bool convertMany(const Owned& owned, SelectionWindow::Window requestor,
                                   Atom property);
    void startTransfer(Transfer transfer);
    bool propertyChanged(const xcb_property_notify_event_t& change);
    void endTransfer(const std::deque<Transfer>::iterator& transfer);
    void tellIfText(const SelectionContent& content, Atom target);

    SelectionWindow& window_;
    OnFetched onFetched_;
    Atom targets_;
    Atom timestamp_;
    Atom multiple_;
    Atom atomPair_;
    Atom incr_;
    std::map<Atom, Owned> owned_;
    std::deque<Transfer> transfers_;
};

}  // namespace quillet
