// The processor clock, the same C library call on every system.
#include "platform/clock.h"

#include <ctime>

namespace vx::platform {

std::int64_t processClockMilliseconds() {
    const clock_t ticks = ::clock();
    if (ticks == static_cast<clock_t>(-1))
        return 0;
    return static_cast<std::int64_t>(ticks) * 1000 / CLOCKS_PER_SEC;
}

} // namespace vx::platform
