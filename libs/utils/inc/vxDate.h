// date: a calendar date without time of day or zone, in the Gregorian rules at every year, and the
// date durations (days, weeks, months, years, workdays) that are added to it.
//
// A date is one 32-bit word: the day of the month in bits 0 to 7, the month in bits 8 to 11, the
// year in bits 12 to 27. Dates compare as their words, so the order of words is the order of
// dates. Failures (bad text, a month outside 1 to 12 where a weekday is asked for, a null tm)
// are a thrown bool of value false, not a vx::exception.
#pragma once

#include "vxExport.h"
#include "vxString.h"

#include <cstdint>
#include <ctime>

namespace vx {

class calendar;
class date_duration;
class timeduration;

class VX_API date {
public:
    enum eWeekday { monday = 0, tuesday, wednesday, thursday, friday, saturday, sunday };
    enum eMonth {
        january = 1, february, march, april, may, june,
        july, august, september, october, november, december
    };

    // January 1 of the current year (local time).
    date();
    // A year of 65536 or more gives 65535-01-01; a month above 12 becomes 12; a day beyond the
    // month's length becomes its last day. A day of 0 and a month of 0 are stored as given (with
    // a month of 0 the day is kept to at most 31).
    date(unsigned year, unsigned month, unsigned day);

    unsigned year() const { return (mWord >> 12) & 0xFFFFu; }
    unsigned month() const { return (mWord >> 8) & 0xFu; }
    unsigned dayOfMonth() const { return mWord & 0xFFu; }
    // The anchor-day method; throws false for a month of 0.
    eWeekday dayOfWeek() const;
    unsigned dayOfYear() const;
    // Weeks begin on Monday; 53 is never answered (such a week is week 1).
    unsigned weekOfYear() const;
    // The packed word.
    std::uint32_t word() const { return mWord; }

    static bool isLeapYear(unsigned year);
    // 0 for a month outside 1 to 12.
    static unsigned daysInMonth(eMonth month, unsigned year);
    static unsigned daysInYear(unsigned year);
    static eWeekday firstWeekdayInYear(unsigned year);
    static date easterSunday(unsigned year);
    // The first such weekday of the month for n of 1; every other n throws false.
    static date nthWeekday(unsigned short n, eWeekday weekday, eMonth month, unsigned year);

    static date minDate();        // 1583-01-01
    static date tessaroIniDate(); // 1900-01-01
    static date maxDate();        // 65535-12-31
    static unsigned maxYear() { return 65535; }

    // The current date from the local clock.
    static date today();
    static unsigned thisYear();
    static unsigned thisMonth();
    static unsigned thisDayOfMonth();
    static eWeekday thisDayOfWeek();
    static unsigned thisDayOfYear();

    // The nearest date with that weekday strictly after (before) this one.
    date nextWeekday(eWeekday weekday) const;
    date prevWeekday(eWeekday weekday) const;
    date nextYearStart() const; // January 1 of the following year
    date nextYearEnd() const;   // December 31 of this date's own year
    date prevYearStart() const; // January 1 of this date's own year
    date prevYearEnd() const;   // December 31 of the preceding year (year 0: 0000-01-01)

    date operator+(const date_duration& d) const;
    date operator-(const date_duration& d) const;
    date& operator+=(const date_duration& d);
    date& operator-=(const date_duration& d);
    // A span of whole days, counted as if the left date were in the later year (see the rules);
    // negative when the count is below 1.
    timeduration operator-(const date& other) const;

    bool operator==(const date& other) const { return mWord == other.mWord; }
    bool operator!=(const date& other) const { return mWord != other.mWord; }
    bool operator<(const date& other) const { return mWord < other.mWord; }
    bool operator>(const date& other) const { return other.mWord < mWord; }
    bool operator<=(const date& other) const { return mWord <= other.mWord; }
    bool operator>=(const date& other) const { return mWord >= other.mWord; }

    // "today", "tomorrow" (any case), or year, month and day separated by separators, optionally
    // in quotes. Throws false for any other text.
    static date fromString(const string& text, const wchar_t* separators);
    // Seconds since 1970 in local time; throws false when they cannot be converted.
    static date fromTimer(std::int64_t seconds);
    // Year, month and day of a tm; throws false for a null pointer or a negative field.
    static date fromTm(const std::tm* tm);
    // Sets tm_year, tm_mon and tm_mday only; throws false for a null pointer.
    void toTm(std::tm* tm) const;

    // "%04d/%02d/%02d".
    string toString() const;

private:
    std::uint32_t mWord;
};

// Something that moves a date forwards or backwards.
class VX_API date_duration {
public:
    virtual ~date_duration();
    virtual void addToDate(date& d) const = 0;
    virtual void subtractFromDate(date& d) const = 0;

protected:
    date_duration() = default;
    date_duration(const date_duration&) = default;
    date_duration& operator=(const date_duration&) = default;
};

// n days; a result beyond the range of dates stops at 0000-01-01 or 65535-12-31.
class VX_API days : public date_duration {
public:
    explicit days(std::uint32_t n) : mCount(n) {}
    void addToDate(date& d) const override;
    void subtractFromDate(date& d) const override;
    std::uint32_t count() const { return mCount; }

private:
    std::uint32_t mCount;
};

// 7 * n days.
class VX_API weeks : public date_duration {
public:
    explicit weeks(std::uint32_t n) : mCount(n) {}
    void addToDate(date& d) const override;
    void subtractFromDate(date& d) const override;

private:
    std::uint32_t mCount;
};

// n months; the day is clamped to the new month's length.
class VX_API months : public date_duration {
public:
    explicit months(std::uint32_t n) : mCount(n) {}
    void addToDate(date& d) const override;
    void subtractFromDate(date& d) const override;

private:
    std::uint32_t mCount;
};

// n years; February 29 becomes February 28 in a common year.
class VX_API years : public date_duration {
public:
    explicit years(std::uint32_t n) : mCount(n) {}
    void addToDate(date& d) const override;
    void subtractFromDate(date& d) const override;

private:
    std::uint32_t mCount;
};

// n days on which the calendar has work; the first day counted is the one after the start.
// Without a calendar, or when the walk would leave the range of dates, it throws false and the
// date stays as it was.
class VX_API workdays : public date_duration {
public:
    explicit workdays(std::uint32_t n, const calendar* cal = nullptr) : mCount(n), mpCalendar(cal) {}
    // Whether the pointer is not null.
    virtual bool setCalendar(const calendar* cal);
    void addToDate(date& d) const override;
    void subtractFromDate(date& d) const override;

private:
    void walk(date& d, int direction) const;
    std::uint32_t mCount;
    const calendar* mpCalendar;
};

} // namespace vx
