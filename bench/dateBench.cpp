// Benchmarks of date arithmetic, weekdays and the parsing of date texts next to Howard Hinnant's
// date library (the calendar types that became C++20's <chrono>) and POSIX strptime.
//
// Names follow BM_<operation>_<implementation>; "vx" is the library, "hh" the date library and
// "strptime" the C library. Every comparison checks once, before its loop, that both sides give
// the same result on the same input; if not, it reports an error instead of a time.
#include "vxDate.h"
#include "vxTime.h"

#include <benchmark/benchmark.h>
#include <date/date.h>

#include <ctime>
#include <string>
#include <vector>

namespace {

namespace hh = date;

// Every tenth day of 1900 to 2100, as year, month and day.
struct ymd {
    unsigned y, m, d;
};

const std::vector<ymd>& sampleDays() {
    static const std::vector<ymd> days = [] {
        std::vector<ymd> out;
        for (hh::sys_days day = hh::sys_days{hh::year{1900} / 1 / 1}; day < hh::sys_days{hh::year{2100} / 1 / 1};
             day += hh::days{10}) {
            const hh::year_month_day parts{day};
            out.push_back({static_cast<unsigned>(static_cast<int>(parts.year())), static_cast<unsigned>(parts.month()),
                           static_cast<unsigned>(parts.day())});
        }
        return out;
    }();
    return days;
}

bool sameDate(const vx::date& a, const hh::year_month_day& b) {
    return static_cast<int>(a.year()) == static_cast<int>(b.year()) && a.month() == static_cast<unsigned>(b.month()) &&
           a.dayOfMonth() == static_cast<unsigned>(b.day());
}

// --- weekday -------------------------------------------------------------------------------------

void BM_weekday_vx(benchmark::State& state) {
    const auto& days = sampleDays();
    for (const ymd& x : days) {
        const unsigned expected = hh::weekday{hh::year_month_day{hh::year(x.y), hh::month(x.m), hh::day(x.d)}}.iso_encoding() - 1;
        if (static_cast<unsigned>(vx::date(x.y, x.m, x.d).dayOfWeek()) != expected) {
            state.SkipWithError("weekdays differ");
            return;
        }
    }
    for (auto _ : state)
        for (const ymd& x : days)
            benchmark::DoNotOptimize(vx::date(x.y, x.m, x.d).dayOfWeek());
    state.SetItemsProcessed(state.iterations() * static_cast<long>(days.size()));
}

void BM_weekday_hh(benchmark::State& state) {
    const auto& days = sampleDays();
    for (auto _ : state)
        for (const ymd& x : days)
            benchmark::DoNotOptimize(hh::weekday{hh::year_month_day{hh::year(x.y), hh::month(x.m), hh::day(x.d)}});
    state.SetItemsProcessed(state.iterations() * static_cast<long>(days.size()));
}

// --- adding days and months -------------------------------------------------------------------------

void BM_addDays_vx(benchmark::State& state) {
    const auto& days = sampleDays();
    const ymd& first = days.front();
    if (!sameDate(vx::date(first.y, first.m, first.d) + vx::days(1000),
                  hh::year_month_day{hh::sys_days{hh::year(first.y) / first.m / first.d} + hh::days{1000}})) {
        state.SkipWithError("sums differ");
        return;
    }
    for (auto _ : state)
        for (const ymd& x : days)
            benchmark::DoNotOptimize(vx::date(x.y, x.m, x.d) + vx::days(1000));
    state.SetItemsProcessed(state.iterations() * static_cast<long>(days.size()));
}

void BM_addDays_hh(benchmark::State& state) {
    const auto& days = sampleDays();
    for (auto _ : state)
        for (const ymd& x : days)
            benchmark::DoNotOptimize(hh::year_month_day{hh::sys_days{hh::year(x.y) / x.m / x.d} + hh::days{1000}});
    state.SetItemsProcessed(state.iterations() * static_cast<long>(days.size()));
}

// Months: the library keeps the day to the new month's length; the date library's sum may be
// invalid and is clamped to the month's last day here to give the same result.
hh::year_month_day addMonthsClamped(const ymd& x, int n) {
    const hh::year_month_day sum = hh::year(x.y) / x.m / x.d + hh::months{n};
    return sum.ok() ? sum : hh::year_month_day{sum.year() / sum.month() / hh::last};
}

void BM_addMonths_vx(benchmark::State& state) {
    const auto& days = sampleDays();
    for (const ymd& x : days) {
        if (!sameDate(vx::date(x.y, x.m, x.d) + vx::months(13), addMonthsClamped(x, 13))) {
            state.SkipWithError("sums differ");
            return;
        }
    }
    for (auto _ : state)
        for (const ymd& x : days)
            benchmark::DoNotOptimize(vx::date(x.y, x.m, x.d) + vx::months(13));
    state.SetItemsProcessed(state.iterations() * static_cast<long>(days.size()));
}

void BM_addMonths_hh(benchmark::State& state) {
    const auto& days = sampleDays();
    for (auto _ : state)
        for (const ymd& x : days)
            benchmark::DoNotOptimize(addMonthsClamped(x, 13));
    state.SetItemsProcessed(state.iterations() * static_cast<long>(days.size()));
}

// --- parsing ---------------------------------------------------------------------------------------

const std::vector<std::string>& sampleTexts() {
    static const std::vector<std::string> texts = [] {
        std::vector<std::string> out;
        char buffer[32];
        for (const ymd& x : sampleDays()) {
            std::snprintf(buffer, sizeof buffer, "%04u/%02u/%02u", x.y, x.m, x.d);
            out.emplace_back(buffer);
        }
        return out;
    }();
    return texts;
}

const std::vector<vx::string>& sampleWideTexts() {
    static const std::vector<vx::string> texts = [] {
        std::vector<vx::string> out;
        for (const std::string& text : sampleTexts())
            out.emplace_back(text.begin(), text.end());
        return out;
    }();
    return texts;
}

void BM_parseDate_vx(benchmark::State& state) {
    const auto& texts = sampleWideTexts();
    std::tm tm{};
    ::strptime(sampleTexts().front().c_str(), "%Y/%m/%d", &tm);
    if (vx::date::fromString(texts.front(), L"/") != vx::date::fromTm(&tm)) {
        state.SkipWithError("parsed dates differ");
        return;
    }
    for (auto _ : state)
        for (const vx::string& text : texts)
            benchmark::DoNotOptimize(vx::date::fromString(text, L"/"));
    state.SetItemsProcessed(state.iterations() * static_cast<long>(texts.size()));
}

void BM_parseDate_strptime(benchmark::State& state) {
    const auto& texts = sampleTexts();
    for (auto _ : state) {
        for (const std::string& text : texts) {
            std::tm tm{};
            benchmark::DoNotOptimize(::strptime(text.c_str(), "%Y/%m/%d", &tm));
            benchmark::DoNotOptimize(tm);
        }
    }
    state.SetItemsProcessed(state.iterations() * static_cast<long>(texts.size()));
}

void BM_parseTime_vx(benchmark::State& state) {
    const vx::string text = L"13:05:09:042";
    for (auto _ : state)
        benchmark::DoNotOptimize(vx::time::fromString(text, L":"));
}

void BM_parseTime_strptime(benchmark::State& state) {
    for (auto _ : state) {
        std::tm tm{};
        benchmark::DoNotOptimize(::strptime("13:05:09", "%H:%M:%S", &tm));
        benchmark::DoNotOptimize(tm);
    }
}

} // namespace

BENCHMARK(BM_weekday_vx);
BENCHMARK(BM_weekday_hh);
BENCHMARK(BM_addDays_vx);
BENCHMARK(BM_addDays_hh);
BENCHMARK(BM_addMonths_vx);
BENCHMARK(BM_addMonths_hh);
BENCHMARK(BM_parseDate_vx);
BENCHMARK(BM_parseDate_strptime);
BENCHMARK(BM_parseTime_vx);
BENCHMARK(BM_parseTime_strptime);

BENCHMARK_MAIN();
