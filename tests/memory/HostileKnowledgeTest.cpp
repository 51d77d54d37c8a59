#include <gtest/gtest.h>

#include <sstream>

#include "base/text/Text.h"
#include "memory/KnowledgeData.h"
#include "refine/JsonReply.h"
#include "world/FixedCalendar.h"
#include "world/JsonData.h"

// What people dictate, and what a model that obeys them replies.
namespace quillet::KnowledgeDistiller {
namespace {

using nlohmann::json;

std::string replaced(std::string text, std::string_view mark, const std::string& by) {
    const auto found = text.find(mark);
    return found == std::string::npos ? text : text.replace(found, mark.size(), by);
}

/// The reply of a case. GIANT and DEEP in it stand for what no file should hold.
std::string replyOf(const json& night) {
    const auto& reply = night.at("reply");
    auto text = reply.is_string() ? reply.get<std::string>() : reply.dump();
    text = replaced(text, "GIANT", std::string(1'000'000, 'x'));
    return replaced(text, "\"DEEP\"", std::string(100'000, '[') + std::string(100'000, ']'));
}

std::vector<Source> sourcesOf(const json& night) {
    std::vector<Source> sources;
    for (const auto& entry : night.at("entries")) {
        sources.push_back(said(textOf(entry, "text"), 1'000'000 + 60.0 * sources.size()));
        if (textOf(entry, "kind") == "meeting")
            sources.back().origin = FromMeeting{"note.md", at(1), 1, 1};
    }
    return sources;
}

Knowledge::Store storeOf(const json& night) {
    Knowledge::Store store;
    for (const auto& item : night.at("known"))
        store.items.push_back(known(textOf(item, "id"), textOf(item, "category"),
                                    textOf(item, "title"), textOf(item, "takeaway")));
    return store;
}

/// The items that changed and those that are new, as the files of cases write them.
json outcome(const Knowledge::Store& before, const Knowledge::Store& after,
             const Applied& applied) {
    json result = {{"changed", json::object()},
                   {"added", json::array()},
                   {"categories", applied.addedCategories},
                   {"leftOut", applied.leftOut}};
    const auto items = Knowledge::encode(before)["items"];
    const auto itemsAfter = Knowledge::encode(after)["items"];
    for (std::size_t i = 0; i < after.items.size(); ++i) {
        const auto& item = after.items[i];
        if (i >= items.size())
            result["added"].push_back(item.category + ": " + item.title + ": " + item.takeaway);
        else if (items[i] != itemsAfter[i])
            result["changed"][item.id] = contentOf(item);
    }
    EXPECT_EQ(after.categories.size(), before.categories.size() + applied.addedCategories.size());
    return result;
}

void expectOneLine(const std::string& text, std::size_t mostCharacters) {
    EXPECT_FALSE(text.contains('\n') || text.contains('\r') || text.contains("\u2028"));
    EXPECT_LE(characterCount(text), mostCharacters);
}

/// Whatever came, the store is one that pages can show and requests can hold.
void expectSound(const Knowledge::Store& store) {
    for (const auto& category : store.categories)
        expectOneLine(category.name, 40);
    for (const auto& item : store.items) {
        expectOneLine(item.title, 120);
        expectOneLine(item.takeaway, 600);
        for (const auto& note : item.notes)
            expectOneLine(note, 400);
        for (const auto& earlier : item.superseded)
            expectOneLine(earlier.reason, 400);
        EXPECT_EQ(static_cast<std::size_t>(item.mentions), item.examples.size());
    }
    for (const auto& category : store.categories) {
        std::istringstream page(Knowledge::markdown(store, category, world::FixedCalendar()));
        int headings = 0;
        for (std::string line; std::getline(page, line);)
            headings += line.starts_with('#') ? 1 : 0;
        EXPECT_EQ(headings,
                  1 + std::ranges::count(store.items, category.id, &Knowledge::Item::category));
    }
}

/// The entries stay entries: the last lines of their section, one line each.
void expectPlainEntries(const Knowledge::Store& store, const std::vector<Source>& sources) {
    const auto body = request("m", store, sources, world::FixedCalendar(), at(0));
    const auto text = body.at("messages").at(0).at("content").get<std::string>();
    const auto section = text.rfind("\n\nEntries:\n");
    ASSERT_NE(section, std::string::npos);
    std::istringstream lines(text.substr(section + 11));
    std::string line;
    for (std::size_t number = 1; number <= sources.size(); ++number) {
        ASSERT_TRUE(std::getline(lines, line));
        const auto prefix = std::to_string(number) + ". ";
        ASSERT_TRUE(line.starts_with(prefix)) << line;
        EXPECT_EQ(textOf(json::parse(line.substr(prefix.size())), "text"),
                  sources[number - 1].text);
    }
    ASSERT_TRUE(std::getline(lines, line));
    EXPECT_EQ(line, "");
}

TEST(HostileKnowledge, ChangesNothingBeyondWhatItsEntryBearsOut) {
    const auto files = world::jsonFiles("memory/hostile/knowledge");
    EXPECT_GE(files.size(), 20);
    for (const auto& file : files) {
        SCOPED_TRACE(file);
        const auto night = world::jsonData(file);
        const auto sources = sourcesOf(night);
        const auto before = storeOf(night);
        expectPlainEntries(before, sources);
        auto after = before;
        json result;
        if (const auto ops = readOps(replyOf(night))) {
            const auto applied = apply(after, *ops, sources, countedIds());
            result = outcome(before, after, applied);
        }
        EXPECT_EQ(result, night.at("outcome"));
        expectSound(after);
    }
}

}  // namespace
}  // namespace quillet::KnowledgeDistiller
