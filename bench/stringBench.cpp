// Benchmarks of vx::string next to the nearest standard-library or POSIX equivalent.
//
// Every vx benchmark has at least one neighbour that does the same job on the same data with
// std:: or POSIX tools. Names are BM_<operation>_<case>_<implementation>, or
// BM_<operation>_<implementation>/<case> where one function runs several data sets; the
// implementation part starts with "vx" for the library and with "std" or "posix" for the
// neighbour.
//
// Before its loop, every comparison benchmark checks once that it produces the same result as the
// vx operation on the same input; if not, it is reported as an error instead of timed, so that a
// fast but different answer never passes for a fair comparison.
#include "vxString.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <clocale>
#include <codecvt>
#include <cstdio>
#include <cstdlib>
#include <cwchar>
#include <locale>
#include <regex>
#include <sstream>
#include <string>
#include <vector>

#if __has_include(<fnmatch.h>)
#include <fnmatch.h>
#define VX_BENCH_HAVE_FNMATCH 1
#endif

namespace {

// --- data ------------------------------------------------------------------------------------------

// Narrow copy of text that holds only ASCII characters.
std::string asciiNarrow(const std::wstring& text) {
    return std::string(text.begin(), text.end());
}

// A path-like text of about 2000 characters: "/data/archive/segment0000/segment0001/.../results_final.log".
const std::wstring& longPath() {
    static const std::wstring text = [] {
        std::wstring t = L"/data/archive";
        for (int i = 0; t.size() < 1960; ++i) {
            wchar_t segment[32];
            std::swprintf(segment, 32, L"/segment%04d", i);
            t += segment;
        }
        t += L"/results_final.log";
        return t;
    }();
    return text;
}

// 1000 fields "field0000;field0001;...;field0999".
const std::wstring& thousandFields() {
    static const std::wstring text = [] {
        std::wstring t;
        for (int i = 0; i < 1000; ++i) {
            wchar_t field[16];
            std::swprintf(field, 16, L"field%04d", i);
            if (i)
                t += L';';
            t += field;
        }
        return t;
    }();
    return text;
}

// About 2000 characters of a template with 100 placeholders "${name}".
const std::wstring& templateText() {
    static const std::wstring text = [] {
        std::wstring t;
        for (int i = 0; i < 100; ++i)
            t += L"Dear ${name}, line " + std::to_wstring(i % 10) + L" ok. ";
        return t;
    }();
    return text;
}

// Text with characters outside ASCII (2- and 3-byte UTF-8 forms), short and repeated to ~2000.
const std::wstring& mixedTextShort() {
    static const std::wstring text = L"Gr\u00f6\u00dfe: 25 \u00b5m \u2013 \u03a9 \u20ac";
    return text;
}
const std::wstring& mixedTextLong() {
    static const std::wstring text = [] {
        std::wstring t;
        while (t.size() < 2000)
            t += L"Gr\u00f6\u00dfe: 25 \u00b5m \u2013 \u03a9 \u20ac; plain ASCII words in between. ";
        return t;
    }();
    return text;
}

// --- formatting --------------------------------------------------------------------------------------

const wchar_t* const kMixFormatVx = L"%s=%d (%.2f)";
const wchar_t* const kMixFormatStd = L"%ls=%d (%.2f)"; // %ls: wide text in the standard language
const wchar_t* const kMixKey = L"temperature";
const int kMixInt = 42;
const double kMixDouble = 21.5678;

const std::wstring& longArgument() {
    static const std::wstring text(2000, L'x');
    return text;
}
const wchar_t* const kCutFormatVx = L"value: %s;";
const wchar_t* const kCutFormatStd = L"value: %ls;";

std::wstring stdFormatMix() {
    wchar_t buffer[1024];
    const int n = std::swprintf(buffer, 1024, kMixFormatStd, kMixKey, kMixInt, kMixDouble);
    return std::wstring(buffer, n > 0 ? static_cast<std::size_t>(n) : 0);
}

std::wstring stdFormatCut() {
    wchar_t buffer[1024];
    // swprintf reports a text that does not fit as -1; what it wrote ends at the first null.
    std::swprintf(buffer, 1024, kCutFormatStd, longArgument().c_str());
    buffer[1023] = L'\0';
    return std::wstring(buffer);
}

void BM_format_mix_vxFormat(benchmark::State& state) {
    vx::string s;
    for (auto _ : state) {
        s.format(kMixFormatVx, kMixKey, kMixInt, kMixDouble);
        benchmark::DoNotOptimize(s.data());
    }
}
BENCHMARK(BM_format_mix_vxFormat);

void BM_format_mix_vxSformat(benchmark::State& state) {
    for (auto _ : state) {
        vx::string s = vx::string::sformat(kMixFormatVx, kMixKey, kMixInt, kMixDouble);
        benchmark::DoNotOptimize(s.data());
    }
}
BENCHMARK(BM_format_mix_vxSformat);

void BM_format_mix_stdSwprintfToWstring(benchmark::State& state) {
    if (stdFormatMix() != vx::string::sformat(kMixFormatVx, kMixKey, kMixInt, kMixDouble)) {
        state.SkipWithError("swprintf and vx::string::sformat disagree");
        return;
    }
    for (auto _ : state) {
        std::wstring s = stdFormatMix();
        benchmark::DoNotOptimize(s.data());
    }
}
BENCHMARK(BM_format_mix_stdSwprintfToWstring);

// The formatting alone, without making a string of the result.
void BM_format_mix_stdSwprintfBufferOnly(benchmark::State& state) {
    wchar_t buffer[1024];
    for (auto _ : state) {
        const int n = std::swprintf(buffer, 1024, kMixFormatStd, kMixKey, kMixInt, kMixDouble);
        benchmark::DoNotOptimize(n);
        benchmark::DoNotOptimize(buffer);
    }
}
BENCHMARK(BM_format_mix_stdSwprintfBufferOnly);

void BM_format_longArgCutAt1023_vxFormat(benchmark::State& state) {
    vx::string s;
    const wchar_t* arg = longArgument().c_str();
    for (auto _ : state) {
        s.format(kCutFormatVx, arg);
        benchmark::DoNotOptimize(s.data());
    }
    state.counters["resultLength"] = static_cast<double>(s.size());
}
BENCHMARK(BM_format_longArgCutAt1023_vxFormat);

void BM_format_longArgCutAt1023_vxSformat(benchmark::State& state) {
    const wchar_t* arg = longArgument().c_str();
    for (auto _ : state) {
        vx::string s = vx::string::sformat(kCutFormatVx, arg);
        benchmark::DoNotOptimize(s.data());
    }
}
BENCHMARK(BM_format_longArgCutAt1023_vxSformat);

void BM_format_longArgCutAt1023_stdSwprintfToWstring(benchmark::State& state) {
    const std::wstring expected = vx::string::sformat(kCutFormatVx, longArgument().c_str());
    const std::wstring got = stdFormatCut();
    if (got != expected) {
        // Some C libraries leave nothing in the buffer when the text does not fit; the time is
        // still that of the attempt, so it is measured, but marked.
        state.SetLabel("swprintf kept " + std::to_string(got.size()) + " of " +
                       std::to_string(expected.size()) + " characters");
    }
    std::wstring s;
    for (auto _ : state) {
        s = stdFormatCut();
        benchmark::DoNotOptimize(s.data());
    }
    state.counters["resultLength"] = static_cast<double>(s.size());
}
BENCHMARK(BM_format_longArgCutAt1023_stdSwprintfToWstring);

// --- wildcard matching -------------------------------------------------------------------------------

struct matchCase {
    std::wstring text;
    std::wstring pattern;
};

matchCase shortMatch() { return {L"report_2024_final.txt", L"*_*_*.txt"}; }
matchCase shortMiss() { return {L"report_2024_final.txt", L"*_*_*.csv"}; }
matchCase longMatch() { return {longPath(), L"/data/*/segment0100/*final*.log"}; }
matchCase longMiss() { return {longPath(), L"/data/*/segment0100/*final*.csv"}; }
// The backtracking worst case of a single-resume-point matcher: after the last '*' a long run
// that almost matches at every one of 2000 positions, and fails only at its last character.
matchCase worstCase() {
    return {std::wstring(2000, L'a'), L"*a*" + std::wstring(32, L'a') + L"b"};
}

// The wildcard pattern as an ECMAScript regular expression: '*' is ".*", '?' is ".", everything
// else stands for itself. The texts hold no line breaks, so '.' matches every character.
std::wstring wildcardToRegex(const std::wstring& pattern) {
    static const std::wstring special = L"\\^$.|+()[]{}";
    std::wstring re;
    for (wchar_t c : pattern) {
        if (c == L'*')
            re += L".*";
        else if (c == L'?')
            re += L'.';
        else {
            if (special.find(c) != std::wstring::npos)
                re += L'\\';
            re += c;
        }
    }
    return re;
}

void BM_matches_vx(benchmark::State& state, matchCase (*makeCase)()) {
    const matchCase c = makeCase();
    const vx::string text(c.text);
    bool result = false;
    for (auto _ : state) {
        result = text.matches(c.pattern);
        benchmark::DoNotOptimize(result);
    }
    state.counters["matched"] = result ? 1 : 0;
}

#ifdef VX_BENCH_HAVE_FNMATCH
void BM_matches_posixFnmatch(benchmark::State& state, matchCase (*makeCase)()) {
    const matchCase c = makeCase();
    const std::string text = asciiNarrow(c.text);
    const std::string pattern = asciiNarrow(c.pattern);
    const bool expected = vx::string(c.text).matches(c.pattern);
    if ((::fnmatch(pattern.c_str(), text.c_str(), 0) == 0) != expected) {
        state.SkipWithError("fnmatch and vx::string::matches disagree");
        return;
    }
    bool result = false;
    for (auto _ : state) {
        result = ::fnmatch(pattern.c_str(), text.c_str(), 0) == 0;
        benchmark::DoNotOptimize(result);
    }
    state.counters["matched"] = result ? 1 : 0;
}
#endif

void BM_matches_stdRegexMatch(benchmark::State& state, matchCase (*makeCase)()) {
    const matchCase c = makeCase();
    const std::wregex re(wildcardToRegex(c.pattern)); // compiled once, outside the loop
    const bool expected = vx::string(c.text).matches(c.pattern);
    // The first call is also the check; on the worst case it alone takes a visible fraction of
    // a second, which is part of the result.
    if (std::regex_match(c.text, re) != expected) {
        state.SkipWithError("std::regex_match and vx::string::matches disagree");
        return;
    }
    bool result = false;
    for (auto _ : state) {
        result = std::regex_match(c.text, re);
        benchmark::DoNotOptimize(result);
    }
    state.counters["matched"] = result ? 1 : 0;
}

#ifdef VX_BENCH_HAVE_FNMATCH
#define VX_MATCH_CASE(name)                                   \
    BENCHMARK_CAPTURE(BM_matches_vx, name, name);             \
    BENCHMARK_CAPTURE(BM_matches_posixFnmatch, name, name);   \
    BENCHMARK_CAPTURE(BM_matches_stdRegexMatch, name, name)
#else
#define VX_MATCH_CASE(name)                                   \
    BENCHMARK_CAPTURE(BM_matches_vx, name, name);             \
    BENCHMARK_CAPTURE(BM_matches_stdRegexMatch, name, name)
#endif

VX_MATCH_CASE(shortMatch);
VX_MATCH_CASE(shortMiss);
VX_MATCH_CASE(longMatch);
VX_MATCH_CASE(longMiss);
VX_MATCH_CASE(worstCase);

// --- splitting ------------------------------------------------------------------------------------------

void BM_split_1000Fields_vxSplitAt(benchmark::State& state) {
    const vx::string text(thousandFields());
    const vx::string separator(L";");
    std::vector<vx::string> parts; // reused, as a caller in a loop would
    for (auto _ : state) {
        text.splitAt(separator, parts);
        benchmark::DoNotOptimize(parts.data());
    }
    state.counters["fields"] = static_cast<double>(parts.size());
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(parts.size()));
}
BENCHMARK(BM_split_1000Fields_vxSplitAt);

std::size_t stdFindSplit(const std::wstring& text, const std::wstring& separator,
                         std::vector<std::wstring>& parts) {
    parts.clear();
    std::size_t start = 0;
    for (std::size_t hit = text.find(separator); hit != std::wstring::npos;
         hit = text.find(separator, start)) {
        parts.emplace_back(text, start, hit - start);
        start = hit + separator.size();
    }
    parts.emplace_back(text, start);
    return parts.size();
}

void BM_split_1000Fields_stdWstringFindLoop(benchmark::State& state) {
    const std::wstring& text = thousandFields();
    const std::wstring separator = L";";
    std::vector<std::wstring> parts;
    std::vector<vx::string> expected;
    vx::string(text).splitAt(separator, expected);
    stdFindSplit(text, separator, parts);
    if (!std::equal(parts.begin(), parts.end(), expected.begin(), expected.end())) {
        state.SkipWithError("find loop and vx::string::splitAt disagree");
        return;
    }
    for (auto _ : state) {
        stdFindSplit(text, separator, parts);
        benchmark::DoNotOptimize(parts.data());
    }
    state.counters["fields"] = static_cast<double>(parts.size());
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(parts.size()));
}
BENCHMARK(BM_split_1000Fields_stdWstringFindLoop);

void stdStreamSplit(const std::wstring& text, wchar_t separator, std::vector<std::wstring>& parts) {
    parts.clear();
    std::wistringstream in(text);
    std::wstring field;
    while (std::getline(in, field, separator))
        parts.push_back(field);
}

void BM_split_1000Fields_stdWistringstreamGetline(benchmark::State& state) {
    const std::wstring& text = thousandFields();
    std::vector<std::wstring> parts;
    std::vector<vx::string> expected;
    vx::string(text).splitAt(L";", expected);
    stdStreamSplit(text, L';', parts);
    if (!std::equal(parts.begin(), parts.end(), expected.begin(), expected.end())) {
        state.SkipWithError("getline and vx::string::splitAt disagree");
        return;
    }
    for (auto _ : state) {
        stdStreamSplit(text, L';', parts);
        benchmark::DoNotOptimize(parts.data());
    }
    state.counters["fields"] = static_cast<double>(parts.size());
    state.SetItemsProcessed(state.iterations() * static_cast<int64_t>(parts.size()));
}
BENCHMARK(BM_split_1000Fields_stdWistringstreamGetline);

// --- substitution ---------------------------------------------------------------------------------------

// Each replace benchmark works on a fresh copy of the same 2000-character text; the copy alone is
// measured too, so that it can be subtracted.
void BM_replace_2000Chars100Hits_copyOnlyBaseline(benchmark::State& state) {
    const std::wstring& source = templateText();
    for (auto _ : state) {
        std::wstring s = source;
        benchmark::DoNotOptimize(s.data());
    }
}
BENCHMARK(BM_replace_2000Chars100Hits_copyOnlyBaseline);

void BM_replace_2000Chars100Hits_vxReplace(benchmark::State& state) {
    const vx::string source(templateText());
    const vx::string from(L"${name}");
    const vx::string to(L"Mrs Smith");
    for (auto _ : state) {
        vx::string s = source;
        s.replace(from, to);
        benchmark::DoNotOptimize(s.data());
    }
}
BENCHMARK(BM_replace_2000Chars100Hits_vxReplace);

void stdReplaceInPlace(std::wstring& s, const std::wstring& from, const std::wstring& to) {
    for (std::size_t pos = s.find(from); pos != std::wstring::npos; pos = s.find(from, pos)) {
        s.replace(pos, from.size(), to);
        pos += to.size();
    }
}

void BM_replace_2000Chars100Hits_stdFindReplaceLoop(benchmark::State& state) {
    const std::wstring& source = templateText();
    const std::wstring from = L"${name}";
    const std::wstring to = L"Mrs Smith";
    {
        std::wstring check = source;
        stdReplaceInPlace(check, from, to);
        vx::string expected(source);
        expected.replace(vx::string(from), vx::string(to));
        if (check != expected) {
            state.SkipWithError("find/replace loop and vx::string::replace disagree");
            return;
        }
    }
    for (auto _ : state) {
        std::wstring s = source;
        stdReplaceInPlace(s, from, to);
        benchmark::DoNotOptimize(s.data());
    }
}
BENCHMARK(BM_replace_2000Chars100Hits_stdFindReplaceLoop);

void BM_replaceChar_2000Chars_vxReplace(benchmark::State& state) {
    const vx::string source(longPath());
    for (auto _ : state) {
        vx::string s = source;
        s.replace(L'/', L'\\');
        benchmark::DoNotOptimize(s.data());
    }
}
BENCHMARK(BM_replaceChar_2000Chars_vxReplace);

void BM_replaceChar_2000Chars_stdReplace(benchmark::State& state) {
    const std::wstring& source = longPath();
    for (auto _ : state) {
        std::wstring s = source;
        std::replace(s.begin(), s.end(), L'/', L'\\');
        benchmark::DoNotOptimize(s.data());
    }
}
BENCHMARK(BM_replaceChar_2000Chars_stdReplace);

// --- multi-byte conversion --------------------------------------------------------------------------------

// vx::string::getMBCS gives UTF-8 on this platform; its standard neighbours are wcstombs under a
// UTF-8 C locale (set in main) and the (deprecated, but still common) wstring_convert.
void BM_getMBCS_vx(benchmark::State& state, const std::wstring& (*makeText)()) {
    const vx::string text(makeText());
    std::string narrow;
    for (auto _ : state) {
        narrow = text.getMBCS();
        benchmark::DoNotOptimize(narrow.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(narrow.size()));
}

std::string stdWcstombs(const std::wstring& text) {
    std::string out(text.size() * MB_CUR_MAX + 1, '\0');
    const std::size_t n = std::wcstombs(&out[0], text.c_str(), out.size());
    out.resize(n == static_cast<std::size_t>(-1) ? 0 : n);
    return out;
}

void BM_getMBCS_stdWcstombsUtf8Locale(benchmark::State& state, const std::wstring& (*makeText)()) {
    const std::wstring& text = makeText();
    if (stdWcstombs(text) != vx::string(text).getMBCS()) {
        state.SkipWithError("wcstombs (needs a UTF-8 C locale) and vx::string::getMBCS disagree");
        return;
    }
    std::string narrow;
    for (auto _ : state) {
        narrow = stdWcstombs(text);
        benchmark::DoNotOptimize(narrow.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(narrow.size()));
}

#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wdeprecated-declarations"
#endif
#if WCHAR_MAX > 0xFFFF
using utf8Facet = std::codecvt_utf8<wchar_t>;
#else
using utf8Facet = std::codecvt_utf8_utf16<wchar_t>;
#endif

void BM_getMBCS_stdWstringConvert(benchmark::State& state, const std::wstring& (*makeText)()) {
    const std::wstring& text = makeText();
    std::wstring_convert<utf8Facet, wchar_t> converter;
    if (converter.to_bytes(text) != vx::string(text).getMBCS()) {
        state.SkipWithError("wstring_convert and vx::string::getMBCS disagree");
        return;
    }
    std::string narrow;
    for (auto _ : state) {
        narrow = converter.to_bytes(text);
        benchmark::DoNotOptimize(narrow.data());
    }
    state.SetBytesProcessed(state.iterations() * static_cast<int64_t>(narrow.size()));
}
#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

BENCHMARK_CAPTURE(BM_getMBCS_vx, short20Chars, mixedTextShort);
BENCHMARK_CAPTURE(BM_getMBCS_stdWcstombsUtf8Locale, short20Chars, mixedTextShort);
BENCHMARK_CAPTURE(BM_getMBCS_stdWstringConvert, short20Chars, mixedTextShort);
BENCHMARK_CAPTURE(BM_getMBCS_vx, long2000Chars, mixedTextLong);
BENCHMARK_CAPTURE(BM_getMBCS_stdWcstombsUtf8Locale, long2000Chars, mixedTextLong);
BENCHMARK_CAPTURE(BM_getMBCS_stdWstringConvert, long2000Chars, mixedTextLong);

} // namespace

int main(int argc, char** argv) {
    // wcstombs, the standard neighbour of getMBCS, converts to the C locale's encoding.
    if (!std::setlocale(LC_CTYPE, "C.UTF-8") && !std::setlocale(LC_CTYPE, "C.utf8") &&
        !std::setlocale(LC_CTYPE, ".UTF-8"))
        std::fprintf(stderr, "note: no UTF-8 C locale; the wcstombs benchmarks will be skipped\n");
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    benchmark::RunSpecifiedBenchmarks();
    benchmark::Shutdown();
    return 0;
}
