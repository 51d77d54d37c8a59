#include <algorithm>
#include <cmath>
#include <nlohmann/json.hpp>

#include "base/text/Text.h"
#include "memory/KnowledgeDistiller.h"
#include "refine/JsonReply.h"

namespace quillet::KnowledgeDistiller {

namespace {

using nlohmann::json;

/// What stands in the form of a reply where a text belongs; weak models leave it there.
constexpr std::string_view placeholders[] = {"...",
                                             "…",
                                             "<id>",
                                             "(only if sharper)",
                                             "(when it works or not)",
                                             "the new conclusion",
                                             "why it changed"};

std::string givenText(const json& op, std::string_view name) {
    auto text = trimmed(textOf(op, name));
    for (const auto placeholder : placeholders) {
        if (text == placeholder)
            return {};
    }
    return text;
}

double numberOf(const json& op, std::string_view name, double otherwise) {
    const auto found = op.find(name);
    if (found == op.end())
        return otherwise;
    return found->is_number() ? found->get<double>() : 0;
}

/// 0 for what is no whole number or more than any entry has.
std::int64_t entryOf(const json& op) {
    constexpr double mostEntries = 1'000'000;
    const auto number = numberOf(op, "entry", 0);
    const bool counts = number >= 1 && number <= mostEntries && std::floor(number) == number;
    return counts ? static_cast<std::int64_t>(number) : 0;
}

std::optional<Op::Kind> kindOf(std::string_view name) {
    if (name == "add")
        return Op::Kind::add;
    if (name == "enrich")
        return Op::Kind::enrich;
    if (name == "revise")
        return Op::Kind::revise;
    if (name == "skip")
        return Op::Kind::skip;
    return std::nullopt;
}

Op readOp(const json& record) {
    Op op;
    const auto kind = record.is_object() ? kindOf(textOf(record, "op")) : std::nullopt;
    if (!kind)
        return op;
    op.kind = *kind;
    op.item = givenText(record, "item");
    op.category = givenText(record, "category");
    if (const auto made = record.find("new_category"); made != record.end() && made->is_object()) {
        op.newName = givenText(*made, "name");
        op.newAbout = givenText(*made, "about");
    }
    op.title = givenText(record, "title");
    op.takeaway = givenText(record, "takeaway");
    op.note = givenText(record, "note");
    op.reason = givenText(record, "reason");
    op.quote = givenText(record, "quote");
    op.entry = entryOf(record);
    // A model that skips something has no need to say how sure it is.
    op.confidence = numberOf(record, "confidence", *kind == Op::Kind::skip ? 1 : 0);
    return op;
}

}  // namespace

std::optional<std::vector<Op>> readOps(std::string_view reply) {
    const auto object = jsonOfReply(reply);
    if (!object)
        return std::nullopt;
    const auto list = object->find("ops");
    if (list == object->end() || !list->is_array())
        return std::nullopt;
    std::vector<Op> ops;
    for (std::size_t i = 0; i < std::min(list->size(), mostOpsInReply); ++i)
        ops.push_back(readOp((*list)[i]));
    return ops;
}

}  // namespace quillet::KnowledgeDistiller
