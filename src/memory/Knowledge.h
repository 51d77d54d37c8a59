#pragma once

#include <nlohmann/json_fwd.hpp>
#include <optional>
#include <span>
#include <string>
#include <string_view>
#include <vector>

#include "base/text/CaselessWord.h"
#include "platform/Calendar.h"

/// What the user said that is worth keeping, filed by category.
namespace quillet::Knowledge {

/// A text that bears an item out.
struct Example {
    std::string quote;  ///< verbatim from what was said
    Calendar::UnixTime date;
    std::string source;  ///< where it came from, for people
    std::optional<std::string> bundleID;
};

/// An earlier conclusion that a later one replaced.
struct Superseded {
    std::string takeaway;
    Calendar::UnixTime until;
    std::string reason;
};

struct Item {
    std::string id;
    std::string category;  ///< a category's id
    std::string title;
    std::string takeaway;
    std::vector<std::string> notes;
    std::vector<Example> examples;
    std::vector<Superseded> superseded;
    Calendar::UnixTime firstSeen;
    Calendar::UnixTime lastSeen;
    int mentions = 0;
};

struct Category {
    std::string id;
    std::string name;
    std::string about;
};

/// The categories that every store begins with, in their order.
[[nodiscard]] const std::vector<Category>& builtInCategories();

struct Store {
    static constexpr int currentVersion = 1;
    int version = currentVersion;
    std::vector<Category> categories = builtInCategories();
    std::vector<Item> items;

    [[nodiscard]] const Item* item(std::string_view id) const;
    /// By id or by name, in any case.
    [[nodiscard]] const Category* category(std::string_view idOrName) const;
};

[[nodiscard]] nlohmann::json encode(const Store& store);
/// The same as text, made item by item: a large base is not held a second time meanwhile.
[[nodiscard]] std::string encodedText(const Store& store);
/// None unless the value is an object. Takes files of older versions; whatever can be read of a
/// list is kept. Categories that are built in and missing are put back, and so is, under its id,
/// one that items are filed under.
[[nodiscard]] std::optional<Store> decodeStore(const nlohmann::json& record);

/// A category as a page: each item's takeaway, its dated quotes, notes and earlier conclusions.
[[nodiscard]] std::string markdown(const Store& store, const Category& category,
                                   const Calendar& calendar);
/// One item as a page.
[[nodiscard]] std::string markdown(const Item& item, const Calendar& calendar);

/// Everything of an item that a search looks through.
[[nodiscard]] std::string searchedText(const Item& item);
/// Items that hold every word; the one seen last first. None where there are no words.
[[nodiscard]] std::vector<const Item*> search(const Store& store,
                                              std::span<const CaselessWord> words);

}  // namespace quillet::Knowledge
