// timestamp: a date with a time of day and the local-time daylight flag; stopwatch: elapsed
// processor time.
#pragma once

#include "vxDate.h"
#include "vxExport.h"
#include "vxString.h"
#include "vxTime.h"

#include <cstdint>
#include <ctime>

namespace vx {

class VX_API timestamp {
public:
    // January 1 of the current year at 00:00:00.
    timestamp();
    timestamp(const date& d, const time& t) : mDate(d), mTime(t), mDaylight(0) {}

    const date& getDate() const { return mDate; }
    const time& getTime() const { return mTime; }
    // The daylight flag given to the system as tm_isdst (0 from every factory).
    unsigned char daylight() const { return mDaylight; }
    void setDaylight(unsigned char flag) { mDaylight = flag; }

    timestamp operator+(const date_duration& d) const;
    timestamp operator-(const date_duration& d) const;
    timestamp& operator+=(const date_duration& d);
    timestamp& operator-=(const date_duration& d);
    // The time moves with the duration; the days it passes, and the duration's own days, move the
    // date.
    timestamp operator+(const time_duration& d) const;
    timestamp operator-(const time_duration& d) const;
    timestamp& operator+=(const time_duration& d);
    timestamp& operator-=(const time_duration& d);
    // The exact signed span between the two.
    timeduration operator-(const timestamp& other) const;

    // By date, then time; the daylight flag does not count.
    bool operator==(const timestamp& other) const { return mDate == other.mDate && mTime == other.mTime; }
    bool operator!=(const timestamp& other) const { return !(*this == other); }
    bool operator<(const timestamp& other) const {
        return mDate < other.mDate || (mDate == other.mDate && mTime < other.mTime);
    }

    // The local date and time now, with milliseconds.
    static timestamp now();
    // Seconds since 1970 in local time; throws false when they cannot be converted.
    static timestamp fromTimer(std::int64_t seconds);
    static timestamp fromTimeb(const timeb64* tb);
    // A null pointer fails the assertion "pTm".
    static timestamp fromTm(const std::tm* pTm);
    // "now" (any case), or a date and a time separated by partSeparator. With one part, or more
    // than two, the first part is the date and the time is 24:00:00. Throws false on bad text.
    static timestamp fromString(const string& text, const wchar_t* partSeparator,
                                const wchar_t* dateSeparators, const wchar_t* timeSeparators);

    // Seconds since 1970 of this local time; false (and *seconds untouched) when it cannot be
    // converted or seconds is null.
    bool toTimer(std::int64_t* seconds) const;
    // All fields of tm; throws false for a null pointer.
    void toTm(std::tm* tm) const;
    // This local time in UTC. Throws false when that falls before year 0.
    timestamp asUTC() const;
    // t minus t.asUTC().
    static timeduration offsetLocalToUTC(const timestamp& t);
    // The current zone's offset from UTC in whole hours (east positive), one more in daylight time.
    static int currentOffsetLocalToUTC();

    // The date text, one blank, the time text.
    string toString() const;

private:
    void move(const time_duration& d, int direction);

    date mDate;
    time mTime;
    unsigned char mDaylight;
};

// Processor time, by the C clock, read at 1000 ticks per second.
class VX_API stopwatch {
public:
    stopwatch() = default;
    void start();
    void stop();
    void reset();
    // Seconds measured so far, running or not.
    double value() const;
    // "%10.3lf\tsec.msec" over value().
    string toString() const;

private:
    std::int64_t mAccumulated = 0;
    std::int64_t mStart = 0;
    bool mRunning = false;
};

} // namespace vx
