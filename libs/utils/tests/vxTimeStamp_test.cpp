#include "testSupport.h"

#include <vxFile.h>
#include <vxTimeStamp.h>
#include <vxTypeConversion.h>


namespace {

using vxtest::expectThrowsFalse;
using vx::date;
using vx::timestamp;
using vtime = vx::time;

std::string show(const timestamp& t) { return t.toString().getMBCS(); }

timestamp at(unsigned y, unsigned mo, unsigned d, unsigned h, unsigned mi, unsigned s, unsigned ms = 0) {
    return timestamp(date(y, mo, d), vtime(h, mi, s, ms));
}

} // namespace

TEST(TimeStamp, FromStringAndText) {
    struct row { const wchar_t* text; bool ok; timestamp expected; };
    const row rows[] = {
        {L"2023/02/03", true, timestamp(date(2023, 2, 3), vtime::midnight())},
        {L"2023/02/03 01:02:03:004", true, at(2023, 2, 3, 1, 2, 3, 4)},
        {L"2023-02-03 01:02:03:004", true, at(2023, 2, 3, 1, 2, 3, 4)},
        {L"2023/02/03 01:02 extra", true, timestamp(date(2023, 2, 3), vtime::midnight())},
        {L"'2023/02/03' 24", true, at(2023, 2, 3, 0, 0, 0)},
        {L"2023/02/03 25:00", false, timestamp()},
        {L"2023/02/03 x", false, timestamp()},
        {L"2023.02.03 01:02", false, timestamp()},
        {L"", false, timestamp()},
        {L" 01:02", false, timestamp()},
    };
    for (const row& r : rows) {
        timestamp t = at(1999, 1, 1, 0, 0, 0);
        const bool ok = vx::typeconvert::dtconvert(t, vx::string(r.text));
        EXPECT_EQ(ok, r.ok) << vx::string(r.text).getMBCS();
        EXPECT_EQ(t, r.ok ? r.expected : at(1999, 1, 1, 0, 0, 0)) << vx::string(r.text).getMBCS() << " gives " << show(t);
    }
    expectThrowsFalse([] { timestamp::fromString(L"2023-02-03 01:02", L" ", L"/", L":"); }, "first attempt only");
    EXPECT_EQ(timestamp::fromString(L"2023/02/03T01:02", L"T", L"/", L":"), at(2023, 2, 3, 1, 2, 0));
    EXPECT_EQ(timestamp::fromString(L"NOW", nullptr, nullptr, nullptr).getDate(), date::today());
    vx::string text;
    EXPECT_TRUE(vx::typeconvert::dtconvert(text, at(2024, 2, 29, 13, 5, 9, 42)) && text == L"2024/02/29 13:05:09:042");
    EXPECT_TRUE(timestamp().getDate() == date() && timestamp().getTime() == vtime());
}

TEST(TimeStamp, Arithmetic) {
    struct row { timestamp start; std::shared_ptr<vx::time_duration> step; bool add; timestamp expected; };
    using std::make_shared;
    const row rows[] = {
        {at(2023, 12, 31, 23, 0, 0), make_shared<vx::hours>(2), true, at(2024, 1, 1, 1, 0, 0)},
        {at(2024, 1, 1, 1, 0, 0), make_shared<vx::hours>(2), false, at(2023, 12, 31, 23, 0, 0)},
        {at(2024, 3, 1, 12, 0, 0), make_shared<vx::hours>(36), false, at(2024, 2, 29, 0, 0, 0)},
        {at(2024, 1, 1, 12, 0, 0), make_shared<vx::timeduration>(1, 2, 13, 0, 0, 0), true, at(2024, 1, 4, 1, 0, 0)},
        {at(2024, 1, 4, 1, 0, 0), make_shared<vx::timeduration>(1, 2, 13, 0, 0, 0), false, at(2024, 1, 1, 12, 0, 0)},
        {at(2024, 1, 4, 1, 0, 0), make_shared<vx::timeduration>(-1, 2, 13, 0, 0, 0), true, at(2024, 1, 1, 12, 0, 0)},
        {timestamp(date(2023, 2, 3), vtime::midnight()), make_shared<vx::seconds>(0), true, at(2023, 2, 4, 0, 0, 0)},
        {at(2024, 1, 1, 0, 0, 0, 100), make_shared<vx::mseconds>(200), false, at(2023, 12, 31, 23, 59, 59, 900)},
        // The largest day count plus a day passed stops at the last date, not a day after the start.
        {at(2024, 1, 1, 23, 0, 0), make_shared<vx::timeduration>(vx::timeduration(1, 2000000000L, 1, 0, 0, 0) * 3.0),
         true, at(65535, 12, 31, 2, 0, 0)},
    };
    for (const row& r : rows) {
        const timestamp moved = r.add ? r.start + *r.step : r.start - *r.step;
        EXPECT_EQ(moved, r.expected) << show(r.start) << " gives " << show(moved);
    }
    timestamp t = at(2024, 1, 31, 8, 0, 0);
    EXPECT_EQ(t += vx::months(1), at(2024, 2, 29, 8, 0, 0));
    EXPECT_EQ(t -= vx::days(29), at(2024, 1, 31, 8, 0, 0));

    const vx::timeduration forward = at(2024, 1, 1, 1, 0, 0) - at(2023, 12, 31, 23, 0, 0, 100);
    EXPECT_TRUE(forward.nallseconds() == 1 * 3600 + 59 * 60 + 59 && forward.nMilliseconds() == 900u);
    const vx::timeduration backward = at(2023, 12, 31, 23, 0, 0) - at(2025, 1, 1, 1, 0, 0);
    EXPECT_TRUE(backward.sign() == -1 && backward.nDays() == 366u && backward.nHours() == 2u);

    EXPECT_LT(at(2024, 1, 1, 23, 0, 0), at(2024, 1, 2, 0, 0, 0));
    EXPECT_LT(at(2024, 1, 1, 1, 0, 0), at(2024, 1, 1, 2, 0, 0));
    timestamp flagged = at(2024, 1, 1, 1, 0, 0);
    flagged.setDaylight(1);
    EXPECT_EQ(flagged, at(2024, 1, 1, 1, 0, 0));
}

// Local time under a fixed zone, one with daylight time, and UTC. Each zone is set for the test's
// duration and read again by the next conversion.
TEST(TimeStamp, LocalTimeAndZones) {
    {
        vxtest::scopedEnvironment zone("TZ", "UTC");
        EXPECT_EQ(timestamp::fromTimer(0), at(1970, 1, 1, 0, 0, 0));
        std::int64_t seconds = 0;
        EXPECT_TRUE(at(2024, 2, 29, 12, 0, 0).toTimer(&seconds) && seconds == 1709208000);
        EXPECT_FALSE(at(2024, 2, 29, 12, 0, 0).toTimer(nullptr));
        EXPECT_EQ(at(2024, 2, 29, 12, 0, 0).asUTC(), at(2024, 2, 29, 12, 0, 0));
        EXPECT_EQ(timestamp::currentOffsetLocalToUTC(), 0);
#ifndef _WIN32 // the runtime of Windows converts no time before 1970
        // The second before 1970 is -1, which is no failure.
        EXPECT_TRUE(at(1969, 12, 31, 23, 59, 59).toTimer(&seconds) && seconds == -1);
        EXPECT_EQ(at(1969, 12, 31, 23, 59, 59).asUTC(), at(1969, 12, 31, 23, 59, 59));
#endif
    }
    {
        vxtest::scopedEnvironment zone("TZ", "VXT-3");
        EXPECT_EQ(timestamp::fromTimer(0), at(1970, 1, 1, 3, 0, 0));
        const vx::timeb64 tb{86400, 999, 0, 0};
        EXPECT_EQ(timestamp::fromTimeb(&tb), at(1970, 1, 2, 3, 0, 0, 999));
        EXPECT_EQ(at(2024, 1, 1, 1, 0, 0).asUTC(), at(2023, 12, 31, 22, 0, 0));
        EXPECT_EQ(timestamp::offsetLocalToUTC(at(2024, 1, 1, 1, 0, 0)).nallhours(), 3);
        EXPECT_EQ(timestamp::currentOffsetLocalToUTC(), 3);
#ifndef _WIN32
        expectThrowsFalse([] { at(0, 1, 1, 1, 0, 0).asUTC(); }, "UTC before year 0");
#endif
    }
    {
        vxtest::scopedEnvironment zone("TZ", "EST5");
        EXPECT_EQ(timestamp::currentOffsetLocalToUTC(), -5);
        EXPECT_EQ(timestamp::offsetLocalToUTC(at(2024, 1, 1, 1, 0, 0)).nallhours(), -5);
    }
    {
        // Central Europe: UTC+1, daylight time UTC+2 from the last Sunday of March to the last
        // Sunday of October. The daylight flag goes to the conversion as it stands.
        vxtest::scopedEnvironment zone("TZ", "CET-1CEST,M3.5.0,M10.5.0/3");
        EXPECT_EQ(timestamp::fromTimer(1719835200), at(2024, 7, 1, 14, 0, 0)); // 12:00 UTC
        EXPECT_EQ(timestamp::fromTimer(1704110400), at(2024, 1, 1, 13, 0, 0));
        timestamp summer = at(2024, 7, 1, 14, 0, 0);
        EXPECT_EQ(summer.asUTC(), at(2024, 7, 1, 13, 0, 0)); // flag 0: read as standard time
        summer.setDaylight(1);
        EXPECT_EQ(summer.asUTC(), at(2024, 7, 1, 12, 0, 0));
        EXPECT_EQ(at(2024, 1, 1, 13, 0, 0).asUTC(), at(2024, 1, 1, 12, 0, 0));
        const int offset = timestamp::currentOffsetLocalToUTC();
        EXPECT_TRUE(offset == 1 || offset == 2);
        std::tm tm{};
        summer.toTm(&tm);
        EXPECT_TRUE(tm.tm_isdst == 1 && tm.tm_wday == 1 && tm.tm_yday == 182); // a Monday
        EXPECT_EQ(timestamp::fromTm(&tm), at(2024, 7, 1, 14, 0, 0));
        EXPECT_EQ(timestamp::fromTm(&tm).daylight(), 0);
    }
    EXPECT_EQ(vxtest::failedAssertion([] { timestamp::fromTm(nullptr); }).find(L"Assertion failed:\npTm\n"), 0u);
    expectThrowsFalse([] { at(2024, 1, 1, 0, 0, 0).toTm(nullptr); }, "toTm(null)");
    expectThrowsFalse([] { timestamp::fromTimer(INT64_MAX); }, "beyond every year");
}

TEST(TimeStamp, FileModificationTime) {
    vxtest::scopedEnvironment zone("TZ", "UTC");
    vxtest::tempDir dir;
    const vx::file f(vxtest::windowsForm(dir.path() + "/stamped.txt"));
    EXPECT_FALSE(f.setLastModificationTime(at(2020, 1, 2, 3, 4, 5)));
    ASSERT_TRUE(f.create());
    EXPECT_TRUE(f.setLastModificationTime(at(2020, 1, 2, 3, 4, 5)) && f.lastModificationTime() == 1577934245);
}

TEST(Stopwatch, MeasuresProcessorTime) {
    vx::stopwatch watch;
    watch.stop(); // not running: nothing
    EXPECT_EQ(watch.value(), 0.0);
    watch.start();
    volatile double sink = 0;
    for (double before = watch.value(); watch.value() - before < 0.02;)
        for (int i = 0; i < 100000; ++i)
            sink = sink + i;
    watch.stop();
    const double measured = watch.value();
    EXPECT_GE(measured, 0.02);
    EXPECT_EQ(watch.value(), measured); // stopped: it stands still
    watch.start();
    watch.start(); // running: nothing
    watch.reset();
    EXPECT_LT(watch.value(), measured);
    watch.stop();
    watch.reset();
    EXPECT_EQ(watch.value(), 0.0);
    EXPECT_EQ(vxtest::show(watch.toString()), L"     0.000\tsec.msec");
}
