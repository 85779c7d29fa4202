// Day numbers of the proleptic Gregorian calendar: 0 is 1970-01-01, and every year, before 1 or
// after 9999 too, follows the Gregorian rules.
#pragma once

#include <cstdint>

namespace vx::detail {

inline std::int64_t floorDiv(std::int64_t a, std::int64_t b) {
    return a / b - ((a % b != 0) && ((a < 0) != (b < 0)));
}

// month 1 to 12, day 1 to 31 (other days count on from the first of the month).
inline std::int64_t daysFromCivil(std::int64_t y, unsigned m, std::int64_t d) {
    y -= m <= 2;
    const std::int64_t era = floorDiv(y, 400);
    const std::int64_t yoe = y - era * 400;
    const std::int64_t doy = (153 * (m > 2 ? m - 3 : m + 9) + 2) / 5 + d - 1;
    const std::int64_t doe = yoe * 365 + yoe / 4 - yoe / 100 + doy;
    return era * 146097 + doe - 719468;
}

inline void civilFromDays(std::int64_t z, std::int64_t& y, unsigned& m, unsigned& d) {
    z += 719468;
    const std::int64_t era = floorDiv(z, 146097);
    const std::int64_t doe = z - era * 146097;
    const std::int64_t yoe = (doe - doe / 1460 + doe / 36524 - doe / 146096) / 365;
    const std::int64_t doy = doe - (365 * yoe + yoe / 4 - yoe / 100);
    const std::int64_t mp = (5 * doy + 2) / 153;
    d = static_cast<unsigned>(doy - (153 * mp + 2) / 5 + 1);
    m = static_cast<unsigned>(mp < 10 ? mp + 3 : mp - 9);
    y = yoe + era * 400 + (m <= 2);
}

// The day number of a packed date's fields; a month of 0 counts as December of the year before,
// a day of 0 as the day before the first.
inline std::int64_t dayNumberOf(unsigned year, unsigned month, unsigned day) {
    const std::int64_t monthIndex = static_cast<std::int64_t>(year) * 12 + month - 1;
    const std::int64_t y = floorDiv(monthIndex, 12);
    return daysFromCivil(y, static_cast<unsigned>(monthIndex - y * 12) + 1, 1) + day - 1;
}

} // namespace vx::detail
