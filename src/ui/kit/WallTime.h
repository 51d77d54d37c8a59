#pragma once

#include <QDate>
#include <QDateTime>
#include <QString>

#include "platform/Calendar.h"

/// Times as a user reads them, in the desktop's own notation.
namespace quillet {

/// What a clock on the wall showed.
[[nodiscard]] QDateTime wallTime(Calendar::UnixTime time, const Calendar& calendar);
/// "14:32".
[[nodiscard]] QString clockText(const QDateTime& wall);
/// "Today", "Yesterday", "Friday", and from a week ago on "Friday, 13 November 2026".
[[nodiscard]] QString dayText(QDate day, QDate today);
/// "11/13/26 2:32 PM", as the user's region writes it.
[[nodiscard]] QString dayAndTimeText(Calendar::UnixTime time, const Calendar& calendar);
/// "Friday, 13 November 2026", however long ago.
[[nodiscard]] QString longDayText(Calendar::UnixTime time, const Calendar& calendar);
/// "Today, 14:32".
[[nodiscard]] QString dayAndClockText(const QDateTime& wall, QDate today);

/// The moments at which a day begins and ends.
struct DaySpan {
    Calendar::UnixTime first;
    Calendar::UnixTime last;
};
[[nodiscard]] DaySpan spanOf(QDate day, const Calendar& calendar);

}  // namespace quillet
