#include <algorithm>

#include "base/async/OnLoop.h"
#include "mcp/ToolArguments.h"
#include "mcp/ToolResult.h"

namespace quillet {

using nlohmann::json;

namespace {

constexpr std::size_t mostRecentTitles = 5;

json summary(const Knowledge::Store& store, const Knowledge::Category& category) {
    std::vector<const Knowledge::Item*> items;
    for (const auto& item : store.items) {
        if (item.category == category.id)
            items.push_back(&item);
    }
    std::ranges::sort(items, std::ranges::greater{}, &Knowledge::Item::lastSeen);
    json recent = json::array();
    for (std::size_t i = 0; i < std::min(items.size(), mostRecentTitles); ++i)
        recent.push_back(items[i]->title);
    return {{"name", category.name},
            {"about", category.about},
            {"items", items.size()},
            {"recent", std::move(recent)}};
}

/// The page of a category, and the ids of what it holds.
std::string page(const Knowledge::Store& store, const Knowledge::Category& category,
                 const Calendar& calendar) {
    auto text = markdown(store, category, calendar);
    text += "\n---\nItem ids:\n";
    for (const auto& item : store.items) {
        if (item.category == category.id)
            text += "- " + item.id + ": " + item.title + "\n";
    }
    return text;
}

MCPTools::Result read(const Knowledge::Store& store, const std::string& id,
                      const std::string& category, const Calendar& calendar) {
    if (!id.empty()) {
        const auto* item = store.item(id);
        return item != nullptr ? tool_result::text(markdown(*item, calendar))
                               : tool_result::failure("No such item — see search_memory");
    }
    const auto* found = store.category(category);
    return found != nullptr ? tool_result::text(page(store, *found, calendar))
                            : tool_result::failure("No such category — see list_knowledge");
}

}  // namespace

asio::awaitable<MCPTools::Result> MCPTools::listKnowledge(const ToolArguments&) {
    const auto base = co_await onLoop(services_.main, services_.knowledge.state());
    if (base->store.items.empty())
        co_return tool_result::text("Nothing distilled yet");
    auto list = [&base] {
        json categories = json::array();
        for (const auto& category : base->store.categories)
            categories.push_back(summary(base->store, category));
        return tool_result::json(
            {{"categories", std::move(categories)}, {"report", base->report.value_or("")}});
    };
    co_return co_await services_.meetings.queue().run(std::move(list));
}

asio::awaitable<MCPTools::Result> MCPTools::readKnowledge(const ToolArguments& arguments) {
    auto id = arguments.text("id");
    auto category = arguments.text("category");
    if (id.empty() && category.empty())
        co_return tool_result::failure(
            "Give a category (id or name) or an item id — see list_knowledge");
    const auto base = co_await onLoop(services_.main, services_.knowledge.state());
    auto render = [&] { return read(base->store, id, category, services_.calendar); };
    co_return co_await services_.meetings.queue().run(std::move(render));
}

}  // namespace quillet
