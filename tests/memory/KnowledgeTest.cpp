#include "memory/Knowledge.h"

#include <gtest/gtest.h>

#include <nlohmann/json.hpp>

#include "memory/KnowledgeData.h"
#include "world/FixedCalendar.h"

namespace quillet::Knowledge {
namespace {

using nlohmann::json;

std::string ids(const std::vector<const Item*>& items) {
    std::string all;
    for (const auto* item : items)
        all += item->id;
    return all;
}

Store fullStore() {
    Store store;
    store.categories.push_back({"GARDEN", "Garden", "What grows."});
    store.items.push_back(known("A", "sales", "Discount", "Ten percent.", "ten percent it is"));
    auto& item = store.items.front();
    item.notes = {"Not in May."};
    item.examples.front().bundleID = "org.chat";
    item.superseded = {{"Five percent.", at(400'000), "They asked for more."}};
    item.mentions = 3;
    item.firstSeen = at(123.25);
    return store;
}

TEST(Knowledge, SurvivesItsFile) {
    const auto record = encode(fullStore());
    const auto decoded = decodeStore(json::parse(record.dump()));
    ASSERT_TRUE(decoded);
    EXPECT_EQ(encode(*decoded), record);
    EXPECT_EQ(record["items"][0]["firstSeen"], 123.25);
    EXPECT_EQ(record["items"][0]["examples"][0]["bundleID"], "org.chat");
}

TEST(Knowledge, KeepsWhatCanBeReadOfADamagedFile) {
    for (const auto* text : {"null", "[]", "7", "\"x\""})
        EXPECT_FALSE(decodeStore(json::parse(text))) << text;
    const auto store = decodeStore(json::parse(R"({
        "version": 0,
        "categories": [7, {"name": "no id"}, {"id": "sales", "name": "Deals", "about": "Mine."},
                       {"id": "own"}, {"id": "own", "name": "again"}],
        "items": [null, {"title": "no id"}, {"id": ""}, {"id": 3},
                  {"id": "A", "category": "lost", "title": 7, "notes": ["n", 1, "m"],
                   "examples": ["x", {"date": 5}, {"quote": "q", "date": 50, "bundleID": 1},
                                {"quote": "r", "date": 1e300}],
                   "superseded": [{}, {"takeaway": "old", "until": "1970"}],
                   "firstSeen": "then", "lastSeen": 70, "mentions": -1},
                  {"id": "A", "title": "again"},
                  {"id": "B", "mentions": 99999999999999}]})"));
    ASSERT_TRUE(store);
    EXPECT_EQ(store->version, Store::currentVersion);
    ASSERT_EQ(store->items.size(), 2);
    const auto& item = store->items.front();
    EXPECT_EQ(item.title, "");
    EXPECT_EQ(contentOf(item), json::parse(R"({"takeaway": "", "notes": ["n", "m"],
                                               "quotes": ["q", "r"], "superseded": ["old | "]})"));
    EXPECT_EQ(item.examples[0].date, at(50));
    EXPECT_EQ(item.examples[0].bundleID, std::nullopt);
    EXPECT_EQ(item.examples[1].date, at(0));
    EXPECT_EQ(item.firstSeen, at(70));
    EXPECT_EQ(item.mentions, 2);
    EXPECT_EQ(store->items[1].mentions, 0);

    // The built-in categories are back, in their places; nothing is filed under none.
    ASSERT_EQ(store->categories.size(), builtInCategories().size() + 2);
    EXPECT_EQ(store->categories[0].about, "Mine.");
    EXPECT_EQ(store->categories[6].id, "ideas");
    EXPECT_EQ(store->categories[7].name, "own");
    EXPECT_EQ(store->categories[8].id, "lost");
    EXPECT_NE(store->category(store->items[1].category), nullptr);
    EXPECT_EQ(encode(Store{}), encode(*decodeStore(json::object())));
}

TEST(Knowledge, FindsCategoriesByIdAndByNameInAnyCase) {
    auto store = fullStore();
    store.categories.push_back({"X", "销售 ＶＩＰ", ""});
    EXPECT_EQ(store.category("sales")->name, "Sales & pricing");
    EXPECT_EQ(store.category("SALES & Pricing ")->id, "sales");
    EXPECT_EQ(store.category("know-how / faq answers")->id, "knowhow");
    EXPECT_EQ(store.category("销售vip")->id, "X");
    EXPECT_EQ(store.category("sale"), nullptr);
}

TEST(Knowledge, FindsItemsThatHoldEveryWord) {
    Store store;
    store.items = {known("A", "sales", "Müller discount", "Ten percent on a pallet.", "ja, zehn"),
                   known("B", "sales", "折扣 policy", "整托盘九折。"),
                   known("C", "sales", "Discount", "Never in May.")};
    store.items[0].notes = {"Asked TWICE"};
    store.items[2].lastSeen = at(900'000);
    const auto found = [&store](std::string_view query) {
        const auto words = queryWords(query);
        return ids(search(store, std::vector<CaselessWord>(words.begin(), words.end())));
    };
    EXPECT_EQ(found("discount"), "CA");
    EXPECT_EQ(found("DISCOUNT　twice\tZEHN\u00a0müller\n"), "A");
    EXPECT_EQ(found("整托盘九折"), "B");
    EXPECT_EQ(found("整托盘 policy"), "B");
    EXPECT_EQ(found("discount may ten"), "");
    EXPECT_EQ(found(" 　"), "");
    EXPECT_EQ(found("\xFF"), "");
}

TEST(Knowledge, IsShownAsAPage) {
    auto store = fullStore();
    auto& item = store.items.front();
    item.title = "1. Discount\n# Forged";
    item.takeaway = "# Ten\r\n\r\n## percent";
    item.examples.push_back({"- it\nis\n\n# so", at(86'400), "Chat\n# of May", std::nullopt});
    item.notes.emplace_back("```");
    store.items.push_back(known("B", "sales", "Later", "It comes first.", "said"));
    store.items.back().lastSeen = at(1'000'000);
    store.items.back().examples.front().source = "";
    store.items.push_back(known("C", "ideas", "Elsewhere", "x"));
    const world::FixedCalendar calendar({}, std::chrono::hours(8));
    EXPECT_EQ(markdown(store, *store.category("sales"), calendar), R"(# Sales & pricing

Selling techniques, pricing, quotes, discounts, objections and how they were handled.

## Later

It comes first.

> said
> — 1970-01-07

## 1\. Discount # Forged

\# Ten ## percent

> ten percent it is
> — 1970-01-07, Chat

> \- it is # so
> — 1970-01-02, Chat # of May

- Not in May.
- \```

Earlier: Five percent. (until 1970-01-05: They asked for more.)
)");
    EXPECT_TRUE(
        markdown(store.items.front(), calendar).starts_with("# 1\\. Discount # Forged\n\n\\# Ten"));
}

}  // namespace
}  // namespace quillet::Knowledge
