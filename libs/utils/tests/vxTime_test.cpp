#include "testSupport.h"

#include <vxTime.h>
#include <vxTypeConversion.h>

#include <limits>
#include <memory>

namespace {

using vxtest::expectThrowsFalse;
using vtime = vx::time;
using vx::timeduration;

std::string show(const vtime& t) { return t.toString().getMBCS(); }

struct span { int sign; unsigned d, h, m, s, ms; };

void expectSpan(const timeduration& t, const span& e, const std::string& what) {
    EXPECT_EQ(t.sign(), e.sign) << what;
    EXPECT_EQ(t.nDays(), e.d) << what;
    EXPECT_EQ(t.nHours(), e.h) << what;
    EXPECT_EQ(t.nMinutes(), e.m) << what;
    EXPECT_EQ(t.nSeconds(), e.s) << what;
    EXPECT_EQ(t.nMilliseconds(), e.ms) << what;
}

} // namespace

TEST(Time, ConstructorCarries) {
    struct row { unsigned h, m, s, ms; unsigned secondOfDay, msField; };
    const row rows[] = {
        {12, 0, 0, 999, 43200, 231},    {24, 0, 0, 0, 86400, 0},        {24, 0, 0, 1, 0, 1},
        {23, 59, 60, 0, 86400, 0},      {0, 0, 0, 3600000, 3600, 0},    {0, 90, 0, 0, 5400, 0},
        {1, 0, 3661, 0, 7261, 0},       {25, 0, 0, 0, 3600, 0},         {0, 0, 0, 61500, 61, 244},
        {23, 59, 3599, 3599999, 93538, 231}, {0, 0, 0, 0, 0, 0},            {13, 5, 9, 42, 47109, 42},
        {4294967295u, 4294967295u, 4294967295u, 4294967295u, 67562, 39},
    };
    for (const row& r : rows) {
        const vtime t(r.h, r.m, r.s, r.ms);
        EXPECT_EQ(t.secondOfDay(), r.secondOfDay) << r.h << ":" << r.m << ":" << r.s << "." << r.ms;
        EXPECT_EQ(t.msecond(), r.msField) << r.h << ":" << r.m << ":" << r.s << "." << r.ms;
    }
    const vtime t(13, 5, 9, 42);
    EXPECT_EQ(t.hour(), 13u);
    EXPECT_EQ(t.minute(), 5u);
    EXPECT_EQ(t.second(), 9u);
    EXPECT_EQ(t.minuteOfDay(), 785u);
    EXPECT_EQ(t.secondOfHour(), 309u);
    EXPECT_EQ(vtime::midnight().word(), 22118400u);
    EXPECT_NE(vtime::midnight(), vtime::daystart());
    EXPECT_EQ(vtime::daystart(), vtime());
    EXPECT_EQ(vtime::lunchtime(), vtime(12, 0, 0, 0));
    EXPECT_LT(vtime::daystart(), vtime::midnight());
}

TEST(Time, AddingAndSubtracting) {
    struct row {
        vtime start;
        std::shared_ptr<vx::time_duration> step;
        bool add, withOverflow;
        unsigned secondOfDay, msField, overflow;
    };
    using std::make_shared;
    const row rows[] = {
        {vtime(23, 59, 59, 0), make_shared<vx::seconds>(1), true, false, 86400, 0, 0},
        {vtime(23, 59, 59, 0), make_shared<vx::seconds>(1), true, true, 0, 0, 1},
        {vtime(0, 0, 0, 0), make_shared<vx::hours>(48), true, false, 86400, 0, 0},
        {vtime(0, 0, 0, 0), make_shared<vx::hours>(48), true, true, 0, 0, 2},
        {vtime(12, 0, 0, 0), make_shared<vx::hours>(0xFFFFFFFFu), true, true, 10800, 0, 178956971},
        {vtime(12, 0, 0, 0), make_shared<vx::hours>(0xFFFFFFFFu), false, true, 75600, 0, 178956971},
        {vtime(12, 0, 0, 0), make_shared<vx::hours>(0), true, false, 43200, 0, 0},
        {vtime(0, 0, 0, 0), make_shared<vx::seconds>(0), true, false, 0, 0, 0},
        {vtime::midnight(), make_shared<vx::seconds>(0), true, true, 0, 0, 1},
        {vtime(0, 0, 10, 0), make_shared<vx::seconds>(20), false, false, 86390, 0, 0},
        {vtime(0, 0, 10, 0), make_shared<vx::seconds>(20), false, true, 86390, 0, 1},
        {vtime(0, 0, 0, 0), make_shared<vx::hours>(24), false, false, 86400, 0, 0},
        {vtime(1, 0, 0, 0), make_shared<vx::minutes>(1500), true, true, 3600 + 90000 - 86400, 0, 1},
        {vtime(0, 0, 0, 200), make_shared<vx::mseconds>(900), true, true, 1, 100, 0},
        {vtime(0, 0, 0, 0), make_shared<vx::mseconds>(2500), true, true, 2, 244, 0},
        {vtime(0, 0, 0, 100), make_shared<vx::mseconds>(200), false, true, 86399, 132, 1},
        {vtime(23, 59, 59, 200), make_shared<vx::mseconds>(800), true, false, 86400, 0, 0},
        {vtime(1, 0, 0, 0), make_shared<timeduration>(-1, 0, 2, 0, 0, 0), true, true, 82800, 0, 1},
        {vtime(1, 0, 0, 0), make_shared<timeduration>(1, 3, 2, 1, 1, 1), true, true, 10861, 1, 0},
        {vtime(23, 0, 0, 0), make_shared<timeduration>(1, 0, 1, 0, 0, 0), true, false, 86400, 0, 0},
        {vtime(1, 0, 0, 0), make_shared<timeduration>(1, 0, 2, 0, 0, 0), false, true, 82800, 0, 1},
    };
    int line = 0;
    for (const row& r : rows) {
        ++line;
        vtime t = r.start;
        unsigned overflow = 12345;
        unsigned* pointer = r.withOverflow ? &overflow : nullptr;
        r.add ? r.step->addToTime(t, pointer) : r.step->subtractFromTime(t, pointer);
        EXPECT_EQ(t.secondOfDay(), r.secondOfDay) << "row " << line;
        EXPECT_EQ(t.msecond(), r.msField) << "row " << line;
        if (r.withOverflow) {
            EXPECT_EQ(overflow, r.overflow) << "row " << line;
        } else {
            EXPECT_EQ(r.add ? r.start + *r.step : r.start - *r.step, t) << "row " << line;
        }
    }
}

TEST(TimeDuration, SetDurationNormalisesFloored) {
    struct row { int sign; long d, h, m, s, ms; span expected; };
    const row rows[] = {
        {1, 0, 0, 0, 0, -1, {-1, 1, 23, 59, 59, 999}},
        {1, 0, 25, 0, 0, 0, {1, 1, 1, 0, 0, 0}},
        {-1, -2, 0, 0, 0, 0, {1, 2, 0, 0, 0, 0}},
        {1, 0, 0, 0, 0, 3723004, {1, 0, 1, 2, 3, 4}},
        {-1, 0, 0, 0, 0, 0, {-1, 0, 0, 0, 0, 0}},
        {1, 0, 0, -61, 0, 0, {-1, 1, 22, 59, 0, 0}},
        {7, 0, 1, 0, 0, 0, {-1, 0, 1, 0, 0, 0}},
    };
    for (const row& r : rows)
        expectSpan(timeduration(r.sign, r.d, r.h, r.m, r.s, r.ms), r.expected, "setDuration");
    if (sizeof(long) == 8) { // the largest 64-bit arguments: no overflow, the day count stops at its limit
        const long most = std::numeric_limits<long>::max(), least = std::numeric_limits<long>::min();
        expectSpan(timeduration(1, most, most, most, most, most), {1, 0xFFFFFFFFu, 7, 7, 7, 807}, "largest");
        expectSpan(timeduration(1, least, 0, 0, 0, 0), {-1, 0xFFFFFFFFu, 0, 0, 0, 0}, "least days");
    }
}

TEST(TimeDuration, ScalingSumsAndTotals) {
    expectSpan(timeduration(1, 1, 3, 0, 0, 500) * 2.5, {1, 2, 7, 0, 1, 250}, "* 2.5");
    expectSpan(timeduration(1, 0, 1, 0, 0, 0) * -1.0, {-1, 0, 1, 0, 0, 0}, "* -1");
    expectSpan(timeduration(-1, 0, 1, 0, 0, 0) * -0.5, {1, 0, 0, 0, 0, 0}, "-1h * -0.5 truncates the hour");
    expectSpan(timeduration(1, 2000000000L, 0, 0, 0, 0) * 1e30, {1, 0xFFFFFFFFu, 0, 0, 0, 0}, "huge factor");
    timeduration sum(1, 0, 1, 0, 0, 0);
    sum -= timeduration(1, 0, 2, 0, 0, 0);
    expectSpan(sum, {-1, 0, 1, 0, 0, 0}, "1h - 2h");
    sum += timeduration(1, 1, 0, 0, 0, 1);
    expectSpan(sum, {1, 0, 23, 0, 0, 1}, "-1h + 1d 1ms");
    const timeduration negative(-1, 1, 2, 3, 4, 5);
    EXPECT_EQ(negative.nallhours(), -26);
    EXPECT_EQ(negative.nallminutes(), -1563);
    EXPECT_EQ(negative.nallseconds(), -93784);
    if (sizeof(long) == 8) { // a day count beyond 32 bits
        EXPECT_EQ(timeduration(1, static_cast<long>(0xFFFFFFFFLL), 23, 59, 59, 0).nallseconds(),
                  0xFFFFFFFFLL * 86400 + 86399);
    }
}

TEST(Time, Difference) {
    struct row { vtime left, right; span expected; };
    const row rows[] = {
        {vtime(13, 0, 0, 0), vtime(12, 0, 0, 0), {1, 0, 1, 0, 0, 0}},
        {vtime(12, 0, 0, 0), vtime(13, 0, 0, 0), {-1, 0, 1, 0, 0, 0}},
        {vtime(12, 0, 0, 100), vtime(12, 0, 0, 200), {-1, 0, 0, 0, 1, 100}},
        {vtime(12, 0, 0, 200), vtime(12, 0, 0, 100), {-1, 0, 0, 0, 0, 100}},
        {vtime(12, 0, 0, 0), vtime(12, 0, 0, 0), {-1, 0, 0, 0, 0, 0}},
        {vtime::midnight(), vtime::daystart(), {1, 1, 0, 0, 0, 0}},
        {vtime(23, 59, 59, 0), vtime(0, 0, 1, 0), {1, 0, 23, 59, 58, 0}},
    };
    for (const row& r : rows)
        expectSpan(r.left - r.right, r.expected, show(r.left) + " - " + show(r.right));
}

TEST(Time, TextBothWays) {
    struct row { const wchar_t* text; const wchar_t* separators; bool ok; vtime expected; };
    const row rows[] = {
        {L"12:30", L":", true, vtime(12, 30, 0, 0)},
        {L"24", L":", true, vtime(0, 0, 0, 0)},
        {L"24:30", L":", true, vtime(0, 30, 0, 0)},
        {L"12:00:00:999", L":", true, vtime(12, 0, 0, 999)},
        {L"1.2.3.4", L".", true, vtime(1, 2, 3, 4)},
        {L"7:8:9:10:99", L":", true, vtime(7, 8, 9, 10)},
        {L"25", L":", false, vtime()},
        {L"12:60", L":", false, vtime()},
        {L"12:00:60", L":", false, vtime()},
        {L"12:00:00:1000", L":", false, vtime()},
        {L"-1", L":", false, vtime()},
        {L"", L":", false, vtime()},
        {L"x", L":", false, vtime()},
        {L"12::30", L":", false, vtime()},
        {L"12:30", nullptr, false, vtime()},
    };
    for (const row& r : rows) {
        try {
            const vtime t = vtime::fromString(r.text, r.separators);
            EXPECT_TRUE(r.ok) << vx::string(r.text).getMBCS();
            EXPECT_EQ(t, r.expected) << vx::string(r.text).getMBCS();
        } catch (bool value) {
            EXPECT_FALSE(value);
            EXPECT_FALSE(r.ok) << vx::string(r.text).getMBCS();
        }
    }
    using vx::typeconvert::dtconvert;
    vx::string text;
    EXPECT_TRUE(dtconvert(text, vtime(12, 0, 0, 999)));
    EXPECT_EQ(text, L"12:00:00:231");
    EXPECT_TRUE(dtconvert(text, vtime::midnight()));
    EXPECT_EQ(text, L"24:00:00:000");
    vtime t;
    EXPECT_TRUE(dtconvert(t, vx::string(L"01:02:03:004")));
    EXPECT_EQ(t, vtime(1, 2, 3, 4));
    EXPECT_FALSE(dtconvert(t, vx::string(L"x1:02")));
    EXPECT_EQ(t, vtime(1, 2, 3, 4));
}

TEST(Time, SystemForms) {
    vxtest::scopedEnvironment zone("TZ", "VXT-3");
    EXPECT_EQ(vtime::fromTimer(0), vtime(3, 0, 0, 0));
    const vx::timeb64 tb{3600 + 59, 750, 0, 0};
    EXPECT_EQ(vtime::fromTimeb(&tb), vtime(4, 0, 59, 750));
    std::tm tm{};
    tm.tm_hour = 23;
    tm.tm_min = 5;
    tm.tm_sec = 6;
    EXPECT_EQ(vtime::fromTm(&tm, 7), vtime(23, 5, 6, 7));
    expectThrowsFalse([] { vtime::fromTm(nullptr, 0); }, "fromTm(null)");
    expectThrowsFalse([] { vtime::fromTimeb(nullptr); }, "fromTimeb(null)");
    const vtime now = vtime::now();
    EXPECT_LE(now.secondOfDay(), 86399u);
}
