#include "testSupport.h"

#include <vxCalendar.h>
#include <vxDate.h>
#include <vxTime.h>
#include <vxTypeConversion.h>

#include <climits>
#include <cstdint>
#include <vector>

namespace {

using vxtest::expectThrowsFalse;
using vx::date;

std::string show(const date& d) { return d.toString().getMBCS(); }
std::string show(const wchar_t* text) { return vx::string(text).getMBCS(); }

bool gregorianLeap(int y) { return (y % 4 == 0 && y % 100 != 0) || y % 400 == 0; }

// Gauss's Easter formula with Lichtenberg's corrections: the day of March (beyond 31, April).
date gaussEaster(int y) {
    const int k = y / 100, a = y % 19;
    const int m = 15 + (3 * k + 3) / 4 - (8 * k + 13) / 25;
    const int s = 2 - (3 * k + 3) / 4;
    const int d = (19 * a + m) % 30;
    const int r = (d + a / 11) / 29;
    const int og = 21 + d - r;
    const int sz = 7 - (y + y / 4 + s) % 7;
    const int oe = 7 - (og - sz) % 7;
    const int os = og + oe;
    return os > 31 ? date(y, 4, os - 31) : date(y, 3, os);
}

} // namespace

TEST(Date, ConstructionClampsAsTabled) {
    struct row { unsigned y, m, d; unsigned ey, em, ed; };
    const row rows[] = {
        {2023, 2, 31, 2023, 2, 28}, {2024, 2, 31, 2024, 2, 29}, {70000, 5, 5, 65535, 1, 1},
        {65536, 12, 31, 65535, 1, 1}, {2023, 13, 5, 2023, 12, 5}, {2023, 13, 40, 2023, 12, 31},
        {2023, 0, 5, 2023, 0, 5},     {2023, 5, 0, 2023, 5, 0},   {2023, 0, 40, 2023, 0, 31},
        {0, 1, 1, 0, 1, 1},           {1900, 2, 29, 1900, 2, 28}, {2000, 2, 30, 2000, 2, 29},
    };
    for (const row& r : rows) {
        const date d(r.y, r.m, r.d);
        EXPECT_EQ(d.year(), r.ey) << r.y << "-" << r.m << "-" << r.d;
        EXPECT_EQ(d.month(), r.em) << r.y << "-" << r.m << "-" << r.d;
        EXPECT_EQ(d.dayOfMonth(), r.ed) << r.y << "-" << r.m << "-" << r.d;
        EXPECT_EQ(d.word(), (r.ey << 12) | (r.em << 8) | r.ed);
    }
    EXPECT_EQ(date::minDate().word(), 6484225u);
    EXPECT_EQ(date::tessaroIniDate().word(), 7782657u);
    EXPECT_EQ(date::maxDate(), date(65535, 12, 31));
    EXPECT_EQ(date(), date(date::today().year(), 1, 1));
}

// Every day from 1583 to 9999 against a running count: weekday, day of year, leap years, the
// order of the words, and the week rule (the ISO week, with week 53 reported as week 1).
TEST(Date, CalendarFactsAgainstARunningCount) {
    std::vector<long> yearStart(10002);
    for (int y = 1583; y <= 10000; ++y)
        yearStart[y + 1] = yearStart[y] + (gregorianLeap(y) ? 366 : 365);
    // 1583-01-01 was a Saturday.
    int weekday = 5;
    long serial = 0;
    date previous(1582, 12, 31);
    int failures = 0;
    for (int y = 1583; y <= 9999 && failures < 10; ++y) {
        EXPECT_EQ(date::isLeapYear(y), gregorianLeap(y));
        EXPECT_EQ(date::daysInYear(y), gregorianLeap(y) ? 366u : 365u);
        EXPECT_EQ(date::firstWeekdayInYear(y), weekday);
        for (int m = 1; m <= 12; ++m) {
            const int length = m == 2 ? (gregorianLeap(y) ? 29 : 28) : (m == 4 || m == 6 || m == 9 || m == 11) ? 30 : 31;
            EXPECT_EQ(date::daysInMonth(static_cast<date::eMonth>(m), y), static_cast<unsigned>(length));
            for (int d = 1; d <= length; ++d, ++serial, weekday = (weekday + 1) % 7) {
                const date day(y, m, d);
                // The ISO week: that of the week's Thursday, in the Thursday's year.
                const long thursday = serial - weekday + 3;
                const int isoYear = thursday < yearStart[y] ? y - 1 : thursday >= yearStart[y + 1] ? y + 1 : y;
                const long isoWeek = (thursday - (isoYear < 1583 ? yearStart[1583] - 365 : yearStart[isoYear])) / 7 + 1;
                const bool ok = day.dayOfWeek() == weekday && static_cast<long>(day.dayOfYear()) == serial - yearStart[y] + 1 &&
                                previous < day && day.weekOfYear() == (isoWeek == 53 ? 1u : static_cast<unsigned>(isoWeek));
                if (!ok && ++failures < 10)
                    ADD_FAILURE() << show(day) << " weekday " << day.dayOfWeek() << " expected " << weekday
                                  << ", week " << day.weekOfYear() << " expected " << isoWeek;
                previous = day;
            }
        }
    }
}

TEST(Date, WeekOfYearZero) {
    // Year 0 has no year before it; its first days take the week of its own last day.
    EXPECT_GE(date(0, 1, 1).weekOfYear(), 1u);
}

TEST(Date, WeekdayFailsForMonthZero) {
    expectThrowsFalse([] { date(2024, 0, 1).dayOfWeek(); }, "month 0");
    EXPECT_EQ(date(2024, 0, 8).weekOfYear(), 2u); // asks only for the weekday of January 1
    EXPECT_EQ(date(2024, 1, 0).dayOfWeek(), date::sunday); // the day before the first
}

TEST(Date, EasterAgainstGauss) {
    for (unsigned y = 1583; y <= 20000; ++y) {
        const date easter = date::easterSunday(y);
        ASSERT_EQ(easter, gaussEaster(static_cast<int>(y))) << y;
        ASSERT_EQ(easter.dayOfWeek(), date::sunday) << y;
    }
    EXPECT_EQ(date::easterSunday(2024), date(2024, 3, 31));
    EXPECT_EQ(date::easterSunday(2025), date(2025, 4, 20));
}

TEST(Date, NthWeekdayAnswersOnlyTheFirst) {
    EXPECT_EQ(date::nthWeekday(1, date::monday, date::february, 2024), date(2024, 2, 5));
    EXPECT_EQ(date::nthWeekday(1, date::thursday, date::february, 2024), date(2024, 2, 1));
    EXPECT_EQ(date::nthWeekday(1, date::sunday, date::december, 65535).month(), 12u);
    for (unsigned short n : {0, 2, 3, 5, 65535})
        expectThrowsFalse([n] { date::nthWeekday(n, date::monday, date::may, 2024); }, "n other than 1");
}

TEST(Date, Neighbours) {
    const date wed(2024, 5, 15);
    const std::pair<date, date> rows[] = {
        {wed.nextWeekday(date::friday), date(2024, 5, 17)}, {wed.nextWeekday(date::wednesday), date(2024, 5, 22)},
        {wed.prevWeekday(date::monday), date(2024, 5, 13)}, {wed.prevWeekday(date::wednesday), date(2024, 5, 8)},
        {wed.nextYearStart(), date(2025, 1, 1)},            {wed.nextYearEnd(), date(2024, 12, 31)},
        {wed.prevYearStart(), date(2024, 1, 1)},            {wed.prevYearEnd(), date(2023, 12, 31)},
        {date(65535, 3, 1).nextYearStart(), date(65535, 1, 1)}, {date(0, 3, 1).prevYearEnd(), date(0, 1, 1)},
        {date(2024, 0, 5).nextWeekday(date::friday), date(2023, 12, 8)}, // month 0: December before
        {date(2024, 3, 0).prevWeekday(date::thursday), date(2024, 2, 22)},
    };
    for (const auto& [got, expected] : rows)
        EXPECT_EQ(got, expected) << show(expected);
}

TEST(Date, DurationsAtMonthEndsAndLeapDays) {
    struct row { date start; const vx::date_duration* step; bool add; date expected; };
    const vx::days oneDay(1), noDays(0), allDays(0xFFFFFFFFu);
    const vx::weeks twoWeeks(2);
    const vx::months oneMonth(1), fourteenMonths(14), threeMonths(3), manyMonths(0xFFFFFFFFu);
    const vx::years oneYear(1), fourYears(4), manyYears(70000);
    const row rows[] = {
        {date(2024, 1, 31), &oneMonth, true, date(2024, 2, 29)},
        {date(2023, 1, 31), &oneMonth, true, date(2023, 2, 28)},
        {date(2024, 3, 31), &oneMonth, false, date(2024, 2, 29)},
        {date(2023, 11, 15), &fourteenMonths, true, date(2025, 1, 15)},
        {date(2023, 3, 15), &threeMonths, false, date(2022, 12, 15)},
        {date(2024, 2, 29), &oneYear, true, date(2025, 2, 28)},
        {date(2024, 2, 29), &fourYears, false, date(2020, 2, 29)},
        {date(2023, 12, 31), &oneDay, true, date(2024, 1, 1)},
        {date(2024, 3, 1), &oneDay, false, date(2024, 2, 29)},
        {date(2024, 3, 1), &noDays, true, date(2024, 3, 1)},
        {date(2024, 2, 20), &twoWeeks, true, date(2024, 3, 5)},
        {date(2024, 2, 20), &allDays, true, date::maxDate()},
        {date(2024, 2, 20), &allDays, false, date(0, 1, 1)},
        {date(65535, 6, 1), &oneYear, true, date(65535, 1, 1)},
        {date(2024, 6, 1), &manyYears, false, date(0, 1, 1)},
        {date(2024, 6, 1), &manyMonths, true, date(65535, 1, 1)},
        {date(2024, 6, 1), &manyMonths, false, date(0, 1, 1)},
    };
    for (const row& r : rows) {
        date d = r.start;
        r.add ? d += *r.step : d -= *r.step;
        EXPECT_EQ(d, r.expected) << show(r.start) << (r.add ? " + " : " - ") << "gives " << show(d);
        EXPECT_EQ(r.add ? r.start + *r.step : r.start - *r.step, r.expected);
    }
}

TEST(Date, DifferenceKeepsItsAsymmetry) {
    struct row { date left, right; unsigned days; bool positive; };
    const row rows[] = {
        {date(2024, 1, 1), date(2023, 12, 31), 1, true},
        {date(2023, 12, 31), date(2024, 1, 1), 730, true},
        {date(2024, 3, 1), date(2024, 2, 1), 29, true},
        {date(2024, 2, 1), date(2024, 3, 1), 29, false},
        {date(2024, 2, 1), date(2024, 2, 1), 0, false},
        {date(2028, 1, 1), date(2024, 1, 1), 1461, true},
        {date(2020, 1, 1), date(2024, 1, 1), 729, false},
    };
    for (const row& r : rows) {
        const vx::timeduration span = r.left - r.right;
        EXPECT_EQ(span.nDays(), r.days) << show(r.left) << " - " << show(r.right);
        EXPECT_EQ(span.isPositive(), r.positive) << show(r.left) << " - " << show(r.right);
        EXPECT_EQ(span.nHours() + span.nMinutes() + span.nSeconds() + span.nMilliseconds(), 0u);
    }
}

TEST(Date, WorkdaysCountWithTheCalendar) {
    const vx::calendar weekdays;
    vx::configurableCalendar office;
    office.setWeeklyHoliday(date::saturday);
    office.setWeeklyHoliday(date::sunday);
    office.setHoliday(date(2024, 12, 25));
    office.setYearlyHoliday(date::december, 26);
    office.setWorkday(date(2024, 12, 28)); // a Saturday worked
    struct row { date start; std::uint32_t n; const vx::calendar* cal; bool add; date expected; };
    const row rows[] = {
        {date(2024, 1, 5), 1, &weekdays, true, date(2024, 1, 8)},
        {date(2024, 1, 8), 1, &weekdays, false, date(2024, 1, 5)},
        {date(2024, 1, 6), 5, &weekdays, true, date(2024, 1, 12)},
        {date(2024, 12, 24), 1, &office, true, date(2024, 12, 27)},
        {date(2024, 12, 24), 2, &office, true, date(2024, 12, 28)},
        {date(2024, 12, 24), 3, &office, true, date(2024, 12, 30)},
        {date(2024, 12, 30), 3, &office, false, date(2024, 12, 24)},
        {date(2024, 12, 24), 0, nullptr, true, date(2024, 12, 24)},
    };
    for (const row& r : rows) {
        vx::workdays step(r.n);
        EXPECT_EQ(step.setCalendar(r.cal), r.cal != nullptr);
        EXPECT_EQ(r.add ? r.start + step : r.start - step, r.expected) << show(r.start) << " n " << r.n;
    }
    // No calendar, or no workday before the range of dates ends: a thrown false, date kept.
    date d(2024, 5, 5);
    expectThrowsFalse([&] { d += vx::workdays(1); }, "no calendar");
    vx::configurableCalendar never;
    for (int w = 0; w < 7; ++w)
        never.setWeeklyHoliday(static_cast<date::eWeekday>(w));
    date early(3, 5, 5);
    expectThrowsFalse([&] { early -= vx::workdays(1, &never); }, "no workday before year 0");
    EXPECT_EQ(early, date(3, 5, 5));
    expectThrowsFalse([&] { d = date(65535, 12, 1) + vx::workdays(100, &weekdays); }, "range end");
    EXPECT_EQ(d, date(2024, 5, 5));
}

TEST(Calendar, DecisionOrder) {
    const date sunday(2024, 6, 2), monday(2024, 6, 3);
    vx::configurableCalendar cal;
    EXPECT_TRUE(cal.isWorkday(sunday)); // no weekend until one is set
    EXPECT_FALSE(vx::calendar().isWorkday(sunday));
    EXPECT_TRUE(vx::calendar().isWorkday(monday));
    cal.setWeeklyHoliday(date::sunday);
    cal.setYearlyWorkday(date::june, 2);
    EXPECT_FALSE(cal.isWorkday(sunday)); // a weekly holiday beats a yearly workday
    cal.setWorkday(sunday);
    EXPECT_TRUE(cal.isWorkday(sunday)); // a single day beats everything
    cal.setHoliday(sunday);
    EXPECT_TRUE(cal.isWorkday(sunday)); // the single workday is asked first
    cal.setYearlyHoliday(date::june, 3);
    EXPECT_FALSE(cal.isWorkday(monday));
    cal.setYearlyWorkday(date::june, 3);
    EXPECT_TRUE(cal.isWorkday(monday)); // the yearly workday is asked before the yearly holiday
    EXPECT_FALSE(cal.isWorkday(date(2025, 6, 3).nextWeekday(date::sunday)));

    vx::configurableCalendar copy(cal), assigned;
    assigned = cal;
    cal.reInitialize();
    EXPECT_TRUE(cal.isWorkday(date(2024, 6, 9)));
    EXPECT_FALSE(copy.isWorkday(date(2024, 6, 9)));
    EXPECT_FALSE(assigned.isWorkday(date(2024, 6, 9)));
}

TEST(Date, FromString) {
    struct row { const wchar_t* text; const wchar_t* separators; bool ok; date expected; };
    const row rows[] = {
        {L"2023/02/31", L"/", true, date(2023, 2, 28)},
        {L"'2023/2/3'", L"/", true, date(2023, 2, 3)},
        {L"\" 2023-2-3 '\"", L"-", true, date(2023, 2, 3)},
        {L"2023--2--3", L"--", true, date(2023, 2, 3)},
        {L"12abc/1/1", L"/", true, date(12, 1, 1)},
        {L"70000/1/1", L"/", true, date(65535, 1, 1)},
        {L"2023 / 2 / 3", L"/", true, date(2023, 2, 3)},
        {L"2023/13/1", L"/", false, date()}, {L"2023/0/1", L"/", false, date()}, {L"2023/1/32", L"/", false, date()},
        {L"2023/1/0", L"/", false, date()},  {L"2023/-1/1", L"/", false, date()}, {L"2023/1", L"/", false, date()},
        {L"2023/1/1/1", L"/", false, date()}, {L"x/1/1", L"/", false, date()},   {L"2023/1/", L"/", false, date()},
        {L"", L"/", false, date()},          {L"2023/1/1", nullptr, false, date()}, {L"2023/1/1", L"-", false, date()},
        {L"'\"", L"/", false, date()},
    };
    for (const row& r : rows) {
        if (r.ok)
            EXPECT_EQ(date::fromString(r.text, r.separators), r.expected) << show(r.text);
        else
            expectThrowsFalse([&] { date::fromString(r.text, r.separators); }, show(r.text).c_str());
    }
    EXPECT_EQ(date::fromString(L"ToDay", L"/"), date::today());
    EXPECT_EQ(date::fromString(L"TOMORROW", nullptr), date::today() + vx::days(1));
}

TEST(Date, TextAndTm) {
    using vx::typeconvert::dtconvert;
    vx::string text;
    EXPECT_TRUE(dtconvert(text, date(12, 1, 5)) && text == L"0012/01/05");
    date d(2000, 1, 1);
    EXPECT_TRUE(dtconvert(d, vx::string(L"1999/12/31")) && d == date(1999, 12, 31));
    EXPECT_FALSE(dtconvert(d, vx::string(L"1999-12-30")));
    EXPECT_EQ(d, date(1999, 12, 31));

    std::tm tm{};
    tm.tm_hour = 7;
    date(2024, 2, 29).toTm(&tm);
    EXPECT_TRUE(tm.tm_year == 124 && tm.tm_mon == 1 && tm.tm_mday == 29);
    EXPECT_EQ(tm.tm_hour, 7); // other fields stay
    EXPECT_EQ(date::fromTm(&tm), date(2024, 2, 29));
    tm.tm_mon = tm.tm_mday = INT_MAX;
    EXPECT_EQ(date::fromTm(&tm), date(2024, 12, 31));
    tm.tm_year = INT_MAX;
    EXPECT_EQ(date::fromTm(&tm), date(65535, 1, 1));
    expectThrowsFalse([] { date(2024, 1, 1).toTm(nullptr); }, "toTm(null)");
    expectThrowsFalse([] { date::fromTm(nullptr); }, "fromTm(null)");
    vxtest::scopedEnvironment zone("TZ", "UTC");
    EXPECT_EQ(date::fromTimer(0), date(1970, 1, 1));
    EXPECT_EQ(date::fromTimer(951782400), date(2000, 2, 29));
    expectThrowsFalse([] { date::fromTimer(INT64_MAX); }, "fromTimer beyond every year");
}
