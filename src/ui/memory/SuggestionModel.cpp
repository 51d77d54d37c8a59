#include "ui/memory/SuggestionModel.h"

#include <algorithm>
#include <ranges>

#include "ui/kit/UiText.h"

namespace quillet {

using namespace NightlyReview;

bool SuggestionModel::show(const State& state) {
    std::vector<Suggestion> waiting;
    for (const auto& one : state.suggestions | std::views::reverse) {
        if (one.status == Status::pending)
            waiting.push_back(one);
    }
    const bool isSame = std::ranges::equal(waiting, waiting_, {}, &Suggestion::id, &Suggestion::id);
    if (std::exchange(shown_, true) && isSame)
        return false;
    beginResetModel();
    waiting_ = std::move(waiting);
    endResetModel();
    return true;
}

int SuggestionModel::rowCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : count();
}

int SuggestionModel::columnCount(const QModelIndex& parent) const {
    return parent.isValid() ? 0 : columns;
}

QVariant SuggestionModel::data(const QModelIndex& index, int role) const {
    if (!index.isValid() || (role != Qt::DisplayRole && role != Qt::ToolTipRole))
        return {};
    const auto& one = at(index.row());
    switch (index.column()) {
        case heard:
            return fromText(one.heard);
        case written:
            return fromText(one.written);
        case reason:
            return fromText(one.reason);
        default:
            return {};
    }
}

QVariant SuggestionModel::headerData(int section, Qt::Orientation orientation, int role) const {
    if (orientation != Qt::Horizontal || role != Qt::DisplayRole)
        return {};
    switch (section) {
        case heard:
            return label("Written so far");
        case written:
            return label("Better");
        case reason:
            return label("Why");
        default:
            return {};
    }
}

}  // namespace quillet
