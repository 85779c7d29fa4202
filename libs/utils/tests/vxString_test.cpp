#include "testSupport.h"
#include <vxDirectory.h>

#include <climits>
#include <clocale>
#include <cmath>
#include <cstdarg>
#include <cstdio>
#include <cstring>
#include <ostream>

namespace vx {
// Readable failure messages: print as text, not as a container of units.
void PrintTo(const string& s, std::ostream* os) {
    *os << testing::PrintToString(static_cast<const std::wstring&>(s));
}
} // namespace vx

using vx::string;

namespace {

const wchar_t R = 0xFFFD; // the replacement character

// The argument-list forms: target->format, or sformat when there is no target.
string viaList(string* target, const wchar_t* fmt, ...) {
    va_list args;
    va_start(args, fmt);
    string result = target ? string(target->format(fmt, args)) : string::sformat(fmt, args);
    va_end(args);
    return result;
}

// Switches LC_CTYPE for the lifetime of the object; ok() is false if the locale is missing.
struct ctypeLocale {
    explicit ctypeLocale(const char* name) : saved(std::setlocale(LC_CTYPE, nullptr)) {
        ok = std::setlocale(LC_CTYPE, name) != nullptr;
    }
    ~ctypeLocale() { std::setlocale(LC_CTYPE, saved.c_str()); }
    std::string saved;
    bool ok = false;
};

// Independent wildcard matcher for comparison: ok[i][j] says text from i matches pattern from j.
bool referenceMatch(const std::wstring& text, const std::wstring& pattern) {
    const std::size_t n = text.size(), m = pattern.size();
    std::vector<std::vector<char>> ok(n + 2, std::vector<char>(m + 1, 0));
    ok[n][m] = 1;
    for (std::size_t i = n + 1; i-- > 0;)
        for (std::size_t j = m; j-- > 0;) {
            if (pattern[j] == L'*')
                ok[i][j] = ok[i][j + 1] || (i < n && ok[i + 1][j]);
            else
                ok[i][j] = i < n && (pattern[j] == L'?' || pattern[j] == text[i]) && ok[i + 1][j + 1];
        }
    return ok[0][0];
}

std::vector<std::wstring> allWords(const std::wstring& alphabet, std::size_t maxLength) {
    std::vector<std::wstring> words{L""};
    for (std::size_t start = 0; start < words.size(); ++start)
        if (words[start].size() < maxLength)
            for (wchar_t c : alphabet)
                words.push_back(words[start] + c);
    return words;
}

} // namespace

// The Windows wide format language.
TEST(String, FormatConversionsTheCutAt1023CharactersAndStartedLists) {
    int untouched = -7;
    const wchar_t* noWide = nullptr;
    const char* noNarrow = nullptr;
    const std::string accents = string(std::wstring(2000, L'\u00e9')).getMBCS();
    const std::wstring x2000(2000, L'x'), x1020(1020, L'x'), x1021(1021, L'x'), spaces(1023, L' '), zeros(1023, L'0');
    const struct { std::wstring expected; string actual; } cases[] = {
        {L"5|  -42|42   |00042|+3| 3", string::sformat(L"%d|%5d|%-5d|%05d|%+d|% d", 5, -42, 42, 42, 3, 3)},
        {L"ff|0XFF|10|4294967295|1|1", string::sformat(L"%x|%#X|%o|%u|%hd|%hhu", 255, 255, 8, -1, 65537, 257)},
        // long crosses a format as 32 bits.
        {L"4294967295|-5|34567890", string::sformat(L"%lu|%ld|%lx", -1L, -5L, 0x1234567890L)},
        {L"18446744073709551615|-1|7|-3|9",
         string::sformat(L"%I64u|%I64d|%I32d|%Id|%zu", UINT64_MAX, std::int64_t(-1), 7, std::ptrdiff_t(-3),
                         std::size_t(9))},
        {L"3.14|1.500000e+00|0.0001|  -1.000|1.500000",
         string::sformat(L"%.2f|%e|%g|%8.3f|%Lf", 3.14159, 1.5, 0.0001, -1.0, 1.5L)},
        {L"   7|7   |ab", string::sformat(L"%*d|%*d|%.*s", 4, 7, -4, 7, 2, L"abc")},
        // %s, %ls, %ws are wide; %S and %hs narrow UTF-8.
        {L"wide|l|w|n\u00e4|h", string::sformat(L"%s|%ls|%ws|%S|%hs", L"wide", L"l", L"w", "n\xC3\xA4", "h")},
        {L"ab|   ab|ab   |000ab", string::sformat(L"%.2s|%5s|%-5s|%05s", L"abcdef", L"ab", L"ab", L"ab")},
        {L"(null)|(null)|(nu|(n", string::sformat(L"%s|%S|%.3s|%.2S", noWide, noNarrow, noWide, noNarrow)},
        // %c takes one wchar_t: where it has 16 bits, 0x1F600 is cut to 0xF600.
        {sizeof(wchar_t) == 2 ? L"\u00e9|\uF600|A|B|x|y|  x" : L"\u00e9|\U0001F600|A|B|x|y|  x",
         string::sformat(L"%c|%c|%C|%hc|%lc|%wc|%3c", L'\u00e9', 0x1F600, 'A', 'B', L'x', L'y', L'x')},
        {L"\uFFFD", string::sformat(L"%C", 0xE9)}, {L"ab5", string::sformat(L"a%nb%d", &untouched, 5)},
        {L"000000001234ABCD|    00000000000000FF",
         string::sformat(L"%p|%20p", reinterpret_cast<void*>(0x1234ABCD), reinterpret_cast<void*>(0xFF))},
        // Unknown conversions are copied and read nothing; so are a lone and an unfinished '%'.
        {L"%y%*k3|%d|100%", string::sformat(L"%y%*k%d|%%d|100%", 3)},
        {L"%5", string::sformat(L"%5")}, {L"ab", string::sformat(L"ab%cde", 0)}, {L"", string::sformat(nullptr)},
        // At most 1023 characters come out, also when the cut falls in the middle of a conversion (padding, zeros,
        // digits, a pointer); huge widths and precisions give the cut text.
        {x1020 + L"xxx", string::sformat(L"%s", x2000.c_str())}, {x1020 + L"xxx", string(L"").format(x2000.c_str())},
        {std::wstring(1023, L'\u00e9'), string::sformat(L"%S", accents.c_str())},
        {x1020 + L"   ", string::sformat(L"%s%5d", x1020.c_str(), 42)},
        {x1021 + L"00", string::sformat(L"%s%05d", x1021.c_str(), 42)},
        {x1021 + L"12", string::sformat(L"%s%d", x1021.c_str(), 12345)},
        {x1020 + L"ab ", string::sformat(L"%s%-6s|", x1020.c_str(), L"ab")},
        {x1020 + L"000", string::sformat(L"%s%p", x1020.c_str(), nullptr)},
        {spaces, string::sformat(L"%*d", 100000, 7)}, {L"7" + spaces.substr(1), string::sformat(L"%-*d", 100000, 7)},
        {L"1." + zeros.substr(2), string::sformat(L"%.100000f", 1.0)}, {zeros, string::sformat(L"%.5000d", 7)},
        {spaces, string::sformat(L"%99999999999s", L"a")}, {zeros, string::sformat(L"%099999999999d", 1)},
    };
    for (const auto& c : cases)
        EXPECT_EQ(c.actual, c.expected);
    EXPECT_EQ(untouched, -7);
    // format replaces the content; it takes started argument lists.
    string s(L"old");
    EXPECT_TRUE(&s.format(L"%d-%s", 1, L"x") == &s && s == L"1-x");
    EXPECT_EQ(s.format(nullptr), L"");
    // A literal 0 or nullptr is an argument, not an argument list.
    EXPECT_TRUE(s.format(L"%d", 0) == L"0" && string::sformat(L"%d", 0) == L"0");
    EXPECT_EQ(s.format(L"%s", nullptr), L"(null)");
    // The format and the arguments may be the string itself.
    s = L"<%d>";
    EXPECT_EQ(s.format(s.c_str(), 7), L"<7>");
    EXPECT_EQ(s.format(L"%s%s", s.c_str(), s.c_str()), L"<7><7>");
    EXPECT_TRUE(viaList(&s, L"%s=%d", L"a", 42) == L"a=42" && s == L"a=42");
    EXPECT_EQ(viaList(nullptr, L"%S/%c/%.1f", "n", L'w', 2.25), L"n/w/2.2");
}

TEST(String, MatchesAgreesWithAReferenceEndsAtNullsAndSplitAtAndSubstrBetweenTakeApart) {
    const auto patterns = allWords(L"ab*?", 5);
    const auto texts = allWords(L"ab*", 5); // a '*' in the text is an ordinary character
    for (const auto& p : patterns)
        for (const auto& t : texts)
            ASSERT_EQ(string(t).matches(p), referenceMatch(t, p)) << t << L" ~ " << p;
    EXPECT_FALSE(string(L"abc").matches(L"ABC"));
    // Both sides end at their first null, also inside a string object.
    EXPECT_TRUE(string(L"ab\0cd", 5).matches(std::wstring(L"ab")));
    EXPECT_TRUE(string(L"ab").matches(std::wstring(L"a?\0x", 4)));
    EXPECT_FALSE(string(std::wstring(5000, L'a')).matches(L"*a*a*a*a*b"));
    // Taking apart: splitAt and substrBetween.
    using parts = std::vector<string>;
    const struct { const wchar_t* text; const wchar_t* separator; bool onlyFirst, result; parts expected; } cases[] = {
        {L"aXbXXc", L"X", false, true, {L"a", L"b", L"", L"c"}}, {L"aXbXXc", L"X", true, true, {L"a", L"bXXc"}},
        {L"", L"X", false, false, {}}, {L"", L"", true, false, {}}, {L"abc", L"X", true, true, {L"abc"}},
        {L"XabX", L"X", false, true, {L"", L"ab", L""}}, {L"a--b--", L"--", false, true, {L"a", L"b", L""}},
        {L"aaa", L"aa", false, true, {L"", L"a"}},
        // An empty separator gives one empty part and the whole text.
        {L"abc", L"", false, true, {L"", L"abc"}}, {L"abc", L"", true, true, {L"", L"abc"}},
    };
    for (const auto& c : cases) {
        parts actual{L"stale"};
        EXPECT_EQ(string(c.text).splitAt(c.separator, actual, c.onlyFirst), c.result) << c.text;
        EXPECT_EQ(actual, c.expected) << c.text << L" at " << c.separator << L" onlyFirst " << c.onlyFirst;
    }
    const struct { const wchar_t* text; unsigned index; const wchar_t* expected; } fields[] = {
        {L"a;b;c", 0, L"a"}, {L"a;b;c", 1, L"b"}, {L"a;b;c", 2, L"c"}, {L"a;b;c", 3, L""},
        {L"a;b;", 2, L""},   {L";a", 0, L""},     {L"a;;b", 1, L""},   {L"a;;b", 2, L"b"},
        {L"abc", 0, L"abc"}, {L"", 0, L""},       {L"a;b", 4000000000u, L""},
    };
    for (const auto& c : fields)
        EXPECT_EQ(string(c.text).substrBetween(L';', c.index), c.expected) << c.text << L" #" << c.index;
}

// bitwiseXor: unit i with key unit i mod n; an empty key changes nothing; twice gives the text.
TEST(String, RemovalReplacementAndXor) {
    const std::wstring secret(L"Secret \u00e9\U0001F600"), key(L"k3y");
    const std::pair<string, const wchar_t*> rows[] = {
        // A text made only of the one character stays.
        {string(L"---").deleteLeading(L'-'), L"---"}, {string(L"---").deleteTrailing(L'-'), L"---"},
        {string(L"---").deleteLeading(L"-"), L""},    {string(L"---").deleteTrailing(L"-"), L""},
        {string(L"--a--").deleteLeading(L'-'), L"a--"}, {string(L"--a--").deleteTrailing(L'-'), L"--a"},
        {string(L" \t-a- \t").deleteLeading(L" \t-").deleteTrailing(L"\t "), L"a-"},
        {string(L"--a").deleteLeading(L""), L"--a"}, {string(L"a--").deleteTrailing(L""), L"a--"},
        {string(L"").deleteTrailing(L"-"), L""},     {string(L"abcab").deleteAll(L"ba"), L"c"},
        {string(L"abcab").deleteAll(L'a'), L"bcb"}, {string(L"abc").deleteAll(L""), L"abc"},
        {string(L"a\0b\0", 4).deleteAll(L'\0'), L"ab"},  {string(L"aaa").replace(L"aa", L"a"), L"aa"},
        {string(L"abab").replace(L"ab", L""), L""},      {string(L"abc").replace(L"", L"x"), L"abc"},
        {string(L"a\0a", 3).replace(L'\0', L'-').replace(L'a', L'o'), L"o-o"},
        {string(L"aaaa").bitwiseXor(string{L'\x01', L'\x02'}), L"`c`c"}, {string(L"abc").bitwiseXor(string()), L"abc"},
        {string::bitwiseXor(string::bitwiseXor(secret, key), key), secret.c_str()},
    };
    for (const auto& [got, expected] : rows)
        EXPECT_EQ(got, expected);
    string s(L"aba");
    EXPECT_TRUE(&s.replace(L"a", L"aa") == &s && s == L"aabaa"); // insertions are not scanned again
    s = L"ab";
    EXPECT_EQ(s.replace(s, s + s), L"abab");
}

// Construction from null gives the empty text, assignment from null changes nothing; case mapping and fromMBCtoWC
// follow the C locale.
TEST(String, NullTextCaseMappingIsEqualToAndFromMBCtoWC) {
    const wchar_t* none = nullptr;
    string s(L"x");
    s = none;
    EXPECT_TRUE(string(none).empty() && string(none, 5).empty() && string::emptyString().empty() && s == L"x");
    EXPECT_EQ(string(L'\0').size(), 1u);
    s = L"MiXeD 1-\u00df";
    EXPECT_EQ(s.lower() + L"|" + s.upper() + L"|" + s, L"mixed 1-\u00df|MIXED 1-\u00df|MiXeD 1-\u00df");
    EXPECT_TRUE(&s.toUpper() == &s && s == L"MIXED 1-\u00df");
    string::lowercase(s);
    EXPECT_EQ(s, L"mixed 1-\u00df");
    EXPECT_FALSE(string(L"abc").isEqualTo(L"ABC", true) || string(L"abc").isEqualTo(string(L"ABC"), true));
    // A null pointer equals only the empty string.
    for (bool caseSensitive : {false, true})
        EXPECT_TRUE(string().isEqualTo(none, caseSensitive) && !string(L"x").isEqualTo(none, caseSensitive));
    // Case-sensitive compares every unit; case-insensitive stops at the first null.
    const string a(L"a\0b", 3), c(L"a\0c", 3);
    EXPECT_FALSE(a.isEqualTo(c, true) || a.isEqualTo(L"a", true));
    EXPECT_TRUE(a.isEqualTo(c, false) && a.isEqualTo(string(L"A"), false) && a.isEqualTo(L"A", false));
    EXPECT_EQ(string::fromMBCtoWC(nullptr), L"");
    {
        ctypeLocale classic("C");
        EXPECT_EQ(string::fromMBCtoWC("\xE9"), L"\u00e9");
    }
    ctypeLocale utf8("C.UTF-8");
    if (!utf8.ok)
        GTEST_SKIP() << "no C.UTF-8 locale";
    EXPECT_EQ(string(L"\u00c9mile \u00df").toUpper(), L"\u00c9MILE \u00df"); // length never changes
    EXPECT_EQ(string(L"\u00c9mile").lower(), L"\u00e9mile");
    EXPECT_EQ(string::fromMBCtoWC("h\xC3\xA9") + L"|" + string::fromMBCtoWC("\xE9x") + L"|" +
                  string::fromMBCtoWC("a\xE2\x82"),
              L"h\u00e9|\u00e9x|a\u00e2\u0082");
}

TEST(String, MultiByteConversionsInvalidUtf8AndCharactersAtEveryPositionOfABlock) {
    // Units that are not characters become U+FFFD: lone surrogates (a low one before a high one),
    // and where wchar_t has 32 bits a value above U+10FFFF. Both forms end at the first null.
    const string bad = sizeof(wchar_t) == 2 ? string{L'a', wchar_t(0xDFFF), wchar_t(0xD800), wchar_t(0xD800), L'b'}
                                            : string{L'a', wchar_t(0xD800), wchar_t(0xDFFF), wchar_t(0x110000), L'b'};
    const std::wstring text(L"h\u00e9\u20ac\U0001F600"), nulls(L"ab\0cd", 5), long2000(2000, L'\u00e9');
    const struct { std::wstring wide; std::string utf8; std::wstring back; } conversions[] = {
        {text, "h\xC3\xA9\xE2\x82\xAC\xF0\x9F\x98\x80", text}, {nulls, "ab", L"ab"},
        {bad, "a\xEF\xBF\xBD\xEF\xBF\xBD\xEF\xBF\xBD" "b", {L'a', R, R, R, L'b'}},
        {long2000, string(long2000).getMBCS(), long2000}};
    for (const auto& c : conversions)
        EXPECT_TRUE(string::getMBCS(c.wide) == c.utf8 && string::makeMBCS(c.wide) == c.back) << c.utf8;
    EXPECT_EQ(string(long2000).getMBCS().size(), 4000u);
    const struct { const char* bytes; std::wstring expected; } cases[] = {
        {"\xE2\x82" "A", {R, L'A'}}, {"\xC0\x80", {R, R}}, {"\xF4\x90\x80\x80", {R, R, R, R}},
        {"\xED\xA0\x80", {R, R, R}}, {"x\xF0\x9F\x98", {L'x', R}}, {"\xFF\xC3\xA9", {R, L'\u00e9'}},
        {"\xF0\x9F\x98\x80", L"\U0001F600"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(string::sformat(L"%S", c.bytes), c.expected) << c.bytes;
    // Both directions take ASCII a block at a time; a character of every length, a pair on 16-bit systems and
    // a broken sequence (read only) must come out whole wherever they fall in a block.
    const std::pair<std::wstring, const char*> characters[] = {
        {L"\u00e9", "\xc3\xa9"}, {L"\u20ac", "\xe2\x82\xac"}, {L"\U0001F600", "\xf0\x9f\x98\x80"}, {{R}, "\xe2\x82"}};
    const std::string ascii = "abcdefghijklmnopqrstuvwxyz0123456789";
    const std::wstring wideAscii(ascii.begin(), ascii.end());
    for (const auto& [wide, utf8] : characters) {
        for (std::size_t before = 0; before < 20; ++before) {
            const std::string bytes = ascii.substr(0, before) + utf8 + ascii.substr(before, 17);
            const std::wstring units = wideAscii.substr(0, before) + wide + wideAscii.substr(before, 17);
            ASSERT_EQ(string::sformat(L"%S", bytes.c_str()), units) << before;
            if (wide[0] != R) {
                ASSERT_EQ(string(units).getMBCS(), bytes) << before;
            }
        }
    }
}

// Names and keys compare through one case folding, the simple upper-case mapping, whatever the
// process locale: the long s (U+017F) upper-cases to 'S' but lower-cases to itself, and the
// Kelvin sign (U+212A) lower-cases to 'k' but upper-cases to itself.
TEST(CaseFolding, OneFoldingForNamesAndKeysInEveryLocale) {
    const std::string previous = std::setlocale(LC_ALL, nullptr);
    for (const char* locale : {"C", "C.UTF-8"}) {
        if (!std::setlocale(LC_ALL, locale))
            continue;
        const struct { const wchar_t* a; const wchar_t* b; bool equal; } cases[] = {
#ifndef _WIN32 // Windows folds by its invariant locale, which (under Wine at least) leaves U+017F alone
            {L"\x17F", L"S", true}, {L"\x17Fx", L"sX", true},
#endif
            {L"\xC9t\xC9", L"\xE9T\xE9", true},
            {L"\x212A", L"k", false}, {L"\x212A", L"K", false}, {L"a_b", L"A_B", true}, {L"a", L"ab", false},
        };
        for (const auto& c : cases) {
            SCOPED_TRACE(testing::Message() << locale << ' ' << vxtest::show(c.a));
            EXPECT_EQ(string(c.a).isEqualTo(c.b, false), c.equal);
            EXPECT_EQ(vx::directory(string(L"C:\\") + c.a) == vx::directory(string(L"C:\\") + c.b), c.equal);
        }
    }
    std::setlocale(LC_ALL, previous.c_str());
}

// Plain %d, %u and %f are written without the C library; what comes out must stay what printf
// gives, at every size, sign and precision, and around the sizes where the direct way stops.
TEST(StringFormat, PlainNumbersAsPrintfWritesThem) {
    std::mt19937_64 generator(7);
    const auto printf = [](const char* fmt, auto... values) {
        char narrow[1024];
        std::snprintf(narrow, sizeof narrow, fmt, values...);
        return string(std::wstring(narrow, narrow + std::strlen(narrow)));
    };
    std::vector<double> values = {0.0, -0.0, 0.5, 0.125, 2.5, -2.675, 1e-7, 0.1, 99.995, 1e17, -1e17,
                                  99999999999999984.0, 1e17 - 16, 1e300, 5e-324};
    for (int i = 0; i < 2000; ++i) {
        const double magnitude = std::pow(10.0, static_cast<double>(generator() % 40) - 20);
        values.push_back(std::ldexp(static_cast<double>(generator() >> 11), -53) * magnitude *
                         (generator() % 2 ? 1 : -1));
    }
    for (const double v : values)
        for (const int p : {0, 1, 2, 6, 17, 18})
            ASSERT_EQ(string::sformat(L"%.*f|%.*lf|%f", p, v, p, v, v), printf("%.*f|%.*f|%f", p, v, p, v, v)) << v;
    for (const long long n : {0LL, 7LL, -7LL, 1LL << 40, LLONG_MAX, LLONG_MIN}) {
        const int i = static_cast<int>(n);
        EXPECT_EQ(string::sformat(L"%lld|%lli|%llu", n, n, n), printf("%lld|%lli|%llu", n, n, n));
        EXPECT_EQ(string::sformat(L"%d|%i|%u", i, i, unsigned(i)), printf("%d|%i|%u", i, i, unsigned(i)));
    }
}
