#include <sys/stat.h>

#include "Tools.h"
#include "base/text/CaselessWord.h"
#include "base/text/Text.h"
#include "mcp/ToolTime.h"
#include "memory/KnowledgeData.h"

#include <random>

namespace quillet::world {
namespace {

using nlohmann::json;

TEST_F(Tools, ReadMeetingNotesOfTheirFolderOnly) {
    EXPECT_EQ(text("list_meetings"), "[]");
    write("secret.md", "Nobody's business");
    write("meetings/2026-01-05 09.00 Old.md", "# Old\nThe BUDGET: agreed.\n");
    write("meetings/2026-02-05 09.00 New.md", "# New\nno budget\nnothing\nÄRGER um das Budget");
    std::filesystem::create_symlink("../secret.md", night.file("meetings/2026 Link.md"));
    ASSERT_EQ(::mkfifo(night.file("meetings/2026 Pipe.md").c_str(), 0600), 0);

    const auto notes = ask("list_meetings");
    ASSERT_EQ(notes.size(), 2);
    EXPECT_EQ(notes[0]["name"], "2026-02-05 09.00 New.md");
    EXPECT_TRUE(timeOfIso(notes[0]["modified"].get<std::string>()));
    EXPECT_EQ(ask("list_meetings", {{"limit", 0}}).size(), 1);
    EXPECT_EQ(text("read_meeting", {{"name", notes[1]["name"]}}), "# Old\nThe BUDGET: agreed.\n");
    for (const std::string name :
         {"", "..", "../secret.md", "2026 Link.md", "2026 Pipe.md", "no.md"})
        EXPECT_EQ(refusal("read_meeting", {{"name", name}}),
                  "No meeting note by that name — see list_meetings");
    EXPECT_TRUE(
        call("read_meeting", {{"name", std::string("2026-01-05 09.00 Old.md\0", 24)}}).isError);

    EXPECT_EQ(refusal("search_meetings", {{"query", " \u3000"}}), "Give a query");
    EXPECT_EQ(refusal("search_meetings"), "Give a query");
    EXPECT_EQ(ask("search_meetings", {{"query", "budget"}}),
              (json{{{"name", "2026-02-05 09.00 New.md"},
                     {"lines", {"no budget", "ÄRGER um das Budget"}}},
                    {{"name", "2026-01-05 09.00 Old.md"}, {"lines", {"The BUDGET: agreed."}}}}));
    EXPECT_EQ(ask("search_meetings", {{"query", "ärger"}}).size(), 1);
}

class Memory : public Tools {
protected:
    void knows(std::vector<Knowledge::Item> items) {
        KnowledgeKeeper::State state;
        state.store.items = std::move(items);
        state.report = "1 new item";
        write("knowledge.json", encodedText(state));
    }
    std::string said(const std::string& heard, const std::string& sent, EntryKind kind = {}) {
        world.pass(1s);
        SessionStore::NewEntry entry;
        entry.timestamp = world.calendar.now();
        entry.rawText = heard;
        entry.finalText = sent;
        entry.kind = kind;
        const bool isLive = kind == EntryKind::live;
        return world
            .await(world.store->log(std::move(entry),
                                    isLive ? "org.example.pad" : "org.example.mail",
                                    isLive ? "Écritoire" : "Mail"))
            .value_or("");
    }
    std::vector<std::string> found(const std::string& query, json arguments = json::object()) {
        arguments["query"] = query;
        return ids(ask("search_memory", arguments));
    }
};

TEST_F(Memory, IsSearchedWholeAndNewestFirst) {
    // The virtual clock begins in June 2025; the knowledge is from 1970.
    const std::string note = "2025-06-10 10.00 Prices.md";
    write("meetings/" + note, "# Prices\nÜber das Angebot: zehn Prozent.\n");
    knows({known("K1", "sales", "Angebote", "Zehn Prozent sind das Ende.")});
    const auto mail = said("zehn prozent", "Zehn Prozent, Über alles. 我们明天去上海开会");
    const auto live = said("ÜBER PROZENT", "zehn", EntryKind::live);
    EXPECT_EQ(found("zehn PROZENT"), (std::vector<std::string>{live, mail, note, "K1"}));
    EXPECT_EQ(found("über zehn"), (std::vector<std::string>{live, mail, note}))
        << "heard and written count together";
    EXPECT_EQ(found("zehn", {{"limit", 2}}), (std::vector<std::string>{live, mail}));
    EXPECT_EQ(found("上海开会"), (std::vector{mail}));
    EXPECT_EQ(found("100% _"), (std::vector<std::string>{}));

    EXPECT_EQ(found("zehn", {{"kinds", {"meeting"}}}), (std::vector{note}));
    EXPECT_EQ(found("zehn", {{"kinds", {"live", "knowledge"}}}),
              (std::vector<std::string>{live, "K1"}));
    EXPECT_EQ(found("zehn", {{"app", "écritoire"}, {"kinds", {"live", "dictation"}}}),
              (std::vector{live}));
    EXPECT_EQ(found("zehn", {{"app", "ORG.example.MAIL"}, {"kinds", {"dictation"}}}),
              (std::vector{mail}));
    const auto time = ask("search_memory", {{"query", "zehn"}})[1]["time"];
    EXPECT_EQ(found("zehn", {{"since", time}}), (std::vector{live}));
    EXPECT_EQ(found("zehn", {{"until", time}}), (std::vector<std::string>{note, "K1"}));

    EXPECT_EQ(refusal("search_memory"), "Give a query");
    EXPECT_EQ(refusal("search_memory", {{"query", " \n"}}), "Give a query");
    EXPECT_TRUE(call("search_memory", {{"query", std::string(2'000, 'x')}}).isError);
}

TEST_F(Memory, ShowsWhatStandsAroundAMatch) {
    auto item = known("K1", "sales", "Discounts", "Ten is the most.");
    item.examples = {{"ten for Anna", at(2e9), "Chat", "org.chat"},
                     {"as she said", at(1e9), "Notes", "org.notes"},
                     {"on the phone", at(3e9), "Phone", std::nullopt}};
    item.lastSeen = at(2e9);
    knows({item});
    write("meetings/2025-06-10 10.00 Prices.md",
          "# Prices\n" + std::string(300, 'a') + "\n\nthe discount\n" + std::string(300, 'b'));
    const auto hits = ask("search_memory", {{"query", "discount"}});
    ASSERT_EQ(hits.size(), 2);
    EXPECT_EQ(hits[0], (json{{"kind", "knowledge"},
                             {"id", "K1"},
                             {"time", "2033-05-18T03:33:20.000Z"},
                             {"app", "Chat"},
                             {"title", "Discounts"},
                             {"snippet",
                              "Discounts Ten is the most. ten for Anna as she said on the "
                              "phone"}}));
    EXPECT_EQ(hits[1]["title"], "Prices");
    EXPECT_EQ(hits[1]["app"], "");
    EXPECT_EQ(hits[1]["snippet"],
              "…" + std::string(74, 'a') + " the discount " + std::string(79, 'b') + "…");
    EXPECT_EQ(
        ask("search_memory", {{"query", "discount"}, {"app", "notes"}, {"kinds", {"knowledge"}}})
            .at(0)["app"],
        "Notes");
    EXPECT_EQ(found("discount", {{"app", "phone"}, {"kinds", {"knowledge"}}}).size(), 0);
}

TEST_F(Memory, OfKnowledgeIsReadByCategoryAndItem) {
    std::vector<Knowledge::Item> items;
    for (int i = 1; i <= 7; ++i) {
        items.push_back(
            known("K" + std::to_string(i), "clients", "Client " + std::to_string(i), "x"));
        items.back().lastSeen = at(1'000.0 * i);
    }
    knows(std::move(items));
    const auto list = ask("list_knowledge");
    EXPECT_EQ(list["report"], "1 new item");
    ASSERT_EQ(list["categories"].size(), Knowledge::builtInCategories().size());
    EXPECT_EQ(list["categories"][0]["items"], 0);
    const auto& clients = list["categories"][1];
    EXPECT_EQ(clients["name"], "Clients & people");
    EXPECT_EQ(clients["items"], 7);
    EXPECT_EQ(clients["recent"],
              (json{"Client 7", "Client 6", "Client 5", "Client 4", "Client 3"}));

    const auto page = text("read_knowledge", {{"category", "clients & PEOPLE"}});
    EXPECT_TRUE(page.starts_with("# Clients & people\n")) << page;
    EXPECT_TRUE(page.contains("- K3: Client 3\n")) << page;
    EXPECT_TRUE(text("read_knowledge", {{"id", "K2"}}).starts_with("# Client 2\n"));
    EXPECT_EQ(refusal("read_knowledge", {{"id", ""}}),
              "Give a category (id or name) or an item id — see list_knowledge");
    EXPECT_TRUE(refusal("read_knowledge", {{"id", "K9"}}).starts_with("No such item"));
    EXPECT_TRUE(refusal("read_knowledge", {{"category", "x"}}).starts_with("No such category"));
}

TEST(CaselessWord, IsFoundInAnyCaseAndScript) {
    const auto place = [](std::string_view word, std::string_view text) {
        const auto found = CaselessWord(word).findIn(text);
        return found ? std::pair(int(found->begin), int(found->end)) : std::pair(-1, -1);
    };
    EXPECT_EQ(place("wort", "Das WORT"), std::pair(4, 8));
    EXPECT_EQ(place("ПРИВЕТ", "ну, привет"), std::pair(6, 18));
    EXPECT_EQ(place("größe", "GRÖẞE"), std::pair(0, 8)) << "its letters take more bytes there";
    EXPECT_EQ(place("aab", "aaab"), std::pair(1, 4));
    EXPECT_EQ(place("开会", "明天开会"), std::pair(6, 12));
    EXPECT_EQ(place("", "x"), std::pair(-1, -1));
    EXPECT_EQ(place("xy", "x"), std::pair(-1, -1));
    // Of text that is written with plain letters, folding all of it says the same.
    std::mt19937 random(5);
    std::uniform_int_distribution<std::size_t> letters(0, 9);
    const auto some = [&](std::size_t size) {
        std::string text;
        while (text.size() < size)
            text += std::array{
                "a", "A", "é", "É", "\xff", "会", "k", "\u212a", "1", "\xe4\xbc"}[letters(random)];
        return text;
    };
    for (int i = 0; i < 5'000; ++i) {
        const auto text = withValidUtf8(some(12));
        const auto word = withValidUtf8(some(1 + static_cast<std::size_t>(i) % 4));
        EXPECT_EQ(CaselessWord(word).isIn(text), caseFolded(text).contains(caseFolded(word)))
            << word << " in " << text;
        (void)CaselessWord(some(3)).isIn(some(9));
    }
}

}  // namespace
}  // namespace quillet::world
