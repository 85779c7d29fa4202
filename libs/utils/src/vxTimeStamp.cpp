#include "vxTimeStamp.h"

#include "detail/dayNumber.h"
#include "platform/clock.h"
#include "vxAssert.h"

#include <vector>

namespace vx {

namespace {

timestamp fromLocalTm(const std::tm& local, unsigned millisecond) {
    return timestamp(date::fromTm(&local), time::fromTm(&local, millisecond));
}

std::int64_t dayNumber(const date& d) { return detail::dayNumberOf(d.year(), d.month(), d.dayOfMonth()); }

} // namespace

timestamp::timestamp() : mDate(), mTime(), mDaylight(0) {}

// --- arithmetic ----------------------------------------------------------------------------------

timestamp timestamp::operator+(const date_duration& d) const {
    timestamp result(*this);
    result.mDate += d;
    return result;
}

timestamp timestamp::operator-(const date_duration& d) const {
    timestamp result(*this);
    result.mDate -= d;
    return result;
}

timestamp& timestamp::operator+=(const date_duration& d) {
    mDate += d;
    return *this;
}

timestamp& timestamp::operator-=(const date_duration& d) {
    mDate -= d;
    return *this;
}

void timestamp::move(const time_duration& d, int direction) {
    unsigned overflow = 0;
    if (direction > 0)
        d.addToTime(mTime, &overflow);
    else
        d.subtractFromTime(mTime, &overflow);
    // In 64 bits, so that a day count near its limit plus the days passed does not wrap round to
    // a few days; days() stops at the range of dates.
    const std::uint64_t sum = static_cast<std::uint64_t>(overflow) + d.nDays();
    const std::uint32_t total = sum > 0xFFFFFFFFu ? 0xFFFFFFFFu : static_cast<std::uint32_t>(sum);
    if (direction * d.sign() > 0)
        mDate += days(total);
    else
        mDate -= days(total);
}

timestamp timestamp::operator+(const time_duration& d) const {
    timestamp result(*this);
    result.move(d, 1);
    return result;
}

timestamp timestamp::operator-(const time_duration& d) const {
    timestamp result(*this);
    result.move(d, -1);
    return result;
}

timestamp& timestamp::operator+=(const time_duration& d) {
    move(d, 1);
    return *this;
}

timestamp& timestamp::operator-=(const time_duration& d) {
    move(d, -1);
    return *this;
}

timeduration timestamp::operator-(const timestamp& other) const {
    const std::int64_t dayMs = 86400000;
    const std::int64_t left = dayNumber(mDate) * dayMs + static_cast<std::int64_t>(mTime.secondOfDay()) * 1000 + mTime.msecond();
    const std::int64_t right =
        dayNumber(other.mDate) * dayMs + static_cast<std::int64_t>(other.mTime.secondOfDay()) * 1000 + other.mTime.msecond();
    timeduration result;
    result.setTotalMilliseconds(left - right);
    return result;
}

// --- factories -----------------------------------------------------------------------------------

timestamp timestamp::now() {
    platform::currentTime current;
    platform::currentInstant(current.seconds, current.milliseconds);
    std::tm local{};
    if (!platform::toLocalTime(current.seconds, local))
        throw false;
    return fromLocalTm(local, current.milliseconds);
}

timestamp timestamp::fromTimer(std::int64_t seconds) {
    std::tm local{};
    if (!platform::toLocalTime(seconds, local))
        throw false;
    return fromLocalTm(local, 0);
}

timestamp timestamp::fromTimeb(const timeb64* tb) {
    if (!tb)
        throw false;
    std::tm local{};
    if (!platform::toLocalTime(tb->time, local))
        throw false;
    return fromLocalTm(local, tb->millitm);
}

timestamp timestamp::fromTm(const std::tm* pTm) {
    VX_ASSERT(pTm);
    return fromLocalTm(*pTm, 0);
}

timestamp timestamp::fromString(const string& text, const wchar_t* partSeparator, const wchar_t* dateSeparators,
                                const wchar_t* timeSeparators) {
    if (text.lower() == L"now")
        return now();
    std::vector<string> parts;
    text.splitAt(string(partSeparator ? partSeparator : L""), parts);
    if (parts.empty())
        throw false;
    const date d = date::fromString(parts[0], dateSeparators);
    if (parts.size() == 2)
        return timestamp(d, time::fromString(parts[1], timeSeparators));
    return timestamp(d, time::midnight());
}

// --- the system's forms --------------------------------------------------------------------------

void timestamp::toTm(std::tm* tm) const {
    if (!tm)
        throw false;
    *tm = std::tm{};
    mDate.toTm(tm);
    tm->tm_hour = static_cast<int>(mTime.hour());
    tm->tm_min = static_cast<int>(mTime.minute());
    tm->tm_sec = static_cast<int>(mTime.second());
    tm->tm_isdst = mDaylight;
    tm->tm_yday = static_cast<int>(mDate.dayOfYear()) - 1;
    tm->tm_wday = mDate.month() >= 1 ? (static_cast<int>(mDate.dayOfWeek()) + 1) % 7 : 0;
}

bool timestamp::toTimer(std::int64_t* seconds) const {
    if (!seconds)
        return false;
    std::tm local;
    toTm(&local);
    return platform::fromLocalTime(local, *seconds);
}

timestamp timestamp::asUTC() const {
    std::tm local{};
    mDate.toTm(&local);
    local.tm_hour = static_cast<int>(mTime.hour());
    local.tm_min = static_cast<int>(mTime.minute());
    local.tm_sec = static_cast<int>(mTime.second());
    local.tm_isdst = mDaylight;
    local.tm_wday = 24; // ignored by the conversion
    std::int64_t seconds = 0; // where a failed conversion leaves off: 1970-01-01 00:00:00 UTC
    platform::fromLocalTime(local, seconds);
    std::tm universal{};
    if (!platform::toUniversalTime(seconds, universal))
        throw false;
    return timestamp(date::fromTm(&universal), time::fromTm(&universal, mTime.msecond()));
}

timeduration timestamp::offsetLocalToUTC(const timestamp& t) { return t - t.asUTC(); }

int timestamp::currentOffsetLocalToUTC() {
    const platform::currentTime current = platform::now();
    return -(current.zoneMinutesWest / 60) + (current.daylight ? 1 : 0);
}

string timestamp::toString() const { return mDate.toString() + L" " + mTime.toString(); }

// --- stopwatch -----------------------------------------------------------------------------------

void stopwatch::start() {
    if (mRunning)
        return;
    mRunning = true;
    mStart = platform::processClockMilliseconds() - mStart;
}

void stopwatch::stop() {
    if (!mRunning)
        return;
    mRunning = false;
    mAccumulated += platform::processClockMilliseconds() - mStart;
    mStart = 0;
}

void stopwatch::reset() {
    mAccumulated = 0;
    mStart = mRunning ? platform::processClockMilliseconds() : 0;
}

double stopwatch::value() const {
    std::int64_t ticks = mAccumulated;
    if (mRunning)
        ticks += platform::processClockMilliseconds() - mStart;
    return static_cast<double>(ticks) / 1000.0;
}

string stopwatch::toString() const { return string::sformat(L"%10.3lf\tsec.msec", value()); }

} // namespace vx
