#include "testSupport.h"

#include <vxTypeConversion.h>

#include <atomic>
#include <cfloat>
#include <climits>
#include <cmath>
#include <cstdlib>
#include <cstring>
#include <filesystem>
#include <limits>
#include <type_traits>

#include <langinfo.h>
#include <locale.h>
#include <unistd.h>

namespace {

using vx::typeconvert::conversionArguments;
using vx::typeconvert::convertBase;
using vx::typeconvert::convertLocale;
using vx::typeconvert::convertWidth;
using vx::typeconvert::dtconvert;
using vx::typeconvert::typeConversionManager;
using vx::typeconvert::typeConverter;
constexpr int kHexUpper = vx::typeconvert::baseHexUpper, kHexLower = vx::typeconvert::baseHexLower;

// The user's numeric locale is read once, on first use, from the environment. Before anything can
// read it, a German locale (decimal separator ',') is compiled into the build tree's scratch
// directory, once per build, and named as the user's. Without localedef its tests are skipped.
bool prepareGermanLocale() {
    const std::string root = VX_TEST_SCRATCH_DIR "/locales", target = root + "/de_DE.UTF-8";
    if (!std::filesystem::exists(target + "/LC_NUMERIC")) {
        std::error_code ignored;
        std::filesystem::create_directories(root, ignored);
        const std::string building = target + ".building." + std::to_string(::getpid());
        if (std::system(("localedef -i de_DE -f UTF-8 '" + building + "' >/dev/null 2>&1").c_str()) == -1)
            return false;
        // Several test processes may build at once; the first rename wins, the others clean up.
        if (std::rename(building.c_str(), target.c_str()) != 0)
            std::filesystem::remove_all(building, ignored);
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

// A target's value before a conversion: one that no conversion below produces.
template <class T>
T before() {
    if constexpr (std::is_same_v<T, vx::string>)
        return L"old";
    else if constexpr (std::is_class_v<T>)
        return T();
    else
        return static_cast<T>(std::is_same_v<T, bool> ? 0 : 77);
}

// The target after dtconvert<To, From>, which must answer ok.
template <class To, class From>
To converted(const From& from, bool ok = true) {
    To to = before<To>();
    EXPECT_EQ((dtconvert<To, From>(to, from)), ok);
    return to;
}
template <class To>
To fromText(const wchar_t* text, bool ok = true) {
    return converted<To, vx::string>(vx::string(text), ok);
}
// Whether reading text as a To fails and leaves the target as it was.
template <class To>
bool textFails(const wchar_t* text) {
    To to = before<To>();
    return !dtconvert<To, vx::string>(to, vx::string(text)) && to == before<To>();
}
// The text of value with flags and argument cells, printed into an empty target.
template <class From, class... Cells>
vx::string printed(From value, int flags, Cells... cells) {
    conversionArguments arguments(cells...);
    vx::string s;
    EXPECT_TRUE((dtconvert<vx::string, From>(s, value, flags, arguments.cursor())));
    return s;
}

// --- numbers among themselves: each type's own range; a failure stores the nearest limit ---------------

TEST(NumberConversion, RangeFailureStoresTheNearestLimit) {
    EXPECT_EQ((converted<short, int>(40000, false)), 32767);
    EXPECT_EQ((converted<short, int>(-40000, false)), -32768);
    EXPECT_EQ((converted<unsigned int, long>(-1L, false)), 0u);
    EXPECT_EQ((converted<unsigned short, unsigned long long>(ULLONG_MAX, false)), 65535);
    EXPECT_EQ((converted<int, unsigned int>(3000000000u, false)), INT_MAX);
    EXPECT_EQ((converted<float, double>(1e39, false)), FLT_MAX);
    EXPECT_EQ((converted<float, double>(-1e39, false)), -FLT_MAX);
    // To bool: not zero; from bool: 0 or 1.
    EXPECT_TRUE((converted<bool, int>(-5)));
    EXPECT_FALSE((converted<bool, unsigned long long>(0)));
    EXPECT_EQ((converted<int, bool>(true)), 1);
}

TEST(NumberConversion, FloatingPointToIntegerTruncatesAndSaturates) {
    EXPECT_EQ((converted<int, double>(-2.9)), -2);
    EXPECT_EQ((converted<int, float>(-3e9f, false)), INT_MIN);
    EXPECT_EQ((converted<unsigned int, double>(-0.5, false)), 0u);
    EXPECT_EQ((converted<long, double>(-std::numeric_limits<double>::infinity(), false)), LONG_MIN);
    // 2 to the number of digits passes a comparison with the maximum as a floating constant, but
    // does not fit; the lowest value itself fits.
    EXPECT_EQ((converted<int, float>(2147483648.0f, false)), INT_MAX);
    EXPECT_EQ((converted<unsigned long long, float>(18446744073709551616.0f, false)), ULLONG_MAX);
    EXPECT_EQ((converted<int, double>(2147483647.5, false)), INT_MAX);
    EXPECT_EQ((converted<int, double>(-2147483648.0)), INT_MIN);
    // Not a number has no nearest limit: the target keeps its value.
    EXPECT_EQ((converted<int, double>(std::nan(""), false)), 77);
}

// --- integers from text: read as "%ld" / "%lu", 32 bits wide; bad text keeps the target ---------------

TEST(IntegerFromText, ReadsLikeScanfAndSaturatesAt32Bits) {
    EXPECT_EQ(fromText<int>(L"12abc"), 12);
    EXPECT_EQ(fromText<int>(L" \t\n-7"), -7);
    EXPECT_EQ(fromText<long>(L"+5"), 5L);
    EXPECT_EQ(fromText<unsigned short>(L"0x10"), 0);
    for (const wchar_t* bad : {L"", L"abc", L"- 5", L"+", L"  "}) {
        EXPECT_TRUE(textFails<int>(bad)) << bad;
        EXPECT_TRUE(textFails<unsigned long long>(bad)) << bad;
    }
    // short out of its range keeps the target instead of storing the limit.
    EXPECT_TRUE(textFails<short>(L"40000"));
    EXPECT_TRUE(textFails<short>(L"-99999999999"));
    EXPECT_EQ(fromText<short>(L"-32768"), -32768);

    EXPECT_EQ(fromText<long>(L"3000000000", false), 2147483647L);
    EXPECT_EQ(fromText<long>(L"-3000000000", false), -2147483648L);
    EXPECT_EQ(fromText<long>(L"-2147483648"), -2147483648L);
    EXPECT_EQ(fromText<unsigned short>(L"70000", false), 65535);
    EXPECT_EQ(fromText<unsigned short>(L"-1", false), 0);
    // Unsigned text reads as "%lu": a minus sign negates in 32-bit unsigned arithmetic, and
    // unsigned long long is read through unsigned long.
    EXPECT_EQ(fromText<unsigned int>(L"-1"), 4294967295u);
    EXPECT_EQ(fromText<unsigned long>(L"4294967295"), 4294967295UL);
    EXPECT_EQ(fromText<unsigned long>(L"4294967296", false), 4294967295UL);
    EXPECT_EQ(fromText<unsigned long long>(L"5000000000", false), 4294967295ULL);
}

// --- integers to text: decimal with zero padding before the sign, or hexadecimal in front -------------

TEST(IntegerToText, DecimalWithWidth) {
    EXPECT_EQ((converted<vx::string, short>(-32768)), L"-32768");
    EXPECT_EQ((converted<vx::string, int>(INT_MIN)), L"-2147483648");
    EXPECT_EQ((converted<vx::string, unsigned int>(UINT_MAX)), L"4294967295");
    EXPECT_EQ((converted<vx::string, unsigned long long>(ULLONG_MAX)), L"18446744073709551615");
    // long and unsigned long are 32 bits wide in text.
    EXPECT_EQ((converted<vx::string, long>(5000000000L, false)), L"2147483647");
    EXPECT_EQ((converted<vx::string, long>(-5000000000L, false)), L"-2147483648");
    EXPECT_EQ((converted<vx::string, unsigned long>(5000000000UL, false)), L"4294967295");

    EXPECT_EQ(printed(-5, convertWidth, 4), L"00-5"); // the padding stands before the sign
    EXPECT_EQ(printed(42ULL, convertWidth, 6), L"000042");
    EXPECT_EQ(printed(short(7), convertWidth, -3), L"7");
    // A width far beyond any text is bounded.
    const vx::string wide = printed(1, convertWidth, INT_MAX);
    EXPECT_EQ(wide.size(), 65536u);
    EXPECT_EQ(wide.back(), L'1');
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

TEST(IntegerToText, HexadecimalGoesInFrontOfTheOldText) {
    vx::string s = L"xy";
    conversionArguments upper(kHexUpper);
    EXPECT_TRUE((dtconvert<vx::string, int>(s, 255, convertBase, upper.cursor())));
    EXPECT_EQ(s, L"FFxy");
    EXPECT_EQ(printed(0xBEEFu, convertBase, kHexLower), L"beef");
    EXPECT_EQ(printed(0, convertBase, kHexUpper), L"0");
    EXPECT_EQ(printed(short(-1), convertBase, kHexUpper), L"FFFFFFFFFFFFFFFF"); // sign-extended
    // No width applies to hexadecimal digits; the width cell follows the base cell.
    EXPECT_EQ(printed(10, convertBase | convertWidth, kHexUpper, 8), L"A");
    // Another base selector prints decimal, and then the width cell counts.
    EXPECT_EQ(printed(10, convertBase | convertWidth, 2, 3), L"010");
}

// --- bool and text: written as 1 and 0, read as a number or the words true and false ------------------

TEST(BoolConversion, TextForms) {
    EXPECT_EQ((converted<vx::string, bool>(true)), L"1");
    EXPECT_EQ((converted<vx::string, bool>(false)), L"0");
    EXPECT_TRUE(fromText<bool>(L"12"));
    EXPECT_FALSE(fromText<bool>(L"0"));
    EXPECT_TRUE(fromText<bool>(L"99999999999")); // a number, not zero
    EXPECT_TRUE(fromText<bool>(L"TRUE"));
    bool b = true;
    EXPECT_TRUE((dtconvert<bool, vx::string>(b, vx::string(L"False"))));
    EXPECT_FALSE(b);
    EXPECT_FALSE((dtconvert<bool, vx::string>(b, vx::string(L" true"))));
    EXPECT_FALSE(b);
    b = true;
    EXPECT_FALSE((dtconvert<bool, vx::string>(b, vx::string(L"yes"))));
    EXPECT_TRUE(b);
}

// --- floating point and text: either separator reads; short form, or a fixed precision ----------------

TEST(DoubleFromText, BothSeparatorsReadAlike) {
    EXPECT_EQ(fromText<double>(L"12"), 12.0);
    EXPECT_EQ(fromText<double>(L"1,5 "), 1.5);
    EXPECT_EQ(fromText<double>(L"1.5"), 1.5);
    EXPECT_EQ(fromText<double>(L" -2.5e3\t"), -2500.0);
    for (const wchar_t* bad : {L"", L"1.5x", L"1,000.5", L"abc", L"1.5\n"})
        EXPECT_TRUE(textFails<double>(bad)) << bad;
    // Only spaces: nothing is read and nothing but blanks is left, which counts as success.
    EXPECT_EQ(fromText<double>(L"  "), 0.0);
    // float reads through double and saturates.
    EXPECT_EQ(fromText<float>(L"0,25"), 0.25f);
    EXPECT_EQ(fromText<float>(L"1e39", false), FLT_MAX);
    EXPECT_TRUE(textFails<float>(L"x"));
}

TEST(DoubleToText, ShortFormOrFixedPrecision) {
    EXPECT_EQ((converted<vx::string, double>(2.5)), L"2.5");
    EXPECT_EQ((converted<vx::string, double>(100.0)), L"100");
    EXPECT_EQ((converted<vx::string, double>(1.23456789012)), L"1.23456789");
    EXPECT_EQ((converted<vx::string, double>(-0.000000001)), L"-0");
    EXPECT_EQ((converted<vx::string, double>(1e20)), L"100000000000000000000");
    EXPECT_EQ((converted<vx::string, float>(0.5f)), L"0.5");

    // A precision keeps the zeros; it is cut to 10, and below 0 counts as 0.
    EXPECT_EQ(printed(2.5, convertWidth, 3), L"2.500");
    EXPECT_EQ(printed(2.5, convertWidth, 12), L"2.5000000000");
    EXPECT_EQ(printed(2.75, convertWidth, 0), L"3");
    EXPECT_EQ(printed(20.0, convertWidth, -4), L"20");
    // The base cell comes first even where doubles ignore it.
    EXPECT_EQ(printed(1.0, convertBase | convertWidth, 3, 2), L"1.00");
}

TEST(DoubleToText, UserDecimalSeparator) {
    if (!germanUserLocale)
        GTEST_SKIP() << "no German locale can be built here";
    EXPECT_EQ(printed(2.5, convertLocale), L"2,5");
    EXPECT_EQ(printed(2.0, convertLocale), L"2");
    EXPECT_EQ(printed(2.5, convertLocale | convertWidth, 3), L"2,500");
    // Without the switch the text stays in "C" conventions, whatever the user's locale.
    EXPECT_EQ(printed(2.5, 0), L"2.5");
    EXPECT_EQ(fromText<double>(L"1234,5"), 1234.5);
}

TEST(DoubleToText, LocaleSwitchIsPerThread) {
    // Threads printing with and without the user's separator at once each get their own form.
    std::atomic<int> wrong{0};
    const vx::string userForm = germanUserLocale ? L"0,5" : L"0.5";
    vxtest::runThreads(4, [&](int t) {
        const bool user = t % 2 == 0;
        for (int i = 0; i < 2000; ++i) {
            vx::string s;
            dtconvert<vx::string, double>(s, 0.5, user ? convertLocale : 0);
            wrong += s != (user ? userForm : vx::string(L"0.5"));
        }
    });
    EXPECT_EQ(wrong.load(), 0);
}

// --- narrow text: UTF-8 both ways, U+FFFD for what is no character; null pointers change nothing -------

TEST(NarrowText, Utf8BothWaysAndNullPointers) {
    const std::string utf8 = "Gr\xC3\xBC\xC3\x9F" "e \xE2\x82\xAC";
    EXPECT_EQ((converted<vx::string, std::string>(utf8)), L"Grüße €");
    EXPECT_EQ((converted<std::string, vx::string>(vx::string(L"Grüße €"))), utf8);
    EXPECT_EQ((converted<std::string, vx::string>(vx::string(L"a\0b", 3))), std::string("a\0b", 3));
    EXPECT_EQ((converted<vx::string, std::string>(std::string("a\xFF" "b"))), L"a\xFFFD" L"b");
    EXPECT_EQ((converted<vx::string, char>('A')), L"A");
    EXPECT_EQ((converted<vx::string, char>('\xE9')), L"\xFFFD");
    EXPECT_EQ((converted<vx::string, const char*>("abc")), L"abc");

    vx::string s = L"kept";
    EXPECT_TRUE((dtconvert<vx::string, const char*>(s, nullptr)));
    EXPECT_TRUE(dtconvert(s, static_cast<const wchar_t*>(nullptr)));
    EXPECT_EQ(s, L"kept");
    EXPECT_TRUE(dtconvert(s, L"wide"));
    EXPECT_EQ(s, L"wide");
}

// --- the conversion manager: direct converters, the way through text, registration --------------------

// An owner type with a text form of its own, registered as owner types register theirs.
struct celsius {
    double degrees = 0;
};
bool celsiusToText(vx::string& to, const celsius& from, int flags, char* arguments) {
    return dtconvert<vx::string, double>(to, from.degrees, flags, arguments);
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
    EXPECT_TRUE(manager.hasConverter(typeid(int), typeid(int)));
    EXPECT_TRUE(manager.hasConverter(typeid(vx::string), typeid(const char*)));
    for (const std::type_info* from : {&typeid(float), &typeid(double), &typeid(bool)})
        EXPECT_FALSE(manager.hasConverter(typeid(bool), *from)) << from->name();
    EXPECT_FALSE(manager.hasConverter(typeid(vx::string), typeid(vx::string)));
    EXPECT_FALSE(manager.hasConverter(typeid(vx::string), typeid(wchar_t)));
}

TEST(ConversionManager, DirectAndThroughText) {
    int i = 0;
    const vx::string number = L"41";
    EXPECT_TRUE(convertRaw(typeid(int), &i, typeid(vx::string), &number));
    EXPECT_EQ(i, 41);
    // Without a direct converter the way leads through vx::string: double to bool, bool to bool.
    bool b = false, to = false;
    const double d = 2.5;
    const bool from = true;
    EXPECT_TRUE(convertRaw(typeid(bool), &b, typeid(double), &d));
    EXPECT_TRUE(b); // "2.5" reads as the number 2
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
    const noText from;
    const vx::string textValue = L"1";
    const wchar_t c = L'7';
    EXPECT_FALSE(convertRaw(typeid(noText), &target, typeid(int), &source));
    EXPECT_FALSE(convertRaw(typeid(int), &i, typeid(noText), &from));
    EXPECT_FALSE(convertRaw(typeid(noText), &target, typeid(vx::string), &textValue)); // only direct
    EXPECT_FALSE(convertRaw(typeid(int), &i, typeid(wchar_t), &c)); // wchar_t has no converter at all
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
    std::atomic<int> wrong{0}, conversions{0}, writing{2};
    vxtest::runThreads(4, [&](int t) {
        if (t < 2) { // writers: register, convert through the new pair, unregister
            for (int round = 0; round < 300; ++round) {
                typeConverter<celsius, vx::string> toText(&celsiusToText);
                typeConverter<vx::string, celsius> fromText(&celsiusFromText);
                const celsius warm{1.5};
                vx::string s;
                wrong += !convertRaw(typeid(vx::string), &s, typeid(celsius), &warm) || s != L"1.5";
            }
            stop = --writing == 0;
            return;
        }
        int n = 0;
        for (; !stop.load() || n < 200; ++n) {
            int i = 0;
            const vx::string number = L"123";
            wrong += !convertRaw(typeid(int), &i, typeid(vx::string), &number) || i != 123;
            vx::string s;
            const double d = 0.25;
            wrong += !convertRaw(typeid(vx::string), &s, typeid(double), &d) || s != L"0.25";
        }
        conversions += n;
    });
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_GE(conversions.load(), 400);
    EXPECT_FALSE(typeConversionManager::instance().hasConverter(typeid(vx::string), typeid(celsius)));
}

} // namespace
