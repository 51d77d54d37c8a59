#include <fmt/chrono.h>
#include <fmt/format.h>

#include <algorithm>

#include "memory/Knowledge.h"
#include "memory/TextForms.h"

namespace quillet::Knowledge {

namespace {

/// Longer than anything that is filed.
constexpr std::size_t mostCharactersOfLine = 4'000;

bool isMarkedNumber(std::string_view line) {
    const auto digits = line.find_first_not_of("0123456789");
    return digits != 0 && digits != std::string_view::npos &&
           (line[digits] == '.' || line[digits] == ')');
}

/// A text as one line of plain words: what would make it a heading, a list, a quote or a block is
/// escaped.
std::string plainLine(std::string_view text) {
    constexpr std::string_view marks = "#>-*+=~`|<_[\\";
    auto line = oneLine(text, mostCharactersOfLine);
    if (!line.empty() && marks.contains(line.front()))
        line.insert(0, 1, '\\');
    else if (isMarkedNumber(line))
        line.insert(line.find_first_of(".)"), 1, '\\');
    return line;
}

std::string day(Calendar::UnixTime time, const Calendar& calendar) {
    const auto local = calendar.local(time).time_since_epoch();
    return fmt::format("{:%Y-%m-%d}", fmt::gmtime(std::chrono::sys_seconds(local)));
}

void appendItem(std::string& page, std::string_view heading, const Item& item,
                const Calendar& calendar) {
    page += fmt::format("{} {}\n\n{}\n", heading, plainLine(item.title), plainLine(item.takeaway));
    for (const auto& example : item.examples) {
        page +=
            fmt::format("\n> {}\n> — {}", plainLine(example.quote), day(example.date, calendar));
        if (const auto source = oneLine(example.source, mostCharactersOfLine); !source.empty())
            page += ", " + source;
        page += '\n';
    }
    if (!item.notes.empty())
        page += '\n';
    for (const auto& note : item.notes)
        page += fmt::format("- {}\n", plainLine(note));
    for (const auto& earlier : item.superseded) {
        page += fmt::format("\nEarlier: {} (until {}", plainLine(earlier.takeaway),
                            day(earlier.until, calendar));
        const auto reason = oneLine(earlier.reason, mostCharactersOfLine);
        page += reason.empty() ? ")\n" : fmt::format(": {})\n", reason);
    }
}

}  // namespace

std::string markdown(const Store& store, const Category& category, const Calendar& calendar) {
    auto page = fmt::format("# {}\n\n{}\n", plainLine(category.name), plainLine(category.about));
    std::vector<const Item*> items;
    for (const auto& item : store.items) {
        if (item.category == category.id)
            items.push_back(&item);
    }
    std::ranges::sort(items, [](const Item* a, const Item* b) {
        // In their order in the store where they were seen at the same time.
        return a->lastSeen != b->lastSeen ? a->lastSeen > b->lastSeen : a < b;
    });
    for (const auto* item : items) {
        page += '\n';
        appendItem(page, "##", *item, calendar);
    }
    return page;
}

std::string markdown(const Item& item, const Calendar& calendar) {
    std::string page;
    appendItem(page, "#", item, calendar);
    return page;
}

}  // namespace quillet::Knowledge
