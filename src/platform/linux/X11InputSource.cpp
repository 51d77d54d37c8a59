#include "platform/linux/X11InputSource.h"

#include <X11/XKBlib.h>
#include <X11/Xlib.h>

#include <algorithm>

#include "platform/linux/X11Connection.h"
#include "platform/linux/X11Keymap.h"
#include "platform/linux/X11Properties.h"

namespace quillet {

namespace {

/// Unlike most splits, "a,,b" has three parts and "" has one.
std::vector<std::string> split(std::string_view text, char separator) {
    std::vector<std::string> parts(1);
    for (const char c : text) {
        if (c == separator)
            parts.emplace_back();
        else
            parts.back() += c;
    }
    return parts;
}

}  // namespace

X11InputSource::X11InputSource(const std::string& displayName)
    : connection_(X11Connection::open(displayName)) {
    if (connection_)
        keymap_ = std::make_unique<X11Keymap>(*connection_);
}

X11InputSource::~X11InputSource() = default;

bool X11InputSource::refresh() {
    if (!connection_ || connection_->isLost())
        return false;
    connection_->dropEvents();
    keymap_->reload();
    return !connection_->isLost();
}

/// One for each group, in the server's order.
std::vector<std::string> X11InputSource::ids() {
    // Rules, model, layouts, variants and options, each ended by a zero.
    const auto names =
        X11Properties::text(*connection_, connection_->root(), "_XKB_RULES_NAMES").value_or("");
    const auto fields = split(names, '\0');
    if (fields.size() < 4)
        return {};
    const auto layouts = split(fields[2], ',');
    const auto variants = split(fields[3], ',');
    std::vector<std::string> result;
    for (std::size_t i = 0; i < layouts.size(); ++i) {
        const bool hasVariant = i < variants.size() && !variants[i].empty();
        result.push_back("xkb:" + layouts[i] + (hasVariant ? "(" + variants[i] + ")" : ""));
    }
    return result;
}

std::string X11InputSource::current() {
    if (!refresh())
        return {};
    const auto all = ids();
    const auto group = static_cast<std::size_t>(keymap_->currentGroup());
    return group < all.size() ? all[group] : std::string();
}

bool X11InputSource::canTypeAscii() {
    return refresh() && keymap_->typesAscii(keymap_->currentGroup());
}

bool X11InputSource::select(std::string_view id) {
    if (!refresh())
        return false;
    std::optional<int> group;
    if (id == abcInputSource || id == usInputSource) {
        for (int one = 0; one < keymap_->groupCount() && !group; ++one) {
            if (keymap_->typesAscii(one))
                group = one;
        }
    } else {
        const auto all = ids();
        if (const auto place = std::ranges::find(all, id); place != all.end())
            group = static_cast<int>(place - all.begin());
    }
    if (!group)
        return false;
    XkbLockGroup(connection_->display(), XkbUseCoreKbd, static_cast<unsigned>(*group));
    XSync(connection_->display(), False);
    return true;
}

}  // namespace quillet
