#include "platform/linux/SelectionReading.h"

#include <xcb/xcb.h>

#include <algorithm>
#include <array>
#include <cstring>
#include <string_view>

namespace quillet {

namespace {

/// Not data: questions about the selection, orders to its owner, and a pointer within its process.
constexpr std::array<std::string_view, 8> unreadable{
    "TARGETS", "MULTIPLE",         "TIMESTAMP",       "SAVE_TARGETS",
    "DELETE",  "INSERT_SELECTION", "INSERT_PROPERTY", "GTK_TEXT_BUFFER_CONTENTS"};

}  // namespace

SelectionReading::SelectionReading(SelectionWindow& window, Atom selection, Atom property,
                                   SelectionWindow::Time time)
    : window_(window), selection_(selection), property_(property), time_(time) {
    if (window_.owner(selection_) == XCB_WINDOW_NONE) {
        snapshot_.complete = true;
        done_ = true;
        return;
    }
    ask(window_.atom("TARGETS"));
}

bool SelectionReading::handle(const xcb_generic_event_t& event) {
    const int kind = event.response_type & 0x7F;
    if (kind == XCB_SELECTION_NOTIFY) {
        const auto& notice = reinterpret_cast<const xcb_selection_notify_event_t&>(event);
        const bool isMine = !done_ && stage_ != Stage::pieces && notice.target == target_ &&
                            notice.time == time_ &&
                            (notice.property == property_ || notice.property == XCB_ATOM_NONE);
        if (isMine)
            answered(notice.property == XCB_ATOM_NONE);
        return isMine;
    }
    if (kind == XCB_PROPERTY_NOTIFY) {
        const auto& change = reinterpret_cast<const xcb_property_notify_event_t&>(event);
        if (change.window != window_.id() || change.atom != property_)
            return false;
        if (!done_ && stage_ == Stage::pieces && change.state == XCB_PROPERTY_NEW_VALUE)
            pieceArrived();
        return true;
    }
    return false;
}

void SelectionReading::ask(Atom target) {
    target_ = target;
    xcb_delete_property(window_.xcb(), window_.id(), property_);
    xcb_convert_selection(window_.xcb(), window_.id(), selection_, target, property_, time_);
    window_.flush();
}

void SelectionReading::askNext() {
    if (waiting_.empty()) {
        snapshot_.complete = true;
        done_ = true;
        return;
    }
    stage_ = Stage::data;
    const Atom next = waiting_.front();
    waiting_.pop_front();
    ask(next);
}

SelectionWindow::Property SelectionReading::take() {
    auto property = window_.take(window_.id(), property_, mostBytes - size_);
    window_.flush();
    return property;
}

void SelectionReading::answered(bool refused) {
    if (refused) {
        if (stage_ == Stage::formats)
            // An owner too simple to have a list has text.
            waiting_ = {window_.atom("UTF8_STRING"), window_.atom("STRING")};
        askNext();
        return;
    }
    auto property = take();
    if (property.isCut) {
        giveUp();
    } else if (property.type == window_.atom("INCR")) {
        pieces_ = {};
        stage_ = Stage::pieces;
    } else if (stage_ == Stage::formats) {
        listArrived(property);
    } else {
        keep(property);
    }
}

void SelectionReading::pieceArrived() {
    const auto piece = take();
    if (piece.type == XCB_ATOM_NONE)
        return;  // the event of a piece that was already read
    if (piece.bytes.empty()) {
        pieces_.type = pieces_.type == XCB_ATOM_NONE ? piece.type : pieces_.type;
        keep(pieces_);
        return;
    }
    if (piece.isCut || size_ + pieces_.bytes.size() + piece.bytes.size() > mostBytes) {
        giveUp();
        return;
    }
    pieces_.type = piece.type;
    pieces_.unitBits = piece.unitBits;
    pieces_.bytes += piece.bytes;
}

void SelectionReading::listArrived(const SelectionWindow::Property& list) {
    std::vector<Atom> targets(list.unitBits == 32 ? list.bytes.size() / sizeof(Atom) : 0);
    std::memcpy(targets.data(), list.bytes.data(), targets.size() * sizeof(Atom));
    for (const auto target : targets) {
        if (isReadable(target) && std::ranges::find(waiting_, target) == waiting_.end())
            waiting_.push_back(target);
    }
    askNext();
}

bool SelectionReading::isReadable(Atom target) {
    const auto name = window_.name(target);
    return !name.empty() && std::ranges::find(unreadable, name) == unreadable.end();
}

void SelectionReading::keep(const SelectionWindow::Property& data) {
    if (size_ + data.bytes.size() > mostBytes) {
        giveUp();
        return;
    }
    if (data.type != XCB_ATOM_NONE) {
        size_ += data.bytes.size();
        const auto name = window_.name(target_);
        if (data.type != target_)
            types_[name] = window_.name(data.type);
        snapshot_.items.push_back({name, data.bytes, data.unitBits});
    }
    askNext();
}

}  // namespace quillet
