#pragma once

#include <nlohmann/json.hpp>
#include <string>
#include <string_view>
#include <vector>

#include "memory/Knowledge.h"
#include "memory/KnowledgeDistiller.h"

namespace quillet {

inline Calendar::UnixTime at(double seconds) {
    return Calendar::UnixTime(std::chrono::duration<double>(seconds));
}

inline KnowledgeDistiller::Source said(std::string text, double seconds = 1'000'000) {
    return {at(seconds), "Chat",     std::move(text), KnowledgeDistiller::FromMac{},
            "org.chat",  "dictation"};
}

/// An item that rests on one quote.
inline Knowledge::Item known(std::string id, std::string category, std::string title,
                             std::string takeaway, std::string quote = "as it was said") {
    Knowledge::Item item;
    item.id = std::move(id);
    item.category = std::move(category);
    item.title = std::move(title);
    item.takeaway = std::move(takeaway);
    item.examples = {{std::move(quote), at(500'000), "Chat", std::nullopt}};
    item.firstSeen = item.lastSeen = at(500'000);
    item.mentions = 1;
    return item;
}

/// Ids that count.
inline KnowledgeDistiller::FreshId countedIds() {
    return [last = 0]() mutable { return "NEW-" + std::to_string(++last); };
}

/// What of an item an operation may change.
inline nlohmann::json contentOf(const Knowledge::Item& item) {
    nlohmann::json content = {{"takeaway", item.takeaway},
                              {"notes", item.notes},
                              {"quotes", nlohmann::json::array()},
                              {"superseded", nlohmann::json::array()}};
    for (const auto& example : item.examples)
        content["quotes"].push_back(example.quote);
    for (const auto& earlier : item.superseded)
        content["superseded"].push_back(earlier.takeaway + " | " + earlier.reason);
    return content;
}

}  // namespace quillet
