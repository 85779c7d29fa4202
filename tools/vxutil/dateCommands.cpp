// Commands over dates and times: facts about a date, date arithmetic with calendars of holidays,
// Easter, and the texts and arithmetic of times of day.
#include "command.h"

#include <vxCalendar.h>
#include <vxDate.h>
#include <vxFile.h>
#include <vxTime.h>
#include <vxTimeStamp.h>
#include <vxTypeConversion.h>

#include <filesystem>
#include <fstream>
#include <memory>
#include <vector>

namespace {

using vxutil::arguments;
using vxutil::expectCount;
using vxutil::printLine;
using vxutil::quoted;
using vxutil::takeOptions;
using vxutil::usageError;

const wchar_t* const kWeekdayNames[7] = {L"monday", L"tuesday", L"wednesday", L"thursday",
                                         L"friday", L"saturday", L"sunday"};

// "today", "tomorrow", or year, month and day joined by '-' or '/'. A day the month does not have
// is refused here, although the library would move it to the month's last day.
vx::date parseDate(const vx::string& text) {
    const vx::string lowered = text.lower();
    if (lowered == L"today" || lowered == L"tomorrow")
        return vx::date::fromString(lowered, nullptr);
    const wchar_t* separator = text.find(L'-', 1) != vx::string::npos ? L"-" : L"/";
    std::vector<vx::string> parts;
    if (!text.splitAt(separator, parts) || parts.size() != 3)
        throw usageError("not a date (YYYY-MM-DD): " + quoted(text));
    const long long year = vxutil::toInteger(parts[0], 0, vx::date::maxYear());
    const long long month = vxutil::toInteger(parts[1], 1, 12);
    const long long day = vxutil::toInteger(parts[2], 1, 31);
    const vx::date d(static_cast<unsigned>(year), static_cast<unsigned>(month), static_cast<unsigned>(day));
    if (d.dayOfMonth() != day)
        throw usageError("no such day: " + quoted(text));
    return d;
}

vx::date::eWeekday parseWeekday(const vx::string& text) {
    for (int i = 0; i < 7; ++i) {
        if (text.lower() == kWeekdayNames[i] || (text.size() >= 3 && vx::string(kWeekdayNames[i]).compare(0, text.size(), text.lower()) == 0))
            return static_cast<vx::date::eWeekday>(i);
    }
    throw usageError("not a weekday: " + quoted(text));
}

// A calendar file: one rule per line, blank lines and lines starting with '#' ignored:
//   weekly WEEKDAY    yearly MM-DD    holiday DATE    workday DATE
std::unique_ptr<vx::configurableCalendar> readCalendar(const vx::string& name) {
    vx::nativePathText native;
    if (!vx::file(name).nativePath(native))
        throw usageError("cannot read " + quoted(name));
    std::ifstream in{std::filesystem::path(native)};
    if (!in)
        throw usageError("cannot read " + quoted(name));
    auto cal = std::make_unique<vx::configurableCalendar>();
    std::string line;
    for (int number = 1; std::getline(in, line); ++number) {
        vx::string text;
        vx::typeconvert::dtconvert(text, line);
        text.deleteLeading(vx::string(L" \t\r")).deleteTrailing(vx::string(L" \t\r"));
        if (text.empty() || text[0] == L'#')
            continue;
        const std::size_t blank = text.find_first_of(L" \t");
        const vx::string rule = text.substr(0, blank);
        vx::string value = blank == vx::string::npos ? vx::string() : vx::string(text.substr(blank));
        value.deleteLeading(vx::string(L" \t"));
        const std::string where = quoted(name) + " line " + std::to_string(number);
        try {
            if (rule == L"weekly") {
                cal->setWeeklyHoliday(parseWeekday(value));
            } else if (rule == L"yearly") {
                const vx::date d = parseDate(L"2000-" + value); // a leap year, so 02-29 is allowed
                cal->setYearlyHoliday(static_cast<vx::date::eMonth>(d.month()), d.dayOfMonth());
            } else if (rule == L"holiday") {
                cal->setHoliday(parseDate(value));
            } else if (rule == L"workday") {
                cal->setWorkday(parseDate(value));
            } else {
                throw usageError("unknown rule " + quoted(rule));
            }
        } catch (const usageError& e) {
            throw usageError(where + ": " + e.what());
        }
    }
    return cal;
}

// A step such as +3m: a sign, a count up to maxCount and a unit.
struct step {
    bool forward;
    std::uint32_t count;
    vx::string unit;
};

step parseStep(const vx::string& text, long long maxCount, const char* examples) {
    if (text.size() < 3 || (text[0] != L'+' && text[0] != L'-'))
        throw usageError("not a step (" + std::string(examples) + "): " + quoted(text));
    std::size_t unitStart = 1;
    while (unitStart < text.size() && text[unitStart] >= L'0' && text[unitStart] <= L'9')
        ++unitStart;
    return {text[0] == L'+', static_cast<std::uint32_t>(vxutil::toInteger(text.substr(1, unitStart - 1), 0, maxCount)),
            text.substr(unitStart)};
}

// One date step: d days, w weeks, m months, y years, wd workdays.
void applyStep(vx::date& d, const vx::string& text, const vx::calendar& cal) {
    const auto [forward, count, unit] = parseStep(text, 1000000, "+3m, -10d, +5wd, +2w, +1y");
    std::unique_ptr<vx::date_duration> duration;
    if (unit == L"d")
        duration = std::make_unique<vx::days>(count);
    else if (unit == L"w")
        duration = std::make_unique<vx::weeks>(count);
    else if (unit == L"m")
        duration = std::make_unique<vx::months>(count);
    else if (unit == L"y")
        duration = std::make_unique<vx::years>(count);
    else if (unit == L"wd")
        duration = std::make_unique<vx::workdays>(count, &cal);
    else
        throw usageError("unknown unit in " + quoted(text) + " (d, w, m, y or wd)");
    try {
        forward ? d += *duration : d -= *duration;
    } catch (bool) {
        throw usageError("no date " + quoted(text) + " away: the calendar has no such workday");
    }
}

int runInfo(arguments args) {
    expectCount(args, 1, 1);
    const vx::date d = parseDate(args[0]);
    printLine(d.toString());
    printLine(vx::string(L"weekday ") + kWeekdayNames[d.dayOfWeek()]);
    printLine(vx::string::sformat(L"week %u", d.weekOfYear()));
    printLine(vx::string::sformat(L"day of year %u", d.dayOfYear()));
    printLine(vx::string(L"leap year ") + (vx::date::isLeapYear(d.year()) ? L"yes" : L"no"));
    return 0;
}

int runAdd(arguments args, const vxutil::options& given, const vx::string& holidays) {
    if (args.size() < 2)
        throw usageError("missing arguments");
    vx::date d = parseDate(args[0]);
    std::unique_ptr<vx::configurableCalendar> fromFile;
    const vx::calendar weekdays;
    const vx::calendar* cal = &weekdays;
    if (given.has("--holidays")) {
        fromFile = readCalendar(holidays);
        cal = fromFile.get();
    }
    for (std::size_t i = 1; i < args.size(); ++i)
        applyStep(d, args[i], *cal);
    printLine(d.toString());
    return 0;
}

// The days from B to A, negative when A is earlier.
int runDiff(arguments args) {
    expectCount(args, 2, 2);
    const vx::date a = parseDate(args[0]), b = parseDate(args[1]);
    // The library counts right when the left date is the later one.
    const long span = a < b ? -static_cast<long>((b - a).nDays()) : static_cast<long>((a - b).nDays());
    printLine(vx::string::sformat(L"%ld", span));
    return 0;
}

int runEaster(arguments args) {
    expectCount(args, 1, 1);
    const long long year = vxutil::toInteger(args[0], 1583, vx::date::maxYear());
    printLine(vx::date::easterSunday(static_cast<unsigned>(year)).toString());
    return 0;
}

int runDate(arguments args) {
    // --holidays takes a value: find it before the options are taken out.
    vx::string holidays;
    for (std::size_t i = 0; i + 1 < args.size(); ++i) {
        if (args[i] == L"--holidays") {
            holidays = args[i + 1];
            args.erase(args.begin() + static_cast<std::ptrdiff_t>(i) + 1);
            break;
        }
    }
    const vxutil::options given = takeOptions(args, {"--holidays"});
    if (given.has("--holidays") && holidays.empty())
        throw usageError("--holidays needs a FILE");
    if (args.empty())
        throw usageError("missing action: info, add, diff, easter or today");
    const vx::string action = args[0];
    args.erase(args.begin());
    if (given.has("--holidays") && action != L"add")
        throw usageError("--holidays belongs to add");
    if (action == L"info")
        return runInfo(args);
    if (action == L"add")
        return runAdd(args, given, holidays);
    if (action == L"diff")
        return runDiff(args);
    if (action == L"easter")
        return runEaster(args);
    if (action == L"today") {
        expectCount(args, 0, 0);
        printLine(vx::date::today().toString());
        return 0;
    }
    throw usageError("unknown action " + quoted(action));
}

// --- time ------------------------------------------------------------------------------------------

vx::time parseTime(const vx::string& text) {
    try {
        return vx::time::fromString(text, L":");
    } catch (bool) {
        throw usageError("not a time (HH[:MM[:SS[:mmm]]]): " + quoted(text));
    }
}

// One time step: h hours, min minutes, s seconds, ms milliseconds; the days passed are counted.
void applyTimeStep(vx::time& t, long long& dayShift, const vx::string& text) {
    const auto [forward, count, unit] = parseStep(text, 0xFFFFFFFFLL, "+2h, -30min, +90s, +500ms");
    std::unique_ptr<vx::time_duration> duration;
    if (unit == L"h")
        duration = std::make_unique<vx::hours>(count);
    else if (unit == L"min")
        duration = std::make_unique<vx::minutes>(count);
    else if (unit == L"s")
        duration = std::make_unique<vx::seconds>(count);
    else if (unit == L"ms")
        duration = std::make_unique<vx::mseconds>(count);
    else
        throw usageError("unknown unit in " + quoted(text) + " (h, min, s or ms)");
    unsigned days = 0;
    if (forward) {
        duration->addToTime(t, &days);
        dayShift += days;
    } else {
        duration->subtractFromTime(t, &days);
        dayShift -= days;
    }
}

vx::string spanText(const vx::timeduration& span) {
    return vx::string::sformat(L"%c%ud %02u:%02u:%02u.%03u", span.sign() > 0 ? L'+' : L'-', span.nDays(),
                               span.nHours(), span.nMinutes(), span.nSeconds(), span.nMilliseconds());
}

int runTime(arguments args) {
    takeOptions(args);
    if (args.empty())
        throw usageError("missing action: parse, add, diff, now or stamp");
    const vx::string action = args[0];
    args.erase(args.begin());
    if (action == L"parse") {
        expectCount(args, 1, 1);
        const vx::time t = parseTime(args[0]);
        printLine(t.toString());
        printLine(vx::string::sformat(L"second of day %u", t.secondOfDay()));
        return 0;
    }
    if (action == L"add") {
        if (args.size() < 2)
            throw usageError("missing arguments");
        vx::time t = parseTime(args[0]);
        long long dayShift = 0;
        for (std::size_t i = 1; i < args.size(); ++i)
            applyTimeStep(t, dayShift, args[i]);
        printLine(t.toString());
        printLine(vx::string::sformat(L"days %+lld", dayShift));
        return 0;
    }
    if (action == L"diff") {
        expectCount(args, 2, 2);
        printLine(spanText(parseTime(args[0]) - parseTime(args[1])));
        return 0;
    }
    if (action == L"now") {
        expectCount(args, 0, 0);
        printLine(vx::timestamp::now().toString());
        return 0;
    }
    if (action == L"stamp") {
        expectCount(args, 1, 1);
        // The library's text form: "/" in the date, and failing that "-".
        vx::timestamp stamp;
        if (!vx::typeconvert::dtconvert(stamp, args[0]))
            throw usageError("not a timestamp (DATE [TIME]): " + quoted(args[0]));
        printLine(stamp.toString());
        return 0;
    }
    throw usageError("unknown action " + quoted(action));
}

const vxutil::registration registered{
    {"date", "facts about dates, date arithmetic with holidays, Easter",
     "info DATE | add DATE STEP... [--holidays FILE] | diff DATE1 DATE2 | easter YEAR | today\n\n"
     "DATE is YYYY-MM-DD, YYYY/MM/DD, today or tomorrow.\n"
     "info    prints the date, its weekday, week (weeks begin on Monday; a week 53 is week 1),\n"
     "        day of the year and whether the year is a leap year.\n"
     "add     applies each STEP in turn and prints the date. A STEP is a sign, a count and a\n"
     "        unit: d days, w weeks, m months, y years (the day is kept to the month's length),\n"
     "        wd workdays (Monday to Friday, or the calendar of --holidays FILE).\n"
     "        FILE holds one rule per line: weekly WEEKDAY, yearly MM-DD, holiday DATE,\n"
     "        workday DATE; lines starting with # are comments. With FILE there is no weekend\n"
     "        unless it names one.\n"
     "diff    prints the days from DATE2 to DATE1, negative when DATE1 is earlier.\n"
     "easter  prints Easter Sunday of YEAR (1583 to 65535).\n"
     "today   prints today's date.",
     runDate},
    {"time", "times of day: read, add, subtract; timestamps",
     "parse TIME | add TIME STEP... | diff TIME1 TIME2 | now | stamp TEXT\n\n"
     "TIME is HH[:MM[:SS[:mmm]]], with hours up to 24 (24 reads as 0).\n"
     "parse  prints the time as HH:MM:SS:mmm and its second of the day. Only the low eight\n"
     "       bits of the milliseconds are kept: 999 prints as 231.\n"
     "add    applies each STEP in turn (a sign, a count and a unit: h, min, s, ms), prints the\n"
     "       time and the days passed.\n"
     "diff   prints TIME1 - TIME2 as sign, days and HH:MM:SS.mmm, by the library's rule: the\n"
     "       sign is negative unless TIME1 is at least a second later.\n"
     "now    prints the local date and time.\n"
     "stamp  reads a date and a time separated by a blank (the date with / or -) and prints it;\n"
     "       a date alone has the time 24:00:00.",
     runTime},
};

} // namespace
