#include "ui/memory/MemoryPages.h"

#include <QStringList>
#include <functional>

#include "ui/kit/UiText.h"
#include "ui/kit/WallTime.h"

namespace quillet {

using namespace NightlyReview;

namespace {

QString plain(std::string_view text) {
    return fromText(text).toHtmlEscaped().replace(QLatin1Char('\n'), QStringLiteral("<br>"));
}

QString paragraph(const QString& html) {
    return QStringLiteral("<p>%1</p>").arg(html);
}

QString heading(const QString& text) {
    return QStringLiteral("<h3>%1</h3>").arg(text.toHtmlEscaped());
}

QString small(const QString& html) {
    return QStringLiteral("<small>%1</small>").arg(html);
}

QString list(const QStringList& html) {
    return html.isEmpty()
               ? QString()
               : QStringLiteral("<ul><li>%1</li></ul>").arg(html.join(QStringLiteral("</li><li>")));
}

QString quote(std::string_view text, const QString& origin) {
    return QStringLiteral("<blockquote>%1<br>%2</blockquote>")
        .arg(plain(text), small(origin.toHtmlEscaped()));
}

QString joined(const QString& first, const QString& second) {
    return second.isEmpty() ? first : first + QStringLiteral(" · ") + second;
}

QString changeOf(std::string_view before, std::string_view after) {
    return QStringLiteral("%1 → <b>%2</b>").arg(plain(before), plain(after));
}

QString reasoned(const Suggestion& one) {
    const auto change = changeOf(one.heard, one.written);
    return one.reason.empty() ? change : change + QStringLiteral("<br>") + small(plain(one.reason));
}

QStringList foundOf(const Run& run, const std::function<bool(const Suggestion&)>& wanted) {
    QStringList found;
    for (const auto& one : run.found) {
        if (wanted(one))
            found.append(reasoned(one));
    }
    return found;
}

void addList(QString& page, const QString& title, const QStringList& entries) {
    if (!entries.isEmpty())
        page += heading(title) + list(entries);
}

QString dictation(const TranscriptEntry& entry, const Calendar& calendar) {
    const auto origin =
        joined(dayAndTimeText(entry.timestamp, calendar), fromText(entry.appName.value_or("")));
    auto page =
        QStringLiteral("<p>%1<br>%2").arg(small(origin.toHtmlEscaped()), plain(entry.finalText));
    if (entry.rawText != entry.finalText)
        page += QStringLiteral("<br>") + small(label("Heard: {}", entry.rawText).toHtmlEscaped());
    return page + QStringLiteral("</p>");
}

}  // namespace

QString itemPage(const Knowledge::Item& item, const Calendar& calendar) {
    auto page =
        QStringLiteral("<h2>%1</h2>").arg(plain(item.title)) + paragraph(plain(item.takeaway));
    for (const auto& example : item.examples)
        page += quote(example.quote,
                      joined(longDayText(example.date, calendar), fromText(example.source)));
    QStringList notes;
    for (const auto& note : item.notes)
        notes.append(plain(note));
    addList(page, label("Notes"), notes);
    QStringList earlier;
    for (const auto& one : item.superseded) {
        const auto until = label("until {}", toText(longDayText(one.until, calendar)));
        earlier.append(plain(one.takeaway) + QStringLiteral("<br>") +
                       small(joined(until, fromText(one.reason)).toHtmlEscaped()));
    }
    addList(page, label("Earlier"), earlier);
    return page;
}

QString suggestionPage(const Suggestion& suggestion, std::span<const TranscriptEntry> dictations,
                       const Calendar& calendar) {
    auto page = paragraph(changeOf(suggestion.heard, suggestion.written));
    if (!suggestion.reason.empty())
        page += paragraph(plain(suggestion.reason));
    const auto effect =
        suggestion.kind == Kind::term
            ? label("Accepted, it is written like this from now on, wherever you say it.")
            : label("Accepted, it is noted; what was typed stays as it is.");
    page += paragraph(small(effect.toHtmlEscaped()));
    if (!dictations.empty())
        page += heading(label("Where you said it"));
    for (const auto& entry : dictations)
        page += dictation(entry, calendar);
    return page;
}

QString runPage(const Run& run, const Calendar& calendar) {
    QString page =
        QStringLiteral("<h2>%1</h2>").arg(dayAndTimeText(run.date, calendar).toHtmlEscaped());
    page += paragraph(counted("{} dictation was read.", "{} dictations were read.", run.reviewed));
    if (run.undone)
        page += paragraph(label("This review was undone."));
    if (run.failedParts > 0)
        page += paragraph(
            counted("{} part got no answer.", "{} parts got no answer.", run.failedParts));
    const auto isTerm = [](const Suggestion& one) { return one.kind == Kind::term; };
    addList(page, label("Learned"), foundOf(run, [isTerm](const Suggestion& one) {
                return isTerm(one) && one.status == Status::learned;
            }));
    addList(page, label("Asked about"), foundOf(run, [isTerm](const Suggestion& one) {
                return isTerm(one) && one.status != Status::learned;
            }));
    addList(page, label("Sentences"),
            foundOf(run, [isTerm](const Suggestion& one) { return !isTerm(one); }));
    QStringList removed;
    for (const auto& pair : run.removed)
        removed.append(changeOf(pair.original, pair.corrected));
    addList(page, label("Removed from the vocabulary"), removed);
    if (run.memoryBefore.profile != run.memoryAfter.profile) {
        page += heading(label("Profile before")) + paragraph(plain(run.memoryBefore.profile));
        page += heading(label("Profile after")) + paragraph(plain(run.memoryAfter.profile));
    }
    return page;
}

QString memoryPage(const Memory& memory) {
    auto page = heading(label("Profile")) + paragraph(plain(memory.profile));
    QStringList terms;
    for (const auto& term : memory.terms)
        terms.append(plain(term));
    addList(page, label("Names and terms"), terms);
    return page;
}

}  // namespace quillet
