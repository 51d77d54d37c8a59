#include "memory/KnowledgeDistiller.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <random>
#include <set>

#include "base/text/Text.h"
#include "memory/KnowledgeData.h"
#include "world/FixedCalendar.h"
#include "world/JsonData.h"

namespace quillet::KnowledgeDistiller {
namespace {

using Knowledge::Store;
using nlohmann::json;

Source part(int number, int total, double modified = 9) {
    auto source = said("text");
    source.origin = FromMeeting{"note.md", at(modified), number, total};
    return source;
}

Op opOn(std::string item, Op::Kind kind = Op::Kind::enrich) {
    Op op;
    op.kind = kind;
    op.item = std::move(item);
    op.entry = 1;
    op.confidence = 1;
    return op;
}

std::string instructions(const Store& store, const std::vector<Source>& sources) {
    const world::FixedCalendar calendar({}, std::chrono::hours(8));
    return request("m", store, sources, calendar, at(0)).at("messages").at(0).at("content");
}

TEST(KnowledgeRequest, IsWrittenToTheByte) {
    Store store;
    store.categories.resize(1);
    store.items = {known("A", "sales", "折扣 \"ten\"", "Ten\npercent.")};
    auto live = said("一行\n\"and\" another", 1'760'313'600);
    live.kind = "live";
    auto meeting = part(2, 3);
    meeting.kind = "meeting";
    meeting.label = "note.md";
    meeting.text = "broken \xFF byte";
    const world::FixedCalendar calendar({}, std::chrono::hours(8));
    const auto body =
        request("model-x", store, std::vector{live, meeting}, calendar, at(1'760'371'200));
    EXPECT_EQ(body, world::jsonData("memory/golden/knowledge.json"));
}

TEST(KnowledgeRequest, ShowsTheItemsNearestToItsEntriesAndThenTheLatest) {
    Store store;
    for (int i = 0; i < 1'000; ++i) {
        const auto number = std::to_string(i);
        store.items.push_back(
            known("ID" + number + ".", "sales", "客户 plan " + number, "约好见面"));
        store.items.back().lastSeen = at(i);
    }
    store.items[3].takeaway = "Miller gets discounts.";
    store.items[4].notes = {"Miller"};
    store.items[5].title = "整托盘的价格";
    const auto text = instructions(store, {said("the discount for the plan"), said("每个托盘")});
    const auto shows = [&](int item) {
        return text.contains("\"ID" + std::to_string(item) + ".\"");
    };
    EXPECT_TRUE(shows(3));
    EXPECT_TRUE(shows(5));
    EXPECT_FALSE(shows(4));
    EXPECT_LT(text.find("\"ID3.\""), text.find("\"ID999.\""));
    EXPECT_TRUE(shows(1'000 - static_cast<int>(mostKnownItems) + 2));
    EXPECT_FALSE(shows(1'000 - static_cast<int>(mostKnownItems) + 1));
}

TEST(KnowledgeRequest, TakesAsManyEntriesAsFit) {
    const std::vector<Source> many(50, said("short"));
    EXPECT_EQ(batchSize(many), 40);
    std::vector<Source> large(3, said(std::string(8'000, 'x')));
    EXPECT_EQ(batchSize(large), 2);
    large[0].text += "字";
    EXPECT_EQ(batchSize(large), 1);
    large[0].text = std::string(20'000, 'x');
    EXPECT_EQ(batchSize(large), 1);
    EXPECT_EQ(batchSize({}), 0);
}

TEST(KnowledgeRequest, OffersNotesInPartsThatLoseNothing) {
    std::string note = "# Title\n";
    while (characterCount(note) < 9'000)
        note += "一行 line " + std::to_string(note.size()) + "\n";
    note += std::string(5'000, 'y') + "\xFF";
    const auto parts = partsOf(note);
    std::string joined;
    for (const auto& one : parts) {
        EXPECT_LE(characterCount(one), mostCharactersInPart);
        joined += one;
    }
    EXPECT_EQ(joined, note);
    EXPECT_TRUE(parts[0].ends_with("\n") && parts[1].ends_with("\n"));
    EXPECT_EQ(partsOf("short\n").size(), 1);
    EXPECT_TRUE(partsOf(" \n ").empty());
}

TEST(KnowledgeCursor, AdvancesOverWhatWasRead) {
    Cursor cursor;
    auto phone = said("x", 30);
    phone.origin = FromPhone{};
    KnowledgeDistiller::advance(
        cursor, std::vector{said("x", 20), said("x", 10), phone, part(1, 3), part(2, 3)});
    EXPECT_EQ(cursor.readUpTo, at(20));
    EXPECT_EQ(cursor.phoneReadUpTo, at(30));
    EXPECT_EQ(cursor.meetingParts.at("note.md").read, 2);
    EXPECT_TRUE(cursor.meetings.empty());
    // It changed, and is read again from its begin.
    KnowledgeDistiller::advance(cursor, std::vector{part(1, 4, 12)});
    EXPECT_EQ(cursor.meetingParts.at("note.md").read, 1);
    EXPECT_EQ(encode(decodeCursor(json::parse(encode(cursor).dump()))), encode(cursor));
    KnowledgeDistiller::advance(cursor, std::vector{part(4, 4, 12), said("x", 5)});
    EXPECT_EQ(cursor.meetings.at("note.md"), at(12));
    EXPECT_TRUE(cursor.meetingParts.empty());
    EXPECT_EQ(cursor.readUpTo, at(20));
    KnowledgeDistiller::advance(cursor, std::vector{part(1, 2, 15)});
    EXPECT_EQ(cursor.meetings.at("note.md"), at(12));
    EXPECT_EQ(encode(decodeCursor(json::parse(encode(cursor).dump()))), encode(cursor));
}

TEST(KnowledgeCursor, IsReadAsFarAsItCanBe) {
    const auto cursor = decodeCursor(json::parse(R"({
        "readUpTo": "now", "phoneReadUpTo": 5,
        "meetings": {"a": 1, "b": null, "c": 1e300},
        "meetingParts": {"a": 1, "b": {"modified": 2, "read": 0}, "c": {"read": 1},
                         "d": {"modified": 2, "read": 3}}})"));
    EXPECT_EQ(encode(cursor), json::parse(R"({"phoneReadUpTo": 5.0, "meetings": {"a": 1.0},
        "meetingParts": {"d": {"modified": 2.0, "read": 3}}})"));
    EXPECT_EQ(encode(decodeCursor(json::parse("[1]"))), encode(Cursor{}));
    Cursor odd;
    odd.meetings["\xFF.md"] = at(1);
    EXPECT_NO_THROW((void)encode(odd).dump());
}

TEST(KnowledgeApply, ItemsFollowTheirExamples) {
    Store store;
    store.items = {known("A", "sales", "Miller discount", "Ten percent.")};
    auto phone = said("Miller pays late", 100);
    phone.bundleID = std::nullopt;
    phone.label = "Phone\xFF";
    const std::vector<Source> sources = {said("Miller wants fifteen percent", 900'000), phone};
    Op op = opOn("A", Op::Kind::revise);
    op.takeaway = " Fifteen\npercent. ";
    op.reason = "They asked.";
    op.quote = " Miller wants fifteen percent ";
    op.confidence = 0.7;
    Op late = opOn("A");
    late.quote = "Miller pays late";
    late.entry = 2;
    Op sharper = late;
    sharper.takeaway = "Fifteen percent, in advance.";
    const auto applied = apply(store, std::vector{op, late, late, sharper}, sources, countedIds());
    EXPECT_EQ(applied.revised, 1);
    EXPECT_EQ(applied.enriched, 2);
    EXPECT_EQ(applied.leftOut, 0);
    const auto& item = store.items.front();
    EXPECT_EQ(contentOf(item), json::parse(R"({"takeaway": "Fifteen percent, in advance.",
        "notes": [], "quotes": ["as it was said", "Miller wants fifteen percent",
        "Miller pays late"], "superseded": ["Ten percent. | They asked."]})"));
    EXPECT_EQ(item.superseded.front().until, at(900'000));
    EXPECT_EQ(item.examples[1].bundleID, "org.chat");
    EXPECT_EQ(item.examples[2].source, "Phone\uFFFD");
    EXPECT_EQ(item.firstSeen, at(100));
    EXPECT_EQ(item.lastSeen, at(900'000));
    EXPECT_EQ(item.mentions, 3);
    // The same once more changes nothing.
    const auto before = Knowledge::encode(store);
    const auto again = apply(store, std::vector{late, sharper}, sources, countedIds());
    EXPECT_EQ(again.enriched + again.leftOut, 0);
    EXPECT_EQ(Knowledge::encode(store), before);
    // What was said twice does not turn back what was said between.
    auto other = op;
    other.takeaway = "Twenty percent.";
    (void)apply(store, std::vector{op, other, op}, sources, countedIds());
    EXPECT_EQ(store.items.front().takeaway, "Twenty percent.");
    op.confidence = 0.69;
    EXPECT_EQ(apply(store, std::vector{op}, sources, countedIds()).leftOut, 1);
}

TEST(KnowledgeApply, AnEntryChangesOnlyWhatItSpeaksOf) {
    const std::tuple<const char*, const char*, bool> cases[] = {
        {"the discounts are over", "Miller discount", true},
        {"we set every item to nothing", "Every item that we set", false},
        {"米勒要折扣", "米勒的折扣", true},
        {"我们要把这个改成新的", "我们的这个新要求", false},
        {"The MILLERS called", "ask miller", true},
        {"they rather pay late", "who pays first", true},
        {"it is 42", "42 reasons", false},
    };
    for (const auto& [text, title, changes] : cases) {
        Store store;
        store.items = {known("A", "sales", title, "?", "-")};
        Op op = opOn("A");
        op.note = "note";
        op.quote = text;
        const auto applied = apply(store, std::vector{op}, std::vector{said(text)}, countedIds());
        EXPECT_EQ(applied.enriched == 1, changes) << text;
    }
    // A word that most items share tells nothing, nor does what was said far from the quote.
    Store store;
    for (int i = 0; i < 100; ++i)
        store.items.push_back(known("I" + std::to_string(i) + "#", "sales",
                                    i == 7 ? "clinic fence" : "clinic", "?", "-"));
    const auto text = "the clinic, the fence " + std::string(2'000, '.') + " and so on, clinic";
    Op far = opOn("I7#");
    far.quote = "and so on";
    auto near = far;
    near.quote = "the clinic";
    EXPECT_EQ(apply(store, std::vector{far}, std::vector{said(text)}, countedIds()).leftOut, 1);
    EXPECT_EQ(apply(store, std::vector{near}, std::vector{said(text)}, countedIds()).enriched, 1);
}

/// Operations of every kind, most of them with something wrong.
class RandomOps {
public:
    explicit RandomOps(unsigned seed) : random_(seed) {}

    template <class Choices>
    auto pick(const Choices& choices) {
        return choices[random_() % std::size(choices)];
    }
    Op op() {
        static const std::vector<std::string> quotes = {"Miller",   "price of", "fence", "托盘",
                                                        "价格",     "x",        "",      " fence ",
                                                        "not said", "ITEM-ID1"};
        static const std::vector<std::string> texts = {"", "one", "two\nlines", "三", "Miller"};
        Op op;
        op.kind =
            pick(std::vector{Op::Kind::add, Op::Kind::enrich, Op::Kind::revise, Op::Kind::skip});
        op.item = "ITEM-ID" + std::to_string(random_() % 7);
        op.category = pick(std::vector<std::string>{"sales", "ideas", "new", "nowhere"});
        op.newName = pick(texts);
        op.title = pick(std::vector<std::string>{"", "Miller", "fence", "托盘", "other"});
        op.takeaway = pick(texts);
        op.note = pick(texts);
        op.reason = pick(texts);
        op.quote = pick(quotes);
        op.entry = static_cast<int>(random_() % 6);
        op.confidence = pick(std::vector{0.69, 0.7, 0.9, 1.0, 1.1});
        return op;
    }

private:
    std::mt19937 random_;
};

TEST(KnowledgeApplyLaw, NothingChangesThatNoQuoteBearsOut) {
    const std::vector<Source> sources = {
        said("Miller asks for the price of a fence", 10), said("整托盘的价格，托盘要退", 20),
        said("x and the fence", 30), said("ITEM-ID1 has the price of Miller's fence", 40)};
    Store start;
    for (const auto* title : {"Miller", "fence", "托盘", "价格", "other", "price"})
        start.items.push_back(
            known("ITEM-ID" + std::to_string(start.items.size()), "sales", title, "t"));
    RandomOps random(1);
    int changes = 0;
    for (int run = 0; run < 1'500; ++run) {
        std::vector<Op> ops(10);
        std::ranges::generate(ops, [&] { return random.op(); });
        auto store = start;
        const auto applied = apply(store, ops, sources, countedIds());
        std::set<std::string> named;
        for (const auto& op : ops) {
            const auto quote = trimmed(op.quote);
            const bool borneOut =
                op.confidence >= 0.7 && op.confidence <= 1 && op.entry >= 1 && op.entry <= 3 &&
                quote.size() >= 2 &&
                sources[static_cast<std::size_t>(op.entry - 1)].text.contains(quote);
            if (borneOut)
                named.insert(op.kind == Op::Kind::add ? op.title : op.item);
        }
        const auto before = Knowledge::encode(start)["items"];
        const auto after = Knowledge::encode(store)["items"];
        for (std::size_t i = 0; i < after.size(); ++i) {
            if (i < before.size() && after[i] == before[i])
                continue;
            ++changes;
            EXPECT_TRUE(named.contains(store.items[i].id) || named.contains(store.items[i].title))
                << after[i];
        }
        EXPECT_EQ(static_cast<int>(after.size() - before.size()), applied.added);
        EXPECT_LE(applied.addedCategories.size(), 2);
    }
    EXPECT_GT(changes, 200) << "the operations must be good for something";
}

}  // namespace
}  // namespace quillet::KnowledgeDistiller
