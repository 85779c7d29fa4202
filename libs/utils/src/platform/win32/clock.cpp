#include "platform/clock.h"

#include <sys/timeb.h>
#include <time.h>

namespace vx::platform {

currentTime now() {
    ::_tzset();
    __timeb64 tb{};
    currentTime result;
    if (::_ftime64_s(&tb) != 0)
        return result;
    result.seconds = tb.time;
    result.milliseconds = tb.millitm;
    result.zoneMinutesWest = tb.timezone;
    result.daylight = tb.dstflag != 0;
    return result;
}

void currentInstant(std::int64_t& seconds, unsigned short& milliseconds) {
    __timeb64 tb{};
    if (::_ftime64_s(&tb) != 0) {
        seconds = 0;
        milliseconds = 0;
        return;
    }
    seconds = tb.time;
    milliseconds = tb.millitm;
}

void reloadTimeZone() { ::_tzset(); }

bool toLocalTime(std::int64_t seconds, std::tm& out) {
    ::_tzset();
    const __time64_t t = seconds;
    return ::_localtime64_s(&out, &t) == 0;
}

bool toUniversalTime(std::int64_t seconds, std::tm& out) {
    const __time64_t t = seconds;
    return ::_gmtime64_s(&out, &t) == 0;
}

bool fromLocalTime(std::tm& local, std::int64_t& seconds) {
    ::_tzset();
    const __time64_t t = ::_mktime64(&local);
    if (t == static_cast<__time64_t>(-1))
        return false;
    seconds = t;
    return true;
}

} // namespace vx::platform
