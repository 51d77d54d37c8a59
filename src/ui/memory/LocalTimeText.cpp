#include "ui/memory/LocalTimeText.h"

#include <QDateTime>
#include <QLocale>

namespace quillet {

namespace {

QDateTime local(Calendar::UnixTime time, const Calendar& calendar) {
    // Shifted to local time already, so that Qt must not shift it again.
    const auto seconds = calendar.local(time).time_since_epoch().count();
    return QDateTime::fromSecsSinceEpoch(seconds, Qt::UTC);
}

}  // namespace

QString dayText(Calendar::UnixTime time, const Calendar& calendar) {
    return QLocale().toString(local(time, calendar).date(), QLocale::LongFormat);
}

QString dayAndTimeText(Calendar::UnixTime time, const Calendar& calendar) {
    const auto when = local(time, calendar);
    return QLocale().toString(when.date(), QLocale::ShortFormat) + QLatin1Char(' ') +
           QLocale().toString(when.time(), QLocale::ShortFormat);
}

}  // namespace quillet
