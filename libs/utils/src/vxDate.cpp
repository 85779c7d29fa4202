#include "vxDate.h"

#include "detail/dayNumber.h"
#include "detail/decimal.h"
#include "detail/numberText.h"
#include "platform/clock.h"
#include "vxCalendar.h"
#include "vxTime.h"

#include <cmath>
#include <vector>

namespace vx {

namespace {

const unsigned kCommonMonths[12] = {31, 28, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};
const unsigned kLeapMonths[12] = {31, 29, 31, 30, 31, 30, 31, 31, 30, 31, 30, 31};

std::uint32_t pack(unsigned year, unsigned month, unsigned day) {
    return (static_cast<std::uint32_t>(year) << 12) | (static_cast<std::uint32_t>(month) << 8) | day;
}

using detail::civilFromDays;
using detail::daysFromCivil;

std::int64_t serialOf(const date& d) { return detail::dayNumberOf(d.year(), d.month(), d.dayOfMonth()); }

// The date of a day number, held inside 0000-01-01 to 65535-12-31.
date dateOfSerial(std::int64_t serial) {
    static const std::int64_t first = daysFromCivil(0, 1, 1);
    static const std::int64_t last = daysFromCivil(65535, 12, 31);
    serial = serial < first ? first : serial > last ? last : serial;
    std::int64_t y;
    unsigned m, d;
    civilFromDays(serial, y, m, d);
    return date(static_cast<unsigned>(y), m, d);
}

std::tm localNow() {
    std::int64_t seconds = 0;
    unsigned short milliseconds = 0;
    platform::currentInstant(seconds, milliseconds);
    std::tm local{};
    if (!platform::toLocalTime(seconds, local))
        throw false;
    return local;
}

} // namespace

// --- construction and fields ---------------------------------------------------------------------

date::date() : mWord(pack(thisYear(), 1, 1)) {}

date::date(unsigned year, unsigned month, unsigned day) {
    if (year >= 65536) {
        mWord = pack(65535, 1, 1);
        return;
    }
    if (month > 12)
        month = 12;
    const unsigned length = month == 0 ? 31 : daysInMonth(static_cast<eMonth>(month), year);
    if (day > length)
        day = length;
    mWord = pack(year, month, day);
}

date::eWeekday date::dayOfWeek() const {
    static const unsigned anchors[12] = {31, 28, 7, 4, 9, 6, 11, 8, 5, 10, 7, 12};
    const unsigned m = month();
    if (m == 0 || m > 12)
        throw false;
    const unsigned y = year();
    int anchor = static_cast<int>(anchors[m - 1]);
    if (m <= 2 && isLeapYear(y))
        ++anchor;
    static const int centuryCodes[4] = {2, 0, 5, 3};
    const int code = centuryCodes[((y / 100 * 100) % 400) / 100];
    const int yy = static_cast<int>(y % 100);
    const int c = yy / 4 + yy + code;
    const int day = static_cast<int>(dayOfMonth());
    const int d = anchor > day ? ((anchor - day) / 7) * 7 + day + 7 : day;
    const int r = d - anchor;
    const int result = ((c % 7 + r % 7) % 7) - 1;
    return static_cast<eWeekday>(result == -1 ? 6 : result);
}

unsigned date::dayOfYear() const {
    const unsigned* lengths = isLeapYear(year()) ? kLeapMonths : kCommonMonths;
    unsigned total = dayOfMonth();
    for (unsigned i = 1; i < month() && i <= 12; ++i)
        total += lengths[i - 1];
    return total;
}

unsigned date::weekOfYear() const {
    int j = static_cast<int>(date(year(), 1, 1).dayOfWeek()) + 2;
    if (j >= 8)
        j -= 7;
    const int m = (j + 1) % 7;
    const float steps = static_cast<float>(static_cast<int>(dayOfYear()) - 4 + m) / 7.0f;
    const int w = static_cast<int>(std::floor(steps)) + 1;
    if (w == 0)
        // Year 0 has no year before it: its first days take the week of its own last day.
        return date(year() == 0 ? 0 : year() - 1, 12, 31).weekOfYear();
    if (w == 53) {
        (void)date(year(), 12, 31).dayOfWeek(); // asked, and not used: week 53 is always week 1
        return 1;
    }
    return static_cast<unsigned>(w);
}

bool date::isLeapYear(unsigned year) { return (year % 4 == 0 && year % 100 != 0) || year % 400 == 0; }

unsigned date::daysInMonth(eMonth month, unsigned year) {
    if (month < january || month > december)
        return 0;
    return (isLeapYear(year) ? kLeapMonths : kCommonMonths)[month - 1];
}

unsigned date::daysInYear(unsigned year) { return isLeapYear(year) ? 366 : 365; }

date::eWeekday date::firstWeekdayInYear(unsigned year) { return date(year, 1, 1).dayOfWeek(); }

date date::easterSunday(unsigned year) {
    const unsigned a = year % 19, b = year / 100, c = year % 100, d = b / 4, e = b % 4;
    const unsigned f = (b + 8) / 25, g = (b - f + 1) / 3;
    const unsigned h = (19 * a + b - d - g + 15) % 30;
    const unsigned i = c / 4, k = c % 4;
    const unsigned l = (32 + 2 * e + 2 * i + 7 * 30 - h - k) % 7; // 7 * 30 keeps it unsigned
    const unsigned m = (a + 11 * h + 22 * l) / 451;
    const unsigned monthNumber = (h + l + 114 - 7 * m) / 31;
    const unsigned day = (h + l + 114 - 7 * m) % 31 + 1;
    return date(year, monthNumber, day);
}

date date::nthWeekday(unsigned short n, eWeekday weekday, eMonth month, unsigned year) {
    if (n == 0)
        throw false;
    date walk(year, month, 1);
    while (walk.dayOfWeek() != weekday) {
        walk += days(1);
        if (walk.month() != static_cast<unsigned>(month))
            throw false;
    }
    if (n == 1)
        return walk;
    // Every further n walks on in weeks until it has left the month, and fails there.
    while (walk.month() == static_cast<unsigned>(month) && walk != maxDate())
        walk += weeks(1);
    throw false;
}

date date::minDate() { return date(1583, 1, 1); }
date date::tessaroIniDate() { return date(1900, 1, 1); }
date date::maxDate() { return date(65535, 12, 31); }

// --- the current date ----------------------------------------------------------------------------

date date::today() {
    const std::tm local = localNow();
    return fromTm(&local);
}
unsigned date::thisYear() { return static_cast<unsigned>(localNow().tm_year + 1900); }
unsigned date::thisMonth() { return static_cast<unsigned>(localNow().tm_mon + 1); }
unsigned date::thisDayOfMonth() { return static_cast<unsigned>(localNow().tm_mday); }
date::eWeekday date::thisDayOfWeek() { return today().dayOfWeek(); }
unsigned date::thisDayOfYear() { return today().dayOfYear(); }

// --- neighbours ----------------------------------------------------------------------------------

namespace {

// The weekday from the day number (day 0, 1970-01-01, was a Thursday), so that a date with month 0
// has one too.
int weekdayOfSerial(std::int64_t serial) {
    const std::int64_t shifted = serial + 3;
    return static_cast<int>(shifted - detail::floorDiv(shifted, 7) * 7);
}

} // namespace

date date::nextWeekday(eWeekday weekday) const {
    const std::int64_t serial = serialOf(*this);
    const int ahead = (static_cast<int>(weekday) - weekdayOfSerial(serial) + 7) % 7;
    return dateOfSerial(serial + (ahead == 0 ? 7 : ahead));
}

date date::prevWeekday(eWeekday weekday) const {
    const std::int64_t serial = serialOf(*this);
    const int back = (weekdayOfSerial(serial) - static_cast<int>(weekday) + 7) % 7;
    return dateOfSerial(serial - (back == 0 ? 7 : back));
}

date date::nextYearStart() const { return date(year() + 1, 1, 1); }
date date::nextYearEnd() const { return date(year(), 12, 31); }
date date::prevYearStart() const { return date(year(), 1, 1); }
date date::prevYearEnd() const { return year() == 0 ? date(0, 1, 1) : date(year() - 1, 12, 31); }

// --- arithmetic ----------------------------------------------------------------------------------

date date::operator+(const date_duration& d) const {
    date result(*this);
    d.addToDate(result);
    return result;
}

date date::operator-(const date_duration& d) const {
    date result(*this);
    d.subtractFromDate(result);
    return result;
}

date& date::operator+=(const date_duration& d) {
    d.addToDate(*this);
    return *this;
}

date& date::operator-=(const date_duration& d) {
    d.subtractFromDate(*this);
    return *this;
}

timeduration date::operator-(const date& other) const {
    const unsigned y1 = year(), y2 = other.year();
    long count;
    if (y1 == y2) {
        count = static_cast<long>(dayOfYear()) - static_cast<long>(other.dayOfYear());
    } else {
        // The same formula whichever date is later: right only when this one is.
        count = static_cast<long>(daysInYear(y2)) - static_cast<long>(other.dayOfYear()) + static_cast<long>(dayOfYear());
        const unsigned gap = y1 > y2 ? y1 - y2 : y2 - y1;
        for (unsigned i = 1; i < gap; ++i) {
            if (y1 > y2)
                count += static_cast<long>(daysInYear(y1 - i));
            else
                count -= static_cast<long>(daysInYear(y2 - i));
        }
    }
    timeduration result;
    result.mDays = static_cast<std::uint32_t>(count < 0 ? -count : count);
    result.mPositive = count >= 1;
    return result;
}

// --- text and tm ---------------------------------------------------------------------------------

date date::fromString(const string& text, const wchar_t* separators) {
    const string lowered = text.lower();
    if (lowered == L"today")
        return today();
    if (lowered == L"tomorrow")
        return today() + days(1);
    string source(text);
    if (!source.empty() && (source[0] == L'"' || source[0] == L'\'')) {
        source.deleteLeading(string(L"'\" "));
        source.deleteTrailing(string(L"'\" "));
    }
    std::vector<string> parts;
    source.splitAt(string(separators ? separators : L""), parts);
    if (parts.size() != 3)
        throw false;
    unsigned long y, m, d;
    if (!detail::integerFromText(y, parts[0]) || !detail::integerFromText(m, parts[1]) ||
        !detail::integerFromText(d, parts[2]))
        throw false;
    if (m < 1 || m > 12 || d < 1 || d > 31)
        throw false;
    return date(static_cast<unsigned>(y), static_cast<unsigned>(m), static_cast<unsigned>(d));
}

date date::fromTimer(std::int64_t seconds) {
    std::tm local{};
    if (!platform::toLocalTime(seconds, local))
        throw false;
    return fromTm(&local);
}

date date::fromTm(const std::tm* tm) {
    if (!tm || tm->tm_year < -1900 || tm->tm_mon < 0 || tm->tm_mday < 0)
        throw false;
    // In unsigned arithmetic: the largest fields cannot overflow, and the constructor clamps them.
    return date(static_cast<unsigned>(tm->tm_year) + 1900u, static_cast<unsigned>(tm->tm_mon) + 1u,
                static_cast<unsigned>(tm->tm_mday));
}

void date::toTm(std::tm* tm) const {
    if (!tm)
        throw false;
    tm->tm_year = static_cast<int>(year()) - 1900;
    tm->tm_mon = static_cast<int>(month()) - 1;
    tm->tm_mday = static_cast<int>(dayOfMonth());
}

string date::toString() const {
    // "%04d/%02d/%02d", written directly: every log line carries one.
    std::wstring text;
    text.reserve(10);
    detail::appendZeroPadded(text, year(), 4);
    text += L'/';
    detail::appendZeroPadded(text, month(), 2);
    text += L'/';
    detail::appendZeroPadded(text, dayOfMonth(), 2);
    return string(std::move(text));
}

// --- durations -----------------------------------------------------------------------------------

date_duration::~date_duration() = default;

void days::addToDate(date& d) const { d = dateOfSerial(serialOf(d) + mCount); }
void days::subtractFromDate(date& d) const { d = dateOfSerial(serialOf(d) - mCount); }

void weeks::addToDate(date& d) const { d = dateOfSerial(serialOf(d) + 7 * static_cast<std::int64_t>(mCount)); }
void weeks::subtractFromDate(date& d) const { d = dateOfSerial(serialOf(d) - 7 * static_cast<std::int64_t>(mCount)); }

namespace {

// Year and month moved by a signed number of months; the day goes through the constructor.
void moveMonths(date& d, std::int64_t yearsMoved, std::int64_t monthsMoved) {
    std::int64_t y = static_cast<std::int64_t>(d.year()) + yearsMoved;
    std::int64_t m = static_cast<std::int64_t>(d.month()) + monthsMoved;
    if (m > 12) {
        m -= 12;
        ++y;
    } else if (monthsMoved < 0 && m < 1) {
        m += 12;
        --y;
    }
    if (y < 0) {
        d = date(0, 1, 1);
        return;
    }
    d = date(y > 65535 ? 65536u : static_cast<unsigned>(y), static_cast<unsigned>(m), d.dayOfMonth());
}

} // namespace

void months::addToDate(date& d) const { moveMonths(d, mCount / 12, mCount % 12); }
void months::subtractFromDate(date& d) const {
    moveMonths(d, -static_cast<std::int64_t>(mCount / 12), -static_cast<std::int64_t>(mCount % 12));
}

void years::addToDate(date& d) const { moveMonths(d, mCount, 0); }
void years::subtractFromDate(date& d) const { moveMonths(d, -static_cast<std::int64_t>(mCount), 0); }

bool workdays::setCalendar(const calendar* cal) {
    mpCalendar = cal;
    return cal != nullptr;
}

void workdays::walk(date& d, int direction) const {
    if (mCount == 0)
        return;
    // With no calendar no day could ever count: fail instead of walking for ever.
    if (!mpCalendar)
        throw false;
    const date end = direction > 0 ? date::maxDate() : date(0, 1, 1);
    date walker(d);
    std::uint32_t left = mCount;
    std::int64_t serial = serialOf(walker);
    while (left > 0) {
        if (walker == end)
            throw false; // the range of dates ends before enough workdays were found
        serial += direction;
        walker = dateOfSerial(serial);
        if (mpCalendar->isWorkday(walker))
            --left;
    }
    d = walker;
}

void workdays::addToDate(date& d) const { walk(d, 1); }
void workdays::subtractFromDate(date& d) const { walk(d, -1); }

} // namespace vx
