#include "platform/clock.h"

#include <sys/time.h>
#include <time.h>

namespace vx::platform {

currentTime now() {
    currentTime result;
    currentInstant(result.seconds, result.milliseconds);
    ::tzset();
    // timezone holds the standard zone in seconds west of UTC once tzset has run.
    result.zoneMinutesWest = static_cast<int>(::timezone / 60);
    std::tm local{};
    const time_t t = static_cast<time_t>(result.seconds);
    result.daylight = ::localtime_r(&t, &local) != nullptr && local.tm_isdst > 0;
    return result;
}

void currentInstant(std::int64_t& seconds, unsigned short& milliseconds) {
    timespec ts{};
    ::clock_gettime(CLOCK_REALTIME, &ts);
    seconds = static_cast<std::int64_t>(ts.tv_sec);
    milliseconds = static_cast<unsigned short>(ts.tv_nsec / 1000000);
}

void reloadTimeZone() { ::tzset(); }

bool toLocalTime(std::int64_t seconds, std::tm& out) {
    ::tzset();
    const time_t t = static_cast<time_t>(seconds);
    return ::localtime_r(&t, &out) != nullptr;
}

bool toUniversalTime(std::int64_t seconds, std::tm& out) {
    const time_t t = static_cast<time_t>(seconds);
    return ::gmtime_r(&t, &out) != nullptr;
}

bool fromLocalTime(std::tm& local, std::int64_t& seconds) {
    ::tzset();
    const time_t t = ::mktime(&local);
    if (t == static_cast<time_t>(-1))
        return false;
    seconds = static_cast<std::int64_t>(t);
    return true;
}

} // namespace vx::platform
