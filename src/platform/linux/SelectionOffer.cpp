#include "platform/linux/SelectionOffer.h"

#include <xcb/xcb.h>

#include <algorithm>
#include <cstring>

namespace quillet {

namespace {

constexpr std::size_t largestPiece = std::size_t{256} * 1024;
constexpr std::size_t largestMultiple = std::size_t{16} * 1024;
/// A client that has not taken the next piece by then is gone or asleep.
constexpr auto longestPause = std::chrono::seconds(5);

}  // namespace

SelectionOffer::SelectionOffer(SelectionWindow& window, OnFetched onFetched)
    : window_(window),
      onFetched_(std::move(onFetched)),
      targets_(window.atom("TARGETS")),
      timestamp_(window.atom("TIMESTAMP")),
      multiple_(window.atom("MULTIPLE")),
      atomPair_(window.atom("ATOM_PAIR")),
      incr_(window.atom("INCR")) {}

bool SelectionOffer::own(Atom selection, std::shared_ptr<const SelectionContent> content,
                         Time time) {
    xcb_set_selection_owner(window_.xcb(), window_.id(), selection, time);
    if (window_.owner(selection) != window_.id())
        return false;
    owned_[selection] = {std::move(content), time};
    return true;
}

void SelectionOffer::empty(Atom selection, Time time) {
    owned_.erase(selection);
    xcb_set_selection_owner(window_.xcb(), XCB_WINDOW_NONE, selection, time);
    window_.flush();
}

std::shared_ptr<const SelectionContent> SelectionOffer::content(Atom selection) const {
    const auto owned = owned_.find(selection);
    return owned == owned_.end() ? nullptr : owned->second.content;
}

bool SelectionOffer::handle(const xcb_generic_event_t& event) {
    switch (event.response_type & 0x7F) {
        case XCB_SELECTION_REQUEST:
            answer(reinterpret_cast<const xcb_selection_request_event_t&>(event));
            return true;
        case XCB_SELECTION_CLEAR: {
            const auto& clear = reinterpret_cast<const xcb_selection_clear_event_t&>(event);
            const auto owned = owned_.find(clear.selection);
            // An event of an ownership that has been renewed since then says nothing.
            if (owned != owned_.end() && window_.owner(clear.selection) != window_.id())
                owned_.erase(owned);
            return true;
        }
        case XCB_PROPERTY_NOTIFY:
            return propertyChanged(reinterpret_cast<const xcb_property_notify_event_t&>(event));
        case XCB_DESTROY_NOTIFY: {
            const auto& gone = reinterpret_cast<const xcb_destroy_notify_event_t&>(event);
            std::erase_if(transfers_,
                          [&](const Transfer& one) { return one.requestor == gone.window; });
            return true;
        }
        default:
            return false;
    }
}

void SelectionOffer::answer(const xcb_selection_request_event_t& request) {
    xcb_selection_notify_event_t notice{};
    notice.response_type = XCB_SELECTION_NOTIFY;
    notice.time = request.time;
    notice.requestor = request.requestor;
    notice.selection = request.selection;
    notice.target = request.target;
    // Old clients leave the property open.
    const Atom property = request.property == XCB_ATOM_NONE ? request.target : request.property;
    const auto owned = owned_.find(request.selection);
    if (owned != owned_.end()) {
        const bool done = request.target == multiple_
                              ? convertMany(owned->second, request.requestor, property)
                              : convert(owned->second, request.requestor, request.target, property);
        if (done)
            notice.property = property;
    }
    xcb_send_event(window_.xcb(), 0, request.requestor, XCB_EVENT_MASK_NO_EVENT,
                   reinterpret_cast<const char*>(&notice));
    window_.flush();
}

bool SelectionOffer::convert(const Owned& owned, SelectionWindow::Window requestor, Atom target,
                             Atom property) {
    const auto& formats = owned.content->formats;
    if (target == targets_) {
        std::vector<Atom> all{targets_, timestamp_, multiple_};
        std::ranges::transform(formats, std::back_inserter(all), &SelectionContent::Format::target);
        window_.writeAtoms(requestor, property, all);
        return true;
    }
    if (target == timestamp_) {
        window_.write(requestor, property, XCB_ATOM_INTEGER, 32,
                      {reinterpret_cast<const char*>(&owned.since), sizeof owned.since});
        return true;
    }
    const auto format = std::ranges::find(formats, target, &SelectionContent::Format::target);
    if (format == formats.end())
        return false;
    if (format->bytes->size() > largestPiece) {
        startTransfer({requestor, property, *format, owned.content, 0, {}});
        return true;
    }
    window_.write(requestor, property, format->type, format->unitBits, *format->bytes);
    tellIfText(*owned.content, target);
    return true;
}

bool SelectionOffer::convertMany(const Owned& owned, SelectionWindow::Window requestor,
                                 Atom property) {
    const auto asked = window_.take(requestor, property, largestMultiple);
    if (asked.unitBits != 32 || asked.bytes.empty())
        return false;
    std::vector<Atom> pairs(asked.bytes.size() / sizeof(Atom));
    std::memcpy(pairs.data(), asked.bytes.data(), pairs.size() * sizeof(Atom));
    for (std::size_t i = 0; i + 1 < pairs.size(); i += 2) {
        if (pairs[i] == multiple_ || pairs[i + 1] == XCB_ATOM_NONE ||
            !convert(owned, requestor, pairs[i], pairs[i + 1]))
            pairs[i + 1] = XCB_ATOM_NONE;
    }
    window_.write(requestor, property, atomPair_, 32,
                  {reinterpret_cast<const char*>(pairs.data()), pairs.size() * sizeof(Atom)});
    return true;
}

void SelectionOffer::startTransfer(Transfer transfer) {
    std::erase_if(transfers_, [&](const Transfer& one) {
        return one.requestor == transfer.requestor && one.property == transfer.property;
    });
    const std::uint32_t events = XCB_EVENT_MASK_PROPERTY_CHANGE | XCB_EVENT_MASK_STRUCTURE_NOTIFY;
    xcb_change_window_attributes(window_.xcb(), transfer.requestor, XCB_CW_EVENT_MASK, &events);
    const auto size = static_cast<std::uint32_t>(transfer.format.bytes->size());
    window_.write(transfer.requestor, transfer.property, incr_, 32,
                  {reinterpret_cast<const char*>(&size), sizeof size});
    transfer.deadline = Clock::now() + longestPause;
    transfers_.push_back(std::move(transfer));
}

bool SelectionOffer::propertyChanged(const xcb_property_notify_event_t& change) {
    const auto transfer = std::ranges::find_if(transfers_, [&](const Transfer& one) {
        return one.requestor == change.window && one.property == change.atom;
    });
    if (transfer == transfers_.end())
        return false;
    if (change.state != XCB_PROPERTY_DELETE)
        return true;
    const auto& bytes = *transfer->format.bytes;
    const auto size = std::min(largestPiece, bytes.size() - transfer->sent);
    window_.write(transfer->requestor, transfer->property, transfer->format.type,
                  transfer->format.unitBits, std::string_view(bytes).substr(transfer->sent, size));
    transfer->sent += size;
    transfer->deadline = Clock::now() + longestPause;
    if (size == 0) {  // the empty piece is the end mark
        tellIfText(*transfer->content, transfer->format.target);
        endTransfer(transfer);
    }
    window_.flush();
    return true;
}

void SelectionOffer::endTransfer(const std::deque<Transfer>::iterator& transfer) {
    const auto requestor = transfer->requestor;
    transfers_.erase(transfer);
    if (std::ranges::find(transfers_, requestor, &Transfer::requestor) != transfers_.end())
        return;
    const std::uint32_t noEvents = XCB_EVENT_MASK_NO_EVENT;
    xcb_change_window_attributes(window_.xcb(), requestor, XCB_CW_EVENT_MASK, &noEvents);
}

void SelectionOffer::tellIfText(const SelectionContent& content, Atom target) {
    if (std::ranges::find(content.textTargets, target) != content.textTargets.end())
        onFetched_(content);
}

void SelectionOffer::dropStale(Clock::time_point now) {
    for (auto transfer = transfers_.begin(); transfer != transfers_.end();) {
        if (transfer->deadline > now) {
            ++transfer;
            continue;
        }
        endTransfer(transfer);
        transfer = transfers_.begin();
    }
}

std::optional<SelectionOffer::Clock::time_point> SelectionOffer::nextDeadline() const {
    const auto first = std::ranges::min_element(transfers_, {}, &Transfer::deadline);
    if (first == transfers_.end())
        return std::nullopt;
    return first->deadline;
}

}  // namespace quillet
