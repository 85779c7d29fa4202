// time: a time of day in one 32-bit word; the time durations (hours, minutes, seconds,
// milliseconds) added to it; timeduration, a signed span of days to milliseconds.
//
// The word holds the low eight bits of the milliseconds in bits 0 to 7 and the second of the day
// in bits 8 to 27. Only (milliseconds mod 1000) mod 256 is kept: a time does not hold
// milliseconds above 255. 24:00:00 (second 86400) is a value of its own, distinct from 00:00:00.
// Failures (bad text, a null pointer) are a thrown bool of value false.
#pragma once

#include "vxExport.h"
#include "vxString.h"

#include <cstdint>
#include <ctime>
#if defined(_WIN32)
#include <sys/timeb.h>
#endif

namespace vx {

class time_duration;
class timeduration;

// The time as the runtime's ftime gives it.
#if defined(_WIN32)
using timeb64 = ::__timeb64;
#else
struct timeb64 {
    std::int64_t time;       // seconds since 1970
    unsigned short millitm;  // milliseconds
    short timezone;          // minutes west of UTC
    short dstflag;           // not zero in daylight time
};
#endif

class VX_API time {
public:
    // 00:00:00.
    time() : mWord(0) {}
    // (24, 0, 0, 0) is 24:00:00. Otherwise the hour takes the whole carries of the other parts
    // and wraps at 24, while the minute, second and millisecond parts add up as they come, so
    // (23, 59, 60, 0) is second 86400.
    time(unsigned hour, unsigned minute, unsigned second, unsigned millisecond);

    unsigned hour() const { return secondOfDay() / 3600; }
    unsigned minute() const { return (secondOfDay() % 3600) / 60; }
    unsigned second() const { return secondOfDay() % 60; }
    unsigned msecond() const { return mWord & 0xFFu; }
    unsigned minuteOfDay() const { return secondOfDay() / 60; }
    unsigned secondOfDay() const { return (mWord >> 8) & 0xFFFFFu; }
    unsigned secondOfHour() const { return secondOfDay() % 3600; }
    std::uint32_t word() const { return mWord; }

    static time midnight();  // 24:00:00
    static time daystart();  // 00:00:00
    static time lunchtime(); // 12:00:00

    // The local time now, with milliseconds.
    static time now();
    // Hour, minute, second and millisecond separated by separators; missing parts are 0. An
    // hour of 24 is 0. Throws false when a part does not read or is out of range.
    static time fromString(const string& text, const wchar_t* separators);
    // Seconds since 1970 in local time; throws false when they cannot be converted.
    static time fromTimer(std::int64_t seconds);
    static time fromTimeb(const timeb64* tb);
    static time fromTm(const std::tm* tm, unsigned millisecond);

    time operator+(const time_duration& d) const;
    time operator-(const time_duration& d) const;
    time& operator+=(const time_duration& d);
    time& operator-=(const time_duration& d);
    timeduration operator-(const time& other) const;

    bool operator==(const time& other) const { return mWord == other.mWord; }
    bool operator!=(const time& other) const { return mWord != other.mWord; }
    bool operator<(const time& other) const { return mWord < other.mWord; }

    // "%02d:%02d:%02d:%03d" over hour, minute, second and the millisecond field.
    string toString() const;

private:
    friend class time_duration;
    void setParts(unsigned secondOfDay, unsigned millisecondField) {
        mWord = ((secondOfDay & 0xFFFFFu) << 8) | (millisecondField & 0xFFu);
    }
    std::uint32_t mWord;
};

// Something that moves a time forwards or backwards. The time wraps at 86400 seconds. When
// dayOverflow is not null it is set to the number of whole days passed (forwards or backwards);
// when it is null, a result that is a positive multiple of a day is 24:00:00.
// The parts of a duration are read through nDays() to nMilliseconds(): the classes hours,
// minutes and seconds carry the plain names.
class VX_API time_duration {
public:
    virtual ~time_duration();
    virtual int sign() const { return 1; }
    virtual unsigned nDays() const { return 0; }
    virtual unsigned nHours() const { return 0; }
    virtual unsigned nMinutes() const { return 0; }
    virtual unsigned nSeconds() const { return 0; }
    virtual unsigned nMilliseconds() const { return 0; }
    virtual void addToTime(time& t, unsigned* dayOverflow) const = 0;
    virtual void subtractFromTime(time& t, unsigned* dayOverflow) const = 0;

protected:
    time_duration() = default;
    time_duration(const time_duration&) = default;
    time_duration& operator=(const time_duration&) = default;

    // Moves t by delta seconds and adds the days passed to *dayOverflow when it is not null.
    static void moveSeconds(time& t, std::int64_t delta, unsigned* dayOverflow);
    // Moves t by delta milliseconds below one second, carrying into the seconds.
    static void moveMilliseconds(time& t, int delta, unsigned* dayOverflow);
};

class VX_API hours : public time_duration {
public:
    explicit hours(std::uint32_t n) : mCount(n) {}
    unsigned nHours() const override { return mCount; }
    void addToTime(time& t, unsigned* dayOverflow) const override;
    void subtractFromTime(time& t, unsigned* dayOverflow) const override;

private:
    std::uint32_t mCount;
};

class VX_API minutes : public time_duration {
public:
    explicit minutes(std::uint32_t n) : mCount(n) {}
    unsigned nMinutes() const override { return mCount; }
    void addToTime(time& t, unsigned* dayOverflow) const override;
    void subtractFromTime(time& t, unsigned* dayOverflow) const override;

private:
    std::uint32_t mCount;
};

class VX_API seconds : public time_duration {
public:
    explicit seconds(std::uint32_t n) : mCount(n) {}
    unsigned nSeconds() const override { return mCount; }
    void addToTime(time& t, unsigned* dayOverflow) const override;
    void subtractFromTime(time& t, unsigned* dayOverflow) const override;

private:
    std::uint32_t mCount;
};

class VX_API mseconds : public time_duration {
public:
    explicit mseconds(std::uint32_t n) : mCount(n) {}
    unsigned nMilliseconds() const override { return mCount; }
    void addToTime(time& t, unsigned* dayOverflow) const override;
    void subtractFromTime(time& t, unsigned* dayOverflow) const override;

private:
    std::uint32_t mCount;
};

// A signed span: days, hours (0 to 23), minutes, seconds (0 to 59), milliseconds (0 to 999) and
// whether it is positive.
class VX_API timeduration : public time_duration {
public:
    // Zero, positive.
    timeduration();
    // Normalised as setDuration does.
    timeduration(int sign, long days, long hours, long minutes, long seconds, long mseconds);

    int sign() const override { return mPositive ? 1 : -1; }
    unsigned nDays() const override { return mDays; }
    unsigned nHours() const override { return mHours; }
    unsigned nMinutes() const override { return mMinutes; }
    unsigned nSeconds() const override { return mSeconds; }
    unsigned nMilliseconds() const override { return mMilliseconds; }
    bool isPositive() const { return mPositive; }

    // Hours, minutes and seconds are applied in turn (added for a positive span, subtracted
    // otherwise), then the milliseconds; the days are not applied to a time.
    void addToTime(time& t, unsigned* dayOverflow) const override;
    void subtractFromTime(time& t, unsigned* dayOverflow) const override;

    // Unit by unit, each product truncated, then normalised; a negative factor turns the sign.
    timeduration operator*(double factor) const;
    timeduration& operator*=(double factor);
    timeduration& operator+=(const timeduration& other);
    timeduration& operator-=(const timeduration& other);

    // The whole span in whole hours, minutes and seconds, with its sign.
    std::int64_t nallhours() const;
    std::int64_t nallminutes() const;
    std::int64_t nallseconds() const;

    bool operator==(const timeduration& other) const;
    bool operator!=(const timeduration& other) const { return !(*this == other); }

private:
    friend class time;
    friend class date;
    friend class timestamp;
    // Normalises from the smallest unit upward with floored division; the days are kept as an
    // absolute value, and the span is positive when sign, inverted for negative days, is 1.
    void setDuration(int sign, long days, long hours, long minutes, long seconds, long mseconds);
    void setDuration64(int sign, std::int64_t days, std::int64_t hours, std::int64_t minutes,
                       std::int64_t seconds, std::int64_t mseconds);
    // The signed span in milliseconds.
    std::int64_t totalMilliseconds() const;
    void setTotalMilliseconds(std::int64_t total);

    std::uint32_t mDays;
    std::uint32_t mHours;
    std::uint32_t mMinutes;
    std::uint32_t mSeconds;
    std::uint32_t mMilliseconds;
    bool mPositive;
};

} // namespace vx
