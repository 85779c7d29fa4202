#include "vxTime.h"

#include "detail/decimal.h"
#include "detail/numberText.h"
#include "platform/clock.h"

#include <cmath>
#include <limits>
#include <vector>

namespace vx {

namespace {

constexpr std::int64_t kDay = 86400;
constexpr std::uint32_t kHourChunk = 596523; // hours whose seconds stay inside 31 bits

unsigned millisecondField(unsigned millisecond) { return (millisecond % 1000) % 256; }

// A part of a time text: a number from 0 to limit.
unsigned readPart(const string& part, unsigned limit) {
    long value;
    if (!detail::integerFromText(value, part) || value < 0 || static_cast<unsigned long>(value) > limit)
        throw false;
    return static_cast<unsigned>(value);
}

} // namespace

// --- time ----------------------------------------------------------------------------------------

time::time(unsigned hour, unsigned minute, unsigned second, unsigned millisecond) : mWord(0) {
    if (hour == 24 && minute == 0 && second == 0 && millisecond == 0) {
        setParts(86400, 0);
        return;
    }
    const std::uint64_t h = (static_cast<std::uint64_t>(hour) + minute / 60 + second / 3600 + millisecond / 3600000) % 24;
    const std::uint64_t sod = 3600 * h + 60 * (minute % 60 + (second % 3600) / 60 + (millisecond % 3600000) / 60000) +
                              second % 60 + (millisecond % 60000) / 1000;
    setParts(static_cast<unsigned>(sod), millisecondField(millisecond));
}

time time::midnight() { return time(24, 0, 0, 0); }
time time::daystart() { return time(); }
time time::lunchtime() { return time(12, 0, 0, 0); }

time time::now() {
    platform::currentTime current;
    platform::currentInstant(current.seconds, current.milliseconds);
    std::tm local{};
    if (!platform::toLocalTime(current.seconds, local))
        throw false;
    return fromTm(&local, current.milliseconds);
}

time time::fromString(const string& text, const wchar_t* separators) {
    std::vector<string> parts;
    text.splitAt(string(separators ? separators : L""), parts);
    if (parts.empty())
        throw false;
    unsigned hour = readPart(parts[0], 24);
    if (hour == 24)
        hour = 0;
    const unsigned minute = parts.size() > 1 ? readPart(parts[1], 59) : 0;
    const unsigned second = parts.size() > 2 ? readPart(parts[2], 59) : 0;
    const unsigned millisecond = parts.size() > 3 ? readPart(parts[3], 999) : 0;
    return time(hour, minute, second, millisecond);
}

time time::fromTimer(std::int64_t seconds) {
    std::tm local{};
    if (!platform::toLocalTime(seconds, local))
        throw false;
    return fromTm(&local, 0);
}

time time::fromTimeb(const timeb64* tb) {
    if (!tb)
        throw false;
    std::tm local{};
    if (!platform::toLocalTime(tb->time, local))
        throw false;
    return fromTm(&local, tb->millitm);
}

time time::fromTm(const std::tm* tm, unsigned millisecond) {
    if (!tm || tm->tm_hour < 0 || tm->tm_min < 0 || tm->tm_sec < 0)
        throw false;
    return time(static_cast<unsigned>(tm->tm_hour), static_cast<unsigned>(tm->tm_min),
                static_cast<unsigned>(tm->tm_sec), millisecond);
}

time time::operator+(const time_duration& d) const {
    time result(*this);
    d.addToTime(result, nullptr);
    return result;
}

time time::operator-(const time_duration& d) const {
    time result(*this);
    d.subtractFromTime(result, nullptr);
    return result;
}

time& time::operator+=(const time_duration& d) {
    d.addToTime(*this, nullptr);
    return *this;
}

time& time::operator-=(const time_duration& d) {
    d.subtractFromTime(*this, nullptr);
    return *this;
}

timeduration time::operator-(const time& other) const {
    std::int64_t difference = static_cast<std::int64_t>(secondOfDay()) - other.secondOfDay();
    if (msecond() < other.msecond())
        --difference;
    const std::int64_t magnitude = difference < 0 ? -difference : difference;
    const long ms = static_cast<long>(msecond()) - static_cast<long>(other.msecond());
    timeduration result;
    result.setDuration(difference < 1 ? -1 : 1, 0, static_cast<long>(magnitude / 3600),
                       static_cast<long>((magnitude % 3600) / 60), static_cast<long>(magnitude % 60), ms < 0 ? -ms : ms);
    return result;
}

string time::toString() const {
    // "%02d:%02d:%02d:%03d", written directly: every log line carries one.
    std::wstring text;
    text.reserve(12);
    detail::appendZeroPadded(text, hour(), 2);
    text += L':';
    detail::appendZeroPadded(text, minute(), 2);
    text += L':';
    detail::appendZeroPadded(text, second(), 2);
    text += L':';
    detail::appendZeroPadded(text, msecond(), 3);
    return string(std::move(text));
}

// --- durations -----------------------------------------------------------------------------------

time_duration::~time_duration() = default;

void time_duration::moveSeconds(time& t, std::int64_t delta, unsigned* dayOverflow) {
    const std::int64_t sum = static_cast<std::int64_t>(t.secondOfDay()) + delta;
    std::int64_t wrapped = sum % kDay;
    if (wrapped < 0)
        wrapped += kDay;
    if (dayOverflow) {
        const std::int64_t daysPassed = (sum - wrapped) / kDay;
        *dayOverflow += static_cast<unsigned>(daysPassed < 0 ? -daysPassed : daysPassed);
    } else if (wrapped == 0 && sum != 0) {
        wrapped = kDay; // a whole day lands on 24:00:00
    }
    t.setParts(static_cast<unsigned>(wrapped), t.msecond());
}

void time_duration::moveMilliseconds(time& t, int delta, unsigned* dayOverflow) {
    int ms = static_cast<int>(t.msecond()) + delta;
    if (ms >= 1000) {
        moveSeconds(t, 1, dayOverflow);
        ms -= 1000;
    } else if (ms < 0) {
        moveSeconds(t, -1, dayOverflow);
        ms += 1000;
    }
    t.setParts(t.secondOfDay(), millisecondField(static_cast<unsigned>(ms)));
}

namespace {

unsigned* resetOverflow(unsigned* dayOverflow) {
    if (dayOverflow)
        *dayOverflow = 0;
    return dayOverflow;
}

} // namespace

void hours::addToTime(time& t, unsigned* dayOverflow) const {
    resetOverflow(dayOverflow);
    for (std::uint32_t left = mCount; left > 0;) {
        const std::uint32_t chunk = left > kHourChunk ? kHourChunk : left;
        moveSeconds(t, static_cast<std::int64_t>(chunk) * 3600, dayOverflow);
        left -= chunk;
    }
    if (mCount == 0)
        moveSeconds(t, 0, dayOverflow);
}

void hours::subtractFromTime(time& t, unsigned* dayOverflow) const {
    resetOverflow(dayOverflow);
    for (std::uint32_t left = mCount; left > 0;) {
        const std::uint32_t chunk = left > kHourChunk ? kHourChunk : left;
        moveSeconds(t, -static_cast<std::int64_t>(chunk) * 3600, dayOverflow);
        left -= chunk;
    }
    if (mCount == 0)
        moveSeconds(t, 0, dayOverflow);
}

void minutes::addToTime(time& t, unsigned* dayOverflow) const {
    moveSeconds(t, static_cast<std::int64_t>(mCount) * 60, resetOverflow(dayOverflow));
}
void minutes::subtractFromTime(time& t, unsigned* dayOverflow) const {
    moveSeconds(t, -static_cast<std::int64_t>(mCount) * 60, resetOverflow(dayOverflow));
}

void seconds::addToTime(time& t, unsigned* dayOverflow) const {
    moveSeconds(t, mCount, resetOverflow(dayOverflow));
}
void seconds::subtractFromTime(time& t, unsigned* dayOverflow) const {
    moveSeconds(t, -static_cast<std::int64_t>(mCount), resetOverflow(dayOverflow));
}

void mseconds::addToTime(time& t, unsigned* dayOverflow) const {
    resetOverflow(dayOverflow);
    moveSeconds(t, mCount / 1000, dayOverflow);
    moveMilliseconds(t, static_cast<int>(mCount % 1000), dayOverflow);
}
void mseconds::subtractFromTime(time& t, unsigned* dayOverflow) const {
    resetOverflow(dayOverflow);
    moveSeconds(t, -static_cast<std::int64_t>(mCount / 1000), dayOverflow);
    moveMilliseconds(t, -static_cast<int>(mCount % 1000), dayOverflow);
}

// --- timeduration --------------------------------------------------------------------------------

timeduration::timeduration()
    : mDays(0), mHours(0), mMinutes(0), mSeconds(0), mMilliseconds(0), mPositive(true) {}

timeduration::timeduration(int sign, long days, long hours, long minutes, long seconds, long mseconds)
    : timeduration() {
    setDuration(sign, days, hours, minutes, seconds, mseconds);
}

void timeduration::setDuration(int sign, long days, long hours, long minutes, long seconds, long mseconds) {
    setDuration64(sign, days, hours, minutes, seconds, mseconds);
}

namespace {

// Floored division: value becomes value mod unit in 0 to unit - 1, the quotient is answered.
std::int64_t carry(std::int64_t& value, std::int64_t unit) {
    std::int64_t quotient = value / unit;
    value %= unit;
    if (value < 0) {
        value += unit;
        --quotient;
    }
    return quotient;
}

// a + b held at the 64-bit limits: where 64-bit long arguments would overflow, the day count
// has long passed its own limit, where it stops anyway.
std::int64_t addHeld(std::int64_t a, std::int64_t b) {
    if (b > 0 && a > std::numeric_limits<std::int64_t>::max() - b)
        return std::numeric_limits<std::int64_t>::max();
    if (b < 0 && a < std::numeric_limits<std::int64_t>::min() - b)
        return std::numeric_limits<std::int64_t>::min();
    return a + b;
}

std::uint32_t clamp32(std::int64_t value) {
    return value > static_cast<std::int64_t>(std::numeric_limits<std::uint32_t>::max())
               ? std::numeric_limits<std::uint32_t>::max()
               : static_cast<std::uint32_t>(value);
}

} // namespace

void timeduration::setDuration64(int sign, std::int64_t days, std::int64_t hours, std::int64_t minutes,
                                 std::int64_t seconds, std::int64_t mseconds) {
    seconds = addHeld(seconds, carry(mseconds, 1000));
    minutes = addHeld(minutes, carry(seconds, 60));
    hours = addHeld(hours, carry(minutes, 60));
    days = addHeld(days, carry(hours, 24));
    int effective = sign;
    if (days < 0) {
        effective = -effective;
        days = days == std::numeric_limits<std::int64_t>::min() ? std::numeric_limits<std::int64_t>::max() : -days;
    }
    mDays = clamp32(days);
    mHours = static_cast<std::uint32_t>(hours);
    mMinutes = static_cast<std::uint32_t>(minutes);
    mSeconds = static_cast<std::uint32_t>(seconds);
    mMilliseconds = static_cast<std::uint32_t>(mseconds);
    mPositive = effective == 1;
}

std::int64_t timeduration::totalMilliseconds() const {
    const std::int64_t magnitude =
        ((((static_cast<std::int64_t>(mDays) * 24 + mHours) * 60 + mMinutes) * 60) + mSeconds) * 1000 + mMilliseconds;
    return mPositive ? magnitude : -magnitude;
}

void timeduration::setTotalMilliseconds(std::int64_t total) {
    const bool negative = total < 0;
    setDuration64(negative ? -1 : 1, 0, 0, 0, 0, negative ? -total : total);
}

void timeduration::addToTime(time& t, unsigned* dayOverflow) const {
    resetOverflow(dayOverflow);
    unsigned part = 0;
    unsigned* partOverflow = dayOverflow ? &part : nullptr;
    const time_duration* steps[3];
    const class hours h(mHours);
    const class minutes m(mMinutes);
    const class seconds s(mSeconds);
    const mseconds ms(mMilliseconds);
    steps[0] = &h;
    steps[1] = &m;
    steps[2] = &s;
    for (const time_duration* step : steps) {
        mPositive ? step->addToTime(t, partOverflow) : step->subtractFromTime(t, partOverflow);
        if (dayOverflow)
            *dayOverflow += part;
    }
    mPositive ? ms.addToTime(t, partOverflow) : ms.subtractFromTime(t, partOverflow);
    if (dayOverflow)
        *dayOverflow += part;
}

void timeduration::subtractFromTime(time& t, unsigned* dayOverflow) const {
    timeduration reversed(*this);
    reversed.mPositive = !mPositive;
    reversed.addToTime(t, dayOverflow);
}

timeduration timeduration::operator*(double factor) const {
    timeduration result(*this);
    result *= factor;
    return result;
}

timeduration& timeduration::operator*=(double factor) {
    const double scale = std::fabs(factor);
    // Each unit scaled and truncated on its own; a product beyond the range of a day count
    // stops at the largest one.
    auto scaled = [scale](std::uint32_t unit) -> std::int64_t {
        const double product = std::trunc(static_cast<double>(unit) * scale);
        if (!(product < 4.0e12))
            return product != product ? 0 : static_cast<std::int64_t>(4.0e12);
        return static_cast<std::int64_t>(product);
    };
    const int newSign = (mPositive ? 1 : -1) * (factor < 0 ? -1 : 1);
    setDuration64(newSign, scaled(mDays), scaled(mHours), scaled(mMinutes), scaled(mSeconds),
                  scaled(mMilliseconds));
    return *this;
}

timeduration& timeduration::operator+=(const timeduration& other) {
    setTotalMilliseconds(totalMilliseconds() + other.totalMilliseconds());
    return *this;
}

timeduration& timeduration::operator-=(const timeduration& other) {
    setTotalMilliseconds(totalMilliseconds() - other.totalMilliseconds());
    return *this;
}

std::int64_t timeduration::nallhours() const {
    const std::int64_t magnitude = static_cast<std::int64_t>(mDays) * 24 + mHours;
    return mPositive ? magnitude : -magnitude;
}

std::int64_t timeduration::nallminutes() const {
    const std::int64_t magnitude = (static_cast<std::int64_t>(mDays) * 24 + mHours) * 60 + mMinutes;
    return mPositive ? magnitude : -magnitude;
}

std::int64_t timeduration::nallseconds() const {
    const std::int64_t magnitude = ((static_cast<std::int64_t>(mDays) * 24 + mHours) * 60 + mMinutes) * 60 + mSeconds;
    return mPositive ? magnitude : -magnitude;
}

bool timeduration::operator==(const timeduration& other) const {
    return mDays == other.mDays && mHours == other.mHours && mMinutes == other.mMinutes &&
           mSeconds == other.mSeconds && mMilliseconds == other.mMilliseconds && mPositive == other.mPositive;
}

} // namespace vx
