// Calendars: which dates are workdays. workdays durations (vxDate.h) count with them.
#pragma once

#include "vxDate.h"
#include "vxExport.h"

#include <set>
#include <utility>

namespace vx {

// Monday to Friday are workdays, Saturday and Sunday are not.
class VX_API calendar {
public:
    calendar() = default;
    calendar(const calendar&) = default;
    calendar& operator=(const calendar&) = default;
    virtual ~calendar();
    virtual bool isWorkday(const date& d) const;
};

// A calendar made of rules. A new one has no weekend: every day is a workday until rules are set.
// isWorkday decides by the first rule that fits, in this order: a single workday (true), a single
// holiday (false), a weekly holiday (false), a yearly workday (true), a yearly holiday (false);
// otherwise true.
class VX_API configurableCalendar : public calendar {
public:
    configurableCalendar();

    void setWeeklyHoliday(date::eWeekday weekday);
    void setYearlyHoliday(date::eMonth month, unsigned day);
    void setYearlyWorkday(date::eMonth month, unsigned day);
    void setHoliday(date d);
    void setWorkday(date d);
    // Forgets every rule.
    void reInitialize();

    bool isWorkday(const date& d) const override;

private:
    using monthDay = std::pair<unsigned, unsigned>;
    bool mWeeklyHolidays[7];
    std::set<monthDay> mYearlyHolidays;
    std::set<monthDay> mYearlyWorkdays;
    std::set<date> mHolidays;
    std::set<date> mWorkdays;
};

} // namespace vx
