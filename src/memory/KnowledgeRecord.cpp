#include <cstdint>
#include <limits>
#include <nlohmann/json.hpp>
#include <unordered_set>

#include "memory/Knowledge.h"
#include "memory/StoredTime.h"
#include "refine/JsonReply.h"

namespace quillet::Knowledge {

namespace {

using nlohmann::json;

/// What `decode` makes of each element of a list; those of which it makes nothing are left out.
template <class Decode>
auto decodedList(const json& object, std::string_view name, Decode decode) {
    std::vector<typename std::invoke_result_t<Decode, const json&>::value_type> list;
    const auto found = object.find(name);
    if (found == object.end() || !found->is_array())
        return list;
    list.reserve(found->size());
    for (const auto& element : *found) {
        if (auto decoded = decode(element))
            list.push_back(std::move(*decoded));
    }
    return list;
}

json encode(const Example& example) {
    json record = {
        {"quote", example.quote}, {"date", secondsOf(example.date)}, {"source", example.source}};
    if (example.bundleID)
        record["bundleID"] = *example.bundleID;
    return record;
}

std::optional<Example> decodeExample(const json& record) {
    if (!record.is_object() || textOf(record, "quote").empty())
        return std::nullopt;
    Example example{textOf(record, "quote"), timeOf(record, "date").value_or(Calendar::UnixTime()),
                    textOf(record, "source"), std::nullopt};
    if (auto bundleID = textOf(record, "bundleID"); !bundleID.empty())
        example.bundleID = std::move(bundleID);
    return example;
}

json encode(const Superseded& superseded) {
    return {{"takeaway", superseded.takeaway},
            {"until", secondsOf(superseded.until)},
            {"reason", superseded.reason}};
}

std::optional<Superseded> decodeSuperseded(const json& record) {
    if (!record.is_object() || textOf(record, "takeaway").empty())
        return std::nullopt;
    return Superseded{textOf(record, "takeaway"),
                      timeOf(record, "until").value_or(Calendar::UnixTime()),
                      textOf(record, "reason")};
}

std::optional<std::string> decodeText(const json& value) {
    return value.is_string() ? std::optional(value.get<std::string>()) : std::nullopt;
}

/// The records of a list's elements.
template <class Element>
json encodedList(const std::vector<Element>& list, json (*encode)(const Element&)) {
    auto records = json::array();
    for (const auto& element : list)
        records.push_back(encode(element));
    return records;
}

json encode(const Item& item) {
    return {{"id", item.id},
            {"category", item.category},
            {"title", item.title},
            {"takeaway", item.takeaway},
            {"notes", item.notes},
            {"examples", encodedList(item.examples, encode)},
            {"superseded", encodedList(item.superseded, encode)},
            {"firstSeen", secondsOf(item.firstSeen)},
            {"lastSeen", secondsOf(item.lastSeen)},
            {"mentions", item.mentions}};
}

int decodeMentions(const json& record, int otherwise) {
    const auto found = record.find("mentions");
    if (found == record.end() || !found->is_number_integer())
        return otherwise;
    const auto mentions = found->get<std::int64_t>();
    const bool fits = mentions >= 0 && mentions <= std::numeric_limits<int>::max();
    return fits ? static_cast<int>(mentions) : otherwise;
}

std::optional<Item> decodeItem(const json& record) {
    if (!record.is_object() || textOf(record, "id").empty())
        return std::nullopt;
    Item item;
    item.id = textOf(record, "id");
    item.category = textOf(record, "category");
    item.title = textOf(record, "title");
    item.takeaway = textOf(record, "takeaway");
    item.notes = decodedList(record, "notes", decodeText);
    item.examples = decodedList(record, "examples", decodeExample);
    item.superseded = decodedList(record, "superseded", decodeSuperseded);
    const auto seen = item.examples.empty() ? Calendar::UnixTime() : item.examples.back().date;
    item.lastSeen = timeOf(record, "lastSeen").value_or(seen);
    item.firstSeen = timeOf(record, "firstSeen").value_or(item.lastSeen);
    item.mentions = decodeMentions(record, static_cast<int>(item.examples.size()));
    return item;
}

json encode(const Category& category) {
    return {{"id", category.id}, {"name", category.name}, {"about", category.about}};
}

std::optional<Category> decodeCategory(const json& record) {
    if (!record.is_object() || textOf(record, "id").empty())
        return std::nullopt;
    Category category{textOf(record, "id"), textOf(record, "name"), textOf(record, "about")};
    if (category.name.empty())
        category.name = category.id;
    return category;
}

/// The first element by each id.
template <class Element>
void dropRepeatedIds(std::vector<Element>& list) {
    std::unordered_set<std::string> seen;
    std::erase_if(list, [&](const Element& element) { return !seen.insert(element.id).second; });
}

/// The built-in ones in their order, as the file has them, and then its own.
std::vector<Category> withBuiltIns(std::vector<Category> stored) {
    auto categories = builtInCategories();
    categories.insert(categories.end(), std::move_iterator(stored.begin()),
                      std::move_iterator(stored.end()));
    const auto builtIn = builtInCategories().size();
    for (std::size_t i = builtIn; i < categories.size(); ++i) {
        for (std::size_t own = 0; own < builtIn; ++own) {
            if (categories[own].id == categories[i].id)
                categories[own] = categories[i];
        }
    }
    dropRepeatedIds(categories);
    return categories;
}

/// Gives items whose category is lost a page to stand on.
void restoreLostCategories(Store& store) {
    std::unordered_set<std::string> known;
    for (const auto& category : store.categories)
        known.insert(category.id);
    for (auto& item : store.items) {
        if (item.category.empty())
            item.category = builtInCategories().back().id;
        if (known.insert(item.category).second)
            store.categories.push_back({item.category, item.category, ""});
    }
}

}  // namespace

json encode(const Store& store) {
    return {{"version", store.version},
            {"categories", encodedList(store.categories, encode)},
            {"items", encodedList(store.items, encode)}};
}

std::string encodedText(const Store& store) {
    constexpr auto replaceInvalid = json::error_handler_t::replace;
    const auto categories = encodedList(store.categories, encode);
    auto text = R"({"version": )" + std::to_string(store.version) +
                ",\n\"categories\": " + categories.dump(-1, ' ', false, replaceInvalid) +
                ",\n\"items\": [";
    std::string_view gap = "\n";
    for (const auto& item : store.items) {
        text += gap;
        text += encode(item).dump(-1, ' ', false, replaceInvalid);
        gap = ",\n";
    }
    return text + "]}";
}

std::optional<Store> decodeStore(const json& record) {
    if (!record.is_object())
        return std::nullopt;
    Store store;
    auto categories = decodedList(record, "categories", decodeCategory);
    dropRepeatedIds(categories);
    store.categories = withBuiltIns(std::move(categories));
    store.items = decodedList(record, "items", decodeItem);
    dropRepeatedIds(store.items);
    restoreLostCategories(store);
    return store;
}

}  // namespace quillet::Knowledge
