#pragma once

#include <chrono>
#include <deque>
#include <map>
#include <optional>
#include <string>
#include <vector>

#include "platform/Pasteboard.h"
#include "platform/linux/SelectionWindow.h"

namespace quillet {

/// One reading of everything that another client offers in a selection: first the list of its
/// formats, then one format after the other. Ends when all is read or the budget is spent.
class SelectionReading {
public:
    using Atom = SelectionWindow::Atom;
    using Clock = std::chrono::steady_clock;

    static constexpr auto budget = std::chrono::milliseconds(500);
    static constexpr std::size_t mostBytes = std::size_t{64} * 1024 * 1024;

    /// `property` is where the owner leaves the data. Successive readings take different ones, so
    /// that an owner which answers too late does not spoil the next.
    SelectionReading(SelectionWindow& window, Atom selection, Atom property,
                     SelectionWindow::Time time);

    /// True when the event was this reading's business.
    bool handle(const xcb_generic_event_t& event);
    void giveUp() { done_ = true; }

    [[nodiscard]] bool isDone() const { return done_; }
    [[nodiscard]] Clock::time_point deadline() const { return deadline_; }
    [[nodiscard]] PasteboardSnapshot result() && { return std::move(snapshot_); }
    /// The types of the data that are not called as their formats are.
    [[nodiscard]] const std::map<std::string, std::string>& types() const { return types_; }

private:
    enum class Stage { formats, data, pieces };

    void ask(Atom target);
    void askNext();
    void answered(bool refused);
    void pieceArrived();
    void listArrived(const SelectionWindow::Property& list);
    void keep(const SelectionWindow::Property& data);
    [[nodiscard]] SelectionWindow::Property take();
    [[nodiscard]] bool isReadable(Atom target);

    SelectionWindow& window_;
    const Atom selection_;
    const Atom property_;
    const SelectionWindow::Time time_;
    const Clock::time_point deadline_ = Clock::now() + budget;
    Stage stage_ = Stage::formats;
    std::deque<Atom> waiting_;
    Atom target_ = 0;
    SelectionWindow::Property pieces_;
    std::size_t size_ = 0;
    PasteboardSnapshot snapshot_;
    std::map<std::string, std::string> types_;
    bool done_ = false;
};

}  // namespace quillet
