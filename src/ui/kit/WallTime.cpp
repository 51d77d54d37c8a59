#include "ui/kit/WallTime.h"

#include <QLocale>
#include <QTimeZone>
#include <cmath>
#include <limits>

#include "ui/kit/UiText.h"

namespace quillet {

namespace {

Calendar::UnixTime beginningOf(QDate day, const Calendar& calendar) {
    const auto wall = QDateTime(day, QTime(0, 0), Qt::UTC).toSecsSinceEpoch();
    return earliestMoment(calendar, std::chrono::local_seconds(std::chrono::seconds(wall)));
}

}  // namespace

QDateTime wallTime(Calendar::UnixTime time, const Calendar& calendar) {
    const auto wall = calendar.local(time).time_since_epoch();
    return QDateTime::fromSecsSinceEpoch(wall.count(), Qt::UTC);
}

QString clockText(const QDateTime& wall) {
    // Some languages' short form has seconds.
    auto format = QLocale().timeFormat(QLocale::ShortFormat);
    return QLocale().toString(wall.time(), format.remove(QStringLiteral(":ss")));
}

QString dayText(QDate day, QDate today) {
    if (day == today)
        return label("Today");
    if (day == today.addDays(-1))
        return label("Yesterday");
    constexpr int daysAWeek = 7;
    if (day < today && day.daysTo(today) < daysAWeek)
        return QLocale().standaloneDayName(day.dayOfWeek());
    return QLocale().toString(day, QLocale::LongFormat);
}

QString dayAndTimeText(Calendar::UnixTime time, const Calendar& calendar) {
    const auto wall = wallTime(time, calendar);
    return QLocale().toString(wall.date(), QLocale::ShortFormat) + QLatin1Char(' ') +
           QLocale().toString(wall.time(), QLocale::ShortFormat);
}

QString longDayText(Calendar::UnixTime time, const Calendar& calendar) {
    return QLocale().toString(wallTime(time, calendar).date(), QLocale::LongFormat);
}

QString dayAndClockText(const QDateTime& wall, QDate today) {
    return label("{}, {}", toText(dayText(wall.date(), today)), toText(clockText(wall)));
}

DaySpan spanOf(QDate day, const Calendar& calendar) {
    const auto next = beginningOf(day.addDays(1), calendar).time_since_epoch().count();
    const auto last = std::nextafter(next, -std::numeric_limits<double>::infinity());
    return {beginningOf(day, calendar), Calendar::UnixTime(Calendar::UnixTime::duration(last))};
}

}  // namespace quillet
