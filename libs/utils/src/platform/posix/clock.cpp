#include "platform/clock.h"

#include <cstdlib>
#include <cstring>
#include <mutex>
#include <string>
#include <sys/time.h>
#include <time.h>

namespace vx::platform {

namespace {

// tzset looks at the zone file again on every call (a path lookup and a read, on every log line
// through the timestamp), so it runs only when TZ has changed since the last time, or when a second
// has passed: a changed TZ takes effect at the next call, a changed zone file within a second.
void refreshZone() {
    static std::mutex lock;
    static bool known = false;
    static bool hadZone = false;
    static std::string lastZone;
    static timespec lastRead{};
    timespec nowTs{};
    ::clock_gettime(CLOCK_MONOTONIC_COARSE, &nowTs);
    std::lock_guard<std::mutex> hold(lock);
    // getenv under the lock: the text it points to is copied before another call can change it.
    const char* zone = std::getenv("TZ");
    const bool same = known && hadZone == (zone != nullptr) && (!zone || lastZone == zone) &&
                      nowTs.tv_sec == lastRead.tv_sec;
    if (same)
        return;
    ::tzset();
    known = true;
    hadZone = zone != nullptr;
    lastZone = zone ? zone : "";
    lastRead = nowTs;
}

} // namespace

currentTime now() {
    currentTime result;
    currentInstant(result.seconds, result.milliseconds);
    refreshZone();
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
    refreshZone();
    const time_t t = static_cast<time_t>(seconds);
    return ::localtime_r(&t, &out) != nullptr;
}

bool toUniversalTime(std::int64_t seconds, std::tm& out) {
    const time_t t = static_cast<time_t>(seconds);
    return ::gmtime_r(&t, &out) != nullptr;
}

bool fromLocalTime(std::tm& local, std::int64_t& seconds) {
    ::tzset();
    // -1 is also the second before 1970 in UTC: mktime writes the weekday only when it succeeds.
    const int weekday = local.tm_wday;
    local.tm_wday = -1;
    const time_t t = ::mktime(&local);
    if (t == static_cast<time_t>(-1) && local.tm_wday == -1) {
        local.tm_wday = weekday;
        return false;
    }
    seconds = static_cast<std::int64_t>(t);
    return true;
}

} // namespace vx::platform
