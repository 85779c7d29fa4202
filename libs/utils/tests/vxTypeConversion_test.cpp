#include <vxTypeConversion.h>

#include <gtest/gtest.h>

#include <atomic>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdint>
#include <cstdlib>
#include <cstring>
#include <limits>
#include <string>
#include <thread>
#include <vector>

#include <langinfo.h>
#include <locale.h>
#include <sys/stat.h>
#include <unistd.h>

#include <filesystem>
#include <system_error>

namespace {

using vx::typeconvert::conversionArguments;
using vx::typeconvert::convertBase;
using vx::typeconvert::convertLocale;
using vx::typeconvert::convertWidth;
using vx::typeconvert::dtconvert;
using vx::typeconvert::typeConversionManager;
using vx::typeconvert::typeConverter;

// --- a German user locale ------------------------------------------------------------------------
//
// The user's numeric locale is read once, on first use, from the environment. Before anything can
// read it, a German locale is compiled into the build tree's scratch directory (once per build) and named as
// the user's numeric locale, so that the user's decimal separator is ','. Without localedef the
// tests that need it are skipped.

bool prepareGermanLocale() {
    const std::string root = VX_TEST_SCRATCH_DIR "/locales";
    const std::string target = root + "/de_DE.UTF-8";
    struct stat info;
    if (stat((target + "/LC_NUMERIC").c_str(), &info) != 0) {
        std::error_code ignored;
        std::filesystem::create_directories(root, ignored);
        const std::string building = target + ".building." + std::to_string(::getpid());
        const std::string command = "localedef -i de_DE -f UTF-8 '" + building + "' >/dev/null 2>&1";
        if (std::system(command.c_str()) == -1)
            return false;
        // Several test processes may build at once; the first rename wins, the others clean up.
        if (std::rename(building.c_str(), target.c_str()) != 0)
            std::system(("rm -rf '" + building + "'").c_str());
    }
    ::setenv("LOCPATH", root.c_str(), 1);
    ::unsetenv("LC_ALL");
    ::setenv("LC_NUMERIC", "de_DE.UTF-8", 1);
    const locale_t probe = newlocale(LC_NUMERIC_MASK, "", static_cast<locale_t>(0));
    if (!probe)
        return false;
    const bool comma = std::strcmp(nl_langinfo_l(RADIXCHAR, probe), ",") == 0;
    freelocale(probe);
    return comma;
}

const bool germanUserLocale = prepareGermanLocale();

} // namespace

#if defined(__SANITIZE_ADDRESS__)
// glibc's newlocale keeps its copy of LOCPATH, through which the German test locale is found,
// and never frees it.
extern "C" __attribute__((used, visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:__argz_add_sep\n";
}
#endif

namespace {

template <class To, class From>
To converted(const From& from, bool expectedResult = true) {
    To to{};
    EXPECT_EQ((dtconvert<To, From>(to, from)), expectedResult);
    return to;
}

vx::string text(const wchar_t* s) { return vx::string(s); }

// --- numbers among themselves -------------------------------------------------------------------------

TEST(NumberConversion, RangeFailureStoresTheNearestLimit) {
    short s = 0;
    EXPECT_FALSE((dtconvert<short, int>(s, 40000)));
    EXPECT_EQ(s, 32767);
    EXPECT_FALSE((dtconvert<short, int>(s, -40000)));
    EXPECT_EQ(s, -32768);

    unsigned int u = 5;
    EXPECT_FALSE((dtconvert<unsigned int, long>(u, -1L)));
    EXPECT_EQ(u, 0u);
    unsigned long long ull = 5;
    EXPECT_FALSE((dtconvert<unsigned long long, short>(ull, short(-3))));
    EXPECT_EQ(ull, 0u);
    unsigned short us = 0;
    EXPECT_FALSE((dtconvert<unsigned short, unsigned long long>(us, ULLONG_MAX)));
    EXPECT_EQ(us, 65535);
    int i = 0;
    EXPECT_FALSE((dtconvert<int, unsigned int>(i, 3000000000u)));
    EXPECT_EQ(i, INT_MAX);

    EXPECT_EQ((converted<long, int>(-7)), -7L);
    EXPECT_EQ((converted<unsigned long long, long>(LONG_MAX)), static_cast<unsigned long long>(LONG_MAX));
}

TEST(NumberConversion, FloatingPointToIntegerTruncatesAndSaturates) {
    EXPECT_EQ((converted<int, double>(-2.9)), -2);
    EXPECT_EQ((converted<int, float>(2.9f)), 2);
    EXPECT_EQ((converted<int, float>(3e9f, false)), INT_MAX);
    EXPECT_EQ((converted<int, float>(-3e9f, false)), INT_MIN);
    EXPECT_EQ((converted<short, double>(1e300, false)), SHRT_MAX);
    EXPECT_EQ((converted<unsigned int, double>(-0.5, false)), 0u);
    EXPECT_EQ((converted<long, double>(-std::numeric_limits<double>::infinity(), false)), LONG_MIN);

    // The maximum of int as a float constant is 2^31, which passes the comparison but does not fit.
    EXPECT_EQ((converted<int, float>(2147483648.0f, false)), INT_MAX);
    EXPECT_EQ((converted<unsigned long long, float>(18446744073709551616.0f, false)), ULLONG_MAX);
    EXPECT_EQ((converted<long, double>(9223372036854775808.0, false)), LONG_MAX);
    // The lowest value itself fits.
    EXPECT_EQ((converted<int, double>(-2147483648.0)), INT_MIN);

    // Not a number has no nearest limit: the target keeps its value.
    int kept = 17;
    EXPECT_FALSE((dtconvert<int, double>(kept, std::nan(""))));
    EXPECT_EQ(kept, 17);
}

TEST(NumberConversion, FloatingPointWidthAndBool) {
    EXPECT_EQ((converted<float, double>(1e39, false)), FLT_MAX);
    EXPECT_EQ((converted<float, double>(-1e39, false)), -FLT_MAX);
    EXPECT_EQ((converted<float, double>(0.5)), 0.5f);
    EXPECT_EQ((converted<double, float>(FLT_MAX)), static_cast<double>(FLT_MAX));
    EXPECT_EQ((converted<double, unsigned long long>(ULLONG_MAX)), 18446744073709551616.0);

    EXPECT_TRUE((converted<bool, int>(-5)));
    EXPECT_FALSE((converted<bool, unsigned long long>(0)));
    EXPECT_EQ((converted<int, bool>(true)), 1);
    EXPECT_EQ((converted<double, bool>(false)), 0.0);
}

// --- integers and text -----------------------------------------------------------------------------------

TEST(IntegerFromText, ReadsLikeScanf) {
    EXPECT_EQ((converted<int, vx::string>(text(L"12abc"))), 12);
    EXPECT_EQ((converted<int, vx::string>(text(L" \t\n-7"))), -7);
    EXPECT_EQ((converted<long, vx::string>(text(L"+5"))), 5L);
    EXPECT_EQ((converted<unsigned short, vx::string>(text(L"0x10"))), 0);

    for (const wchar_t* bad : {L"", L"abc", L"- 5", L"+", L"  "}) {
        int i = 99;
        EXPECT_FALSE((dtconvert<int, vx::string>(i, text(bad)))) << bad;
        EXPECT_EQ(i, 99) << bad;
        unsigned long long u = 99;
        EXPECT_FALSE((dtconvert<unsigned long long, vx::string>(u, text(bad)))) << bad;
        EXPECT_EQ(u, 99u) << bad;
    }
}

TEST(IntegerFromText, ShortOutsideItsRangeKeepsTheTarget) {
    short s = 11;
    EXPECT_FALSE((dtconvert<short, vx::string>(s, text(L"40000"))));
    EXPECT_EQ(s, 11);
    EXPECT_FALSE((dtconvert<short, vx::string>(s, text(L"-99999999999"))));
    EXPECT_EQ(s, 11);
    EXPECT_EQ((converted<short, vx::string>(text(L"-32768"))), -32768);
}

TEST(IntegerFromText, LongIsThirtyTwoBitsWideInText) {
    EXPECT_EQ((converted<long, vx::string>(text(L"3000000000"), false)), 2147483647L);
    EXPECT_EQ((converted<long, vx::string>(text(L"-3000000000"), false)), -2147483648L);
    EXPECT_EQ((converted<long, vx::string>(text(L"-2147483648"))), -2147483648L);
    EXPECT_EQ((converted<int, vx::string>(text(L"99999999999999999999999999999"), false)), INT_MAX);
    EXPECT_EQ((converted<unsigned short, vx::string>(text(L"70000"), false)), 65535);
    EXPECT_EQ((converted<unsigned short, vx::string>(text(L"-1"), false)), 0);

    // Unsigned text reads as "%lu": a minus sign negates in 32-bit unsigned arithmetic, and
    // unsigned long long is read through unsigned long.
    EXPECT_EQ((converted<unsigned int, vx::string>(text(L"-1"))), 4294967295u);
    EXPECT_EQ((converted<unsigned long, vx::string>(text(L"4294967295"))), 4294967295UL);
    EXPECT_EQ((converted<unsigned long, vx::string>(text(L"4294967296"), false)), 4294967295UL);
    EXPECT_EQ((converted<unsigned long long, vx::string>(text(L"5000000000"), false)), 4294967295ULL);
}

TEST(IntegerToText, DecimalWithWidth) {
    EXPECT_EQ((converted<vx::string, short>(-32768)), L"-32768");
    EXPECT_EQ((converted<vx::string, int>(INT_MIN)), L"-2147483648");
    EXPECT_EQ((converted<vx::string, unsigned int>(UINT_MAX)), L"4294967295");
    EXPECT_EQ((converted<vx::string, unsigned long long>(ULLONG_MAX)), L"18446744073709551615");
    // long and unsigned long are 32 bits wide in text.
    EXPECT_EQ((converted<vx::string, long>(5000000000L, false)), L"2147483647");
    EXPECT_EQ((converted<vx::string, long>(-5000000000L, false)), L"-2147483648");
    EXPECT_EQ((converted<vx::string, unsigned long>(5000000000UL, false)), L"4294967295");

    vx::string s = L"old";
    conversionArguments four(4);
    EXPECT_TRUE((dtconvert<vx::string, int>(s, -5, convertWidth, four.cursor())));
    EXPECT_EQ(s, L"00-5"); // the padding stands before the sign
    conversionArguments six(6);
    EXPECT_TRUE((dtconvert<vx::string, unsigned long long>(s, 42, convertWidth, six.cursor())));
    EXPECT_EQ(s, L"000042");
    conversionArguments negative(-3);
    EXPECT_TRUE((dtconvert<vx::string, short>(s, short(7), convertWidth, negative.cursor())));
    EXPECT_EQ(s, L"7");
    // A width far beyond any text is bounded.
    conversionArguments huge(INT_MAX);
    EXPECT_TRUE((dtconvert<vx::string, int>(s, 1, convertWidth, huge.cursor())));
    EXPECT_EQ(s.size(), 65536u);
    EXPECT_EQ(s.back(), L'1');
}

TEST(IntegerToText, HexadecimalGoesInFrontOfTheOldText) {
    vx::string s = L"xy";
    conversionArguments upper(vx::typeconvert::baseHexUpper);
    EXPECT_TRUE((dtconvert<vx::string, int>(s, 255, convertBase, upper.cursor())));
    EXPECT_EQ(s, L"FFxy");
    conversionArguments lower(vx::typeconvert::baseHexLower);
    s.clear();
    EXPECT_TRUE((dtconvert<vx::string, unsigned int>(s, 0xBEEF, convertBase, lower.cursor())));
    EXPECT_EQ(s, L"beef");
    s.clear();
    EXPECT_TRUE((dtconvert<vx::string, int>(s, 0, convertBase, upper.cursor())));
    EXPECT_EQ(s, L"0");
    // Negative values show their sign-extended two's complement.
    s.clear();
    EXPECT_TRUE((dtconvert<vx::string, short>(s, short(-1), convertBase, upper.cursor())));
    EXPECT_EQ(s, L"FFFFFFFFFFFFFFFF");
    // No width applies to hexadecimal digits; the width cell follows the base cell.
    conversionArguments upperWidth(vx::typeconvert::baseHexUpper, 8);
    s.clear();
    EXPECT_TRUE((dtconvert<vx::string, int>(s, 10, convertBase | convertWidth, upperWidth.cursor())));
    EXPECT_EQ(s, L"A");
    // Another base selector prints decimal, and then the width cell counts.
    conversionArguments decimal(2, 3);
    EXPECT_TRUE((dtconvert<vx::string, int>(s, 10, convertBase | convertWidth, decimal.cursor())));
    EXPECT_EQ(s, L"010");
}

TEST(IntegerToText, ArgumentCells) {
    // Flags without a cursor: nothing is read.
    vx::string s;
    EXPECT_TRUE((dtconvert<vx::string, int>(s, 5, convertBase | convertWidth, nullptr)));
    EXPECT_EQ(s, L"5");
    // A cell holding an int in its first four bytes and anything in the others.
    alignas(8) char cells[16];
    std::memset(cells, 0x7F, sizeof cells);
    const int width = 3;
    std::memcpy(cells, &width, sizeof width);
    EXPECT_TRUE((dtconvert<vx::string, int>(s, 5, convertWidth, cells)));
    EXPECT_EQ(s, L"005");
}

// --- bool and text ------------------------------------------------------------------------------------------

TEST(BoolConversion, TextForms) {
    EXPECT_EQ((converted<vx::string, bool>(true)), L"1");
    EXPECT_EQ((converted<vx::string, bool>(false)), L"0");

    EXPECT_TRUE((converted<bool, vx::string>(text(L"12"))));
    EXPECT_FALSE((converted<bool, vx::string>(text(L"0"))));
    EXPECT_TRUE((converted<bool, vx::string>(text(L"99999999999")))); // a number, not zero
    EXPECT_TRUE((converted<bool, vx::string>(text(L"TRUE"))));
    EXPECT_FALSE((converted<bool, vx::string>(text(L"False"))));

    bool b = true;
    EXPECT_FALSE((dtconvert<bool, vx::string>(b, text(L"yes"))));
    EXPECT_TRUE(b);
    b = false;
    EXPECT_FALSE((dtconvert<bool, vx::string>(b, text(L" true"))));
    EXPECT_FALSE(b);
}

// --- floating point and text ----------------------------------------------------------------------------

TEST(DoubleFromText, BothSeparatorsReadAlike) {
    EXPECT_EQ((converted<double, vx::string>(text(L"12"))), 12.0);
    EXPECT_EQ((converted<double, vx::string>(text(L"1,5 "))), 1.5);
    EXPECT_EQ((converted<double, vx::string>(text(L"1.5"))), 1.5);
    EXPECT_EQ((converted<double, vx::string>(text(L" -2.5e3\t"))), -2500.0);

    for (const wchar_t* bad : {L"", L"1.5x", L"1,000.5", L"abc", L"1.5\n"}) {
        double d = 7.0;
        EXPECT_FALSE((dtconvert<double, vx::string>(d, text(bad)))) << bad;
        EXPECT_EQ(d, 7.0) << bad;
    }
    // Only spaces: nothing is read and nothing but blanks is left, which counts as success.
    EXPECT_EQ((converted<double, vx::string>(text(L"  "))), 0.0);

    // float reads through double and saturates.
    EXPECT_EQ((converted<float, vx::string>(text(L"0,25"))), 0.25f);
    EXPECT_EQ((converted<float, vx::string>(text(L"1e39"), false)), FLT_MAX);
    float f = 3.0f;
    EXPECT_FALSE((dtconvert<float, vx::string>(f, text(L"x"))));
    EXPECT_EQ(f, 3.0f);
}

TEST(DoubleToText, ShortFormWithoutPrecision) {
    EXPECT_EQ((converted<vx::string, double>(2.5)), L"2.5");
    EXPECT_EQ((converted<vx::string, double>(2.0)), L"2");
    EXPECT_EQ((converted<vx::string, double>(100.0)), L"100");
    EXPECT_EQ((converted<vx::string, double>(0.1 + 0.2)), L"0.3");
    EXPECT_EQ((converted<vx::string, double>(1.23456789012)), L"1.23456789");
    EXPECT_EQ((converted<vx::string, double>(-0.000000001)), L"-0");
    EXPECT_EQ((converted<vx::string, double>(1e20)), L"100000000000000000000");
    EXPECT_EQ((converted<vx::string, float>(0.5f)), L"0.5");
}

TEST(DoubleToText, PrecisionKeepsTheZeros) {
    vx::string s;
    conversionArguments three(3);
    EXPECT_TRUE((dtconvert<vx::string, double>(s, 2.5, convertWidth, three.cursor())));
    EXPECT_EQ(s, L"2.500");
    conversionArguments twelve(12);
    EXPECT_TRUE((dtconvert<vx::string, double>(s, 2.5, convertWidth, twelve.cursor())));
    EXPECT_EQ(s, L"2.5000000000");
    conversionArguments zero(0);
    EXPECT_TRUE((dtconvert<vx::string, double>(s, 2.75, convertWidth, zero.cursor())));
    EXPECT_EQ(s, L"3");
    conversionArguments negative(-4);
    EXPECT_TRUE((dtconvert<vx::string, double>(s, 20.0, convertWidth, negative.cursor())));
    EXPECT_EQ(s, L"20");
    // The base cell comes first even where doubles ignore it.
    conversionArguments baseThenWidth(3, 2);
    EXPECT_TRUE((dtconvert<vx::string, double>(s, 1.0, convertBase | convertWidth,
                                                baseThenWidth.cursor())));
    EXPECT_EQ(s, L"1.00");
}

TEST(DoubleToText, UserDecimalSeparator) {
    if (!germanUserLocale)
        GTEST_SKIP() << "no German locale can be built here";
    vx::string s;
    EXPECT_TRUE((dtconvert<vx::string, double>(s, 2.5, convertLocale)));
    EXPECT_EQ(s, L"2,5");
    EXPECT_TRUE((dtconvert<vx::string, double>(s, 2.0, convertLocale)));
    EXPECT_EQ(s, L"2");
    conversionArguments three(3);
    EXPECT_TRUE((dtconvert<vx::string, double>(s, 2.5, convertLocale | convertWidth, three.cursor())));
    EXPECT_EQ(s, L"2,500");
    // Without the switch the text stays in "C" conventions, whatever the user's locale.
    EXPECT_TRUE((dtconvert<vx::string, double>(s, 2.5)));
    EXPECT_EQ(s, L"2.5");
    // And the user's text reads back.
    EXPECT_EQ((converted<double, vx::string>(text(L"1234,5"))), 1234.5);
}

TEST(DoubleToText, LocaleSwitchIsPerThread) {
    // Threads printing with and without the user's separator at once each get their own form.
    std::atomic<int> wrong{0};
    const vx::string localForm = germanUserLocale ? L"0,5" : L"0.5";
    auto worker = [&](bool user) {
        for (int i = 0; i < 2000; ++i) {
            vx::string s;
            dtconvert<vx::string, double>(s, 0.5, user ? convertLocale : 0);
            if (s != (user ? localForm : vx::string(L"0.5")))
                ++wrong;
        }
    };
    std::thread a(worker, true), b(worker, false), c(worker, true), d(worker, false);
    a.join();
    b.join();
    c.join();
    d.join();
    EXPECT_EQ(wrong.load(), 0);
}

// --- narrow text ------------------------------------------------------------------------------------------

TEST(NarrowText, ActiveCodePageBothWays) {
    const std::string utf8 = "Gr\xC3\xBC\xC3\x9F" "e \xE2\x82\xAC";
    EXPECT_EQ((converted<vx::string, std::string>(utf8)), L"Grüße €");
    EXPECT_EQ((converted<std::string, vx::string>(text(L"Grüße €"))), utf8);
    EXPECT_EQ((converted<vx::string, std::string>(std::string("a\xFF" "b"))), L"a\xFFFD" L"b");

    EXPECT_EQ((converted<vx::string, char>('A')), L"A");
    EXPECT_EQ((converted<vx::string, char>('\xE9')), L"\xFFFD");
    const char* narrow = "abc";
    EXPECT_EQ((converted<vx::string, const char*>(narrow)), L"abc");
}

TEST(NarrowText, NullPointersLeaveTheTarget) {
    vx::string s = L"kept";
    const char* none = nullptr;
    EXPECT_TRUE((dtconvert<vx::string, const char*>(s, none)));
    EXPECT_EQ(s, L"kept");
    EXPECT_TRUE(dtconvert(s, static_cast<const wchar_t*>(nullptr)));
    EXPECT_EQ(s, L"kept");
    EXPECT_TRUE(dtconvert(s, L"wide"));
    EXPECT_EQ(s, L"wide");
}

// --- the conversion manager ---------------------------------------------------------------------------

// An owner type with a text form of its own, registered as owner types register theirs.
struct celsius {
    double degrees = 0;
};

bool celsiusToText(vx::string& to, const celsius& from, int flags, char* arguments) {
    vx::string number;
    if (!dtconvert<vx::string, double>(number, from.degrees, flags, arguments))
        return false;
    to = number;
    return true;
}

bool celsiusFromText(celsius& to, const vx::string& from, int, char*) {
    return dtconvert<double, vx::string>(to.degrees, from);
}

struct noText {};

bool convertRaw(const std::type_info& to, void* toValue, const std::type_info& from, const void* fromValue,
                int flags = 0, char* arguments = nullptr) {
    return typeConversionManager::instance().convert(to, toValue, from, fromValue, flags, arguments);
}

TEST(ConversionManager, LibraryPairs) {
    auto& manager = typeConversionManager::instance();
    EXPECT_TRUE(manager.hasConverter(typeid(vx::string), typeid(unsigned long long)));
    EXPECT_TRUE(manager.hasConverter(typeid(unsigned short), typeid(vx::string)));
    EXPECT_TRUE(manager.hasConverter(typeid(int), typeid(int)));
    EXPECT_TRUE(manager.hasConverter(typeid(bool), typeid(unsigned long long)));
    EXPECT_TRUE(manager.hasConverter(typeid(vx::string), typeid(const char*)));

    EXPECT_FALSE(manager.hasConverter(typeid(bool), typeid(float)));
    EXPECT_FALSE(manager.hasConverter(typeid(bool), typeid(double)));
    EXPECT_FALSE(manager.hasConverter(typeid(bool), typeid(bool)));
    EXPECT_FALSE(manager.hasConverter(typeid(vx::string), typeid(vx::string)));
    EXPECT_FALSE(manager.hasConverter(typeid(vx::string), typeid(wchar_t)));
}

TEST(ConversionManager, DirectAndThroughText) {
    int i = 0;
    const vx::string number = L"41";
    EXPECT_TRUE(convertRaw(typeid(int), &i, typeid(vx::string), &number));
    EXPECT_EQ(i, 41);

    // Without a direct converter the way leads through vx::string: double to bool.
    bool b = false;
    const double d = 2.5;
    EXPECT_TRUE(convertRaw(typeid(bool), &b, typeid(double), &d));
    EXPECT_TRUE(b); // "2.5" reads as the number 2
    // bool to bool has no converter either, and goes through "1".
    bool from = true, to = false;
    EXPECT_TRUE(convertRaw(typeid(bool), &to, typeid(bool), &from));
    EXPECT_TRUE(to);

    // Flags and arguments serve both steps: the width pads the intermediate text.
    typeConverter<celsius, vx::string> toText(&celsiusToText);
    typeConverter<vx::string, celsius> fromText(&celsiusFromText);
    const celsius warm{21.5};
    vx::string s;
    conversionArguments two(2);
    EXPECT_TRUE(convertRaw(typeid(vx::string), &s, typeid(celsius), &warm, convertWidth, two.cursor()));
    EXPECT_EQ(s, L"21.50");
    double degrees = 0;
    EXPECT_TRUE(convertRaw(typeid(double), &degrees, typeid(celsius), &warm));
    EXPECT_EQ(degrees, 21.5);
    // Through text the second step decides: 21.5 is not an int as text, but reads as 21.
    int whole = 0;
    EXPECT_TRUE(convertRaw(typeid(int), &whole, typeid(celsius), &warm));
    EXPECT_EQ(whole, 21);
    celsius back;
    const short cold = -4;
    EXPECT_TRUE(convertRaw(typeid(celsius), &back, typeid(short), &cold));
    EXPECT_EQ(back.degrees, -4.0);
}

TEST(ConversionManager, NoWayIsFalseAndLeavesTheTarget) {
    noText target;
    int i = 5;
    const int source = 3;
    EXPECT_FALSE(convertRaw(typeid(noText), &target, typeid(int), &source));
    const noText from;
    EXPECT_FALSE(convertRaw(typeid(int), &i, typeid(noText), &from));
    EXPECT_EQ(i, 5);
    // A text without a converter to the target: only a direct converter could serve.
    const vx::string textValue = L"1";
    EXPECT_FALSE(convertRaw(typeid(noText), &target, typeid(vx::string), &textValue));
    // wchar_t has no converter at all.
    const wchar_t c = L'7';
    EXPECT_FALSE(convertRaw(typeid(int), &i, typeid(wchar_t), &c));
    EXPECT_EQ(i, 5);
    // A failing first step ends the chain.
    typeConverter<vx::string, celsius> fromText(&celsiusFromText);
    celsius result{1.0};
    const std::string notNumber = "warm";
    EXPECT_FALSE(convertRaw(typeid(celsius), &result, typeid(std::string), &notNumber));
    EXPECT_EQ(result.degrees, 1.0);
    // Null value pointers.
    EXPECT_FALSE(convertRaw(typeid(int), nullptr, typeid(int), &source));
    EXPECT_FALSE(convertRaw(typeid(int), &i, typeid(int), nullptr));
}

TEST(ConversionManager, RegistrationLifecycle) {
    auto& manager = typeConversionManager::instance();
    const celsius warm{30.0};
    vx::string s;
    {
        typeConverter<celsius, vx::string> toText(&celsiusToText);
        EXPECT_TRUE(manager.hasConverter(typeid(vx::string), typeid(celsius)));
        EXPECT_TRUE(convertRaw(typeid(vx::string), &s, typeid(celsius), &warm));
        EXPECT_EQ(s, L"30");

        // The converter added last serves the pair; removing it brings the earlier one back.
        typeConverter<celsius, vx::string> replacement([](vx::string& to, const celsius&, int, char*) {
            to = L"hot";
            return true;
        });
        EXPECT_TRUE(convertRaw(typeid(vx::string), &s, typeid(celsius), &warm));
        EXPECT_EQ(s, L"hot");
        manager.add(&replacement); // registered already: no change
        manager.remove(&replacement);
        EXPECT_TRUE(convertRaw(typeid(vx::string), &s, typeid(celsius), &warm));
        EXPECT_EQ(s, L"30");
        manager.remove(&replacement); // not registered: no change
        manager.add(nullptr);
        manager.remove(nullptr);
    }
    // Destroyed converters are gone.
    EXPECT_FALSE(manager.hasConverter(typeid(vx::string), typeid(celsius)));
    s = L"kept";
    EXPECT_FALSE(convertRaw(typeid(vx::string), &s, typeid(celsius), &warm));
    EXPECT_EQ(s, L"kept");

    // A converter without a function answers false.
    typeConverter<celsius, vx::string> empty(nullptr);
    EXPECT_TRUE(manager.hasConverter(typeid(vx::string), typeid(celsius)));
    EXPECT_FALSE(convertRaw(typeid(vx::string), &s, typeid(celsius), &warm));
}

TEST(ConversionManager, ReadersConvertWhileWritersRegister) {
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0};
    std::atomic<int> conversions{0};
    auto reader = [&] {
        int n = 0;
        while (!stop.load() || n < 200) {
            int i = 0;
            const vx::string number = L"123";
            if (!convertRaw(typeid(int), &i, typeid(vx::string), &number) || i != 123)
                ++wrong;
            vx::string s;
            const double d = 0.25;
            if (!convertRaw(typeid(vx::string), &s, typeid(double), &d) || s != L"0.25")
                ++wrong;
            ++n;
        }
        conversions += n;
    };
    auto writer = [&] {
        for (int round = 0; round < 300; ++round) {
            typeConverter<celsius, vx::string> toText(&celsiusToText);
            typeConverter<vx::string, celsius> fromText(&celsiusFromText);
            const celsius warm{1.5};
            vx::string s;
            if (!convertRaw(typeid(vx::string), &s, typeid(celsius), &warm) || s != L"1.5")
                ++wrong;
        }
    };
    std::vector<std::thread> threads;
    threads.emplace_back(reader);
    threads.emplace_back(reader);
    std::thread w1(writer), w2(writer);
    w1.join();
    w2.join();
    stop = true;
    for (auto& t : threads)
        t.join();
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_GE(conversions.load(), 400);
    EXPECT_FALSE(typeConversionManager::instance().hasConverter(typeid(vx::string), typeid(celsius)));
}

} // namespace
