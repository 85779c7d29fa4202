#include "vxCalendar.h"

#include <algorithm>

namespace vx {

calendar::~calendar() = default;

bool calendar::isWorkday(const date& d) const {
    const date::eWeekday weekday = d.dayOfWeek();
    return weekday != date::saturday && weekday != date::sunday;
}

configurableCalendar::configurableCalendar() { std::fill(std::begin(mWeeklyHolidays), std::end(mWeeklyHolidays), false); }

void configurableCalendar::setWeeklyHoliday(date::eWeekday weekday) {
    if (weekday >= date::monday && weekday <= date::sunday)
        mWeeklyHolidays[weekday] = true;
}

void configurableCalendar::setYearlyHoliday(date::eMonth month, unsigned day) { mYearlyHolidays.emplace(month, day); }

void configurableCalendar::setYearlyWorkday(date::eMonth month, unsigned day) { mYearlyWorkdays.emplace(month, day); }

void configurableCalendar::setHoliday(date d) { mHolidays.insert(d); }

void configurableCalendar::setWorkday(date d) { mWorkdays.insert(d); }

void configurableCalendar::reInitialize() {
    std::fill(std::begin(mWeeklyHolidays), std::end(mWeeklyHolidays), false);
    mYearlyHolidays.clear();
    mYearlyWorkdays.clear();
    mHolidays.clear();
    mWorkdays.clear();
}

bool configurableCalendar::isWorkday(const date& d) const {
    if (mWorkdays.count(d))
        return true;
    if (mHolidays.count(d))
        return false;
    // Only ask for the weekday when a weekly rule exists: a date with month 0 has none.
    if (std::find(std::begin(mWeeklyHolidays), std::end(mWeeklyHolidays), true) != std::end(mWeeklyHolidays) &&
        mWeeklyHolidays[d.dayOfWeek()])
        return false;
    const monthDay key(d.month(), d.dayOfMonth());
    if (mYearlyWorkdays.count(key))
        return true;
    if (mYearlyHolidays.count(key))
        return false;
    return true;
}

} // namespace vx
