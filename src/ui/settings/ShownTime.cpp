#include "ui/settings/ShownTime.h"

#include <QDateTime>
#include <QLocale>
#include <QTimeZone>

namespace quillet {

QString shownTime(const Calendar& calendar, Calendar::UnixTime time) {
    const auto wall = calendar.local(time).time_since_epoch();
    const auto asUtc = QDateTime::fromSecsSinceEpoch(wall.count(), QTimeZone::utc());
    return QLocale().toString(asUtc.date(), QLocale::ShortFormat) + QLatin1Char(' ') +
           QLocale().toString(asUtc.time(), QLocale::ShortFormat);
}

}  // namespace quillet
