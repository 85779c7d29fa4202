// The system clock and the local-time conversions.
//
// Every conversion that involves the local zone first has the C runtime read the zone setting
// again (tzset), so a changed TZ takes effect at the next call. Internal to libvxUtils.
#pragma once

#include <cstdint>
#include <ctime>

namespace vx::platform {

// The current time as the runtime's ftime gives it.
struct currentTime {
    std::int64_t seconds = 0;       // since 1970-01-01 00:00:00 UTC
    unsigned short milliseconds = 0;
    int zoneMinutesWest = 0;        // the standard zone, minutes west of UTC
    bool daylight = false;          // whether daylight time is in effect now
};
currentTime now();

// The current time alone, seconds since 1970-01-01 00:00:00 UTC and milliseconds, without the
// zone: for callers that convert it themselves, so that the zone setting is read once.
void currentInstant(std::int64_t& seconds, unsigned short& milliseconds);

// Has the runtime read the zone setting (TZ) again.
void reloadTimeZone();

// Seconds since 1970 broken down in local time (localtime) or in UTC (gmtime); false when the
// value cannot be represented.
bool toLocalTime(std::int64_t seconds, std::tm& out);
bool toUniversalTime(std::int64_t seconds, std::tm& out);

// A local time to seconds since 1970 (mktime); the fields are normalised in place. False when the
// time cannot be represented; seconds is then left as it was.
bool fromLocalTime(std::tm& local, std::int64_t& seconds);

// Processor time used by the process (the C clock), in milliseconds.
std::int64_t processClockMilliseconds();

} // namespace vx::platform
