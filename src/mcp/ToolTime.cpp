#include "mcp/ToolTime.h"

#include <algorithm>
#include <cmath>

namespace quillet {

namespace {

using namespace std::chrono;

/// What calendars show: the years 1 to 9999. Beyond it a stored time is damaged.
constexpr auto earliest = sys_days(year(1) / January / 1);
constexpr auto latest = sys_days(year(9999) / December / 31);

/// Reads a text from its begin to its end. Once something is not there, nothing is.
class Reader {
public:
    explicit Reader(std::string_view text) : rest_(text) {}

    [[nodiscard]] bool isAtEnd() const { return rest_.empty() && !failed_; }
    [[nodiscard]] bool failed() const { return failed_; }

    /// A number of so many digits.
    int number(std::size_t digits) {
        int value = 0;
        for (std::size_t i = 0; i < digits; ++i) {
            failed_ = failed_ || rest_.empty() || rest_.front() < '0' || rest_.front() > '9';
            if (failed_)
                return 0;
            value = value * 10 + (rest_.front() - '0');
            rest_.remove_prefix(1);
        }
        return value;
    }
    /// One of these characters.
    void mark(std::string_view choices) { failed_ = !skip(choices) || failed_; }
    /// The same, if it is there.
    bool skip(std::string_view choices) {
        if (rest_.empty() || !choices.contains(rest_.front()))
            return false;
        rest_.remove_prefix(1);
        return true;
    }
    /// Digits behind a decimal mark, any number of them.
    double fraction() {
        double value = number(1) / 10.0;
        for (double place = 0.01; !rest_.empty() && rest_.front() >= '0' && rest_.front() <= '9';
             place /= 10)
            value += number(1) * place;
        return value;
    }

private:
    std::string_view rest_;
    bool failed_ = false;
};

std::optional<minutes> readOffset(Reader& reader) {
    if (reader.skip("Zz"))
        return minutes(0);
    const int sign = reader.skip("-") ? -1 : 1;
    if (sign > 0)
        reader.mark("+");
    const hours ahead(reader.number(2));
    minutes more(0);
    if (reader.skip(":") || !reader.isAtEnd())
        more = minutes(reader.number(2));
    if (reader.failed() || ahead >= days(1) || more >= hours(1))
        return std::nullopt;
    return sign * (ahead + more);
}

/// Appends a number with zeros in front, from this place on, and a mark. Every entry shows a time,
/// and a general format takes four times as long.
void appendPadded(std::string& text, unsigned number, unsigned firstPlace, char mark) {
    for (unsigned place = firstPlace; place > 0; place /= 10)
        text += static_cast<char>('0' + number / place % 10);
    text += mark;
}

}  // namespace

std::string isoText(Calendar::UnixTime time) {
    const auto shown = std::clamp<Calendar::UnixTime>(time, earliest, latest);
    const auto moment = floor<milliseconds>(shown);
    const auto midnight = floor<days>(moment);
    const year_month_day date(midnight);
    const hh_mm_ss clock(moment - midnight);
    constexpr unsigned ones = 1;
    constexpr unsigned tens = 10 * ones;
    constexpr unsigned hundreds = 10 * tens;
    std::string text;
    text.reserve(std::size("2026-10-13T09:00:00.123Z"));
    appendPadded(text, unsigned(int(date.year())), 10 * hundreds, '-');
    appendPadded(text, unsigned(date.month()), tens, '-');
    appendPadded(text, unsigned(date.day()), tens, 'T');
    appendPadded(text, unsigned(clock.hours().count()), tens, ':');
    appendPadded(text, unsigned(clock.minutes().count()), tens, ':');
    appendPadded(text, unsigned(clock.seconds().count()), tens, '.');
    appendPadded(text, unsigned(clock.subseconds().count()), hundreds, 'Z');
    return text;
}

std::optional<Calendar::UnixTime> timeOfIso(std::string_view text) {
    Reader reader(text);
    const year y(reader.number(4));
    reader.mark("-");
    const month m(static_cast<unsigned>(reader.number(2)));
    reader.mark("-");
    const day d(static_cast<unsigned>(reader.number(2)));
    reader.mark("Tt ");
    const hours hour(reader.number(2));
    reader.mark(":");
    const minutes minute(reader.number(2));
    duration<double> second(0);
    if (reader.skip(":")) {
        second = seconds(reader.number(2));
        if (reader.skip(".,"))
            second += duration<double>(reader.fraction());
    }
    const auto offset = readOffset(reader);
    const year_month_day date(y, m, d);
    constexpr seconds leapSecond(60);
    if (!offset || !reader.isAtEnd() || !date.ok() || hour >= days(1) || minute >= hours(1) ||
        second >= leapSecond + seconds(1))
        return std::nullopt;
    return Calendar::UnixTime(sys_days(date) + (hour + minute - *offset)) + second;
}

}  // namespace quillet
