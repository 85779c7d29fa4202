#include "testSupport.h"

#include <vxDate.h>
#include <vxDirectory.h>
#include <vxGuid.h>
#include <vxRgbColor.h>
#include <vxSearchPath.h>
#include <vxTime.h>
#include <vxTimeStamp.h>
#include <vxTypeConversion.h>
#include <vxVersion.h>

#include <cfloat>
#include <climits>
#include <cmath>
#include <cstring>
#include <limits>
#include <type_traits>

#ifdef _WIN32
#  define WIN32_LEAN_AND_MEAN
#  ifndef NOMINMAX
#    define NOMINMAX
#  endif
#  include <windows.h>
#else
#  include <langinfo.h>
#  include <locale.h>
#  include <unistd.h>
#endif

#if defined(__SANITIZE_ADDRESS__)
// glibc's newlocale keeps its copy of LOCPATH, which finds the German test locale, and never frees it.
extern "C" __attribute__((used, visibility("default"))) const char* __lsan_default_suppressions() {
    return "leak:__argz_add_sep\n";
}
#endif

namespace {

using vx::typeconvert::conversionArguments, vx::typeconvert::convertBase, vx::typeconvert::convertLocale;
using vx::typeconvert::convertWidth, vx::typeconvert::dtconvert, vx::typeconvert::typeConverter;
using vx::typeconvert::typeConversionManager;
constexpr int kHexUpper = vx::typeconvert::baseHexUpper, kHexLower = vx::typeconvert::baseHexLower;

#ifdef _WIN32
// The user's locale settings come from the system; the tests that need a decimal comma run only
// where the user has one.
bool prepareGermanLocale() {
    wchar_t separator[8] = {};
    return GetLocaleInfoW(LOCALE_USER_DEFAULT, LOCALE_SDECIMAL, separator, 8) > 1 && separator[0] == L',';
}
#else
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
#endif

const bool germanUserLocale = prepareGermanLocale();

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

// Whether dtconvert<To, From> answers ok and leaves want in the target.
template <class To, class From>
bool gives(const From& from, const To& want, bool ok = true) {
    To to = before<To>();
    return dtconvert<To, From>(to, from) == ok && to == want;
}
template <class To>
bool reads(const wchar_t* text, const To& want, bool ok = true) { return gives<To, vx::string>(text, want, ok); }
// Whether reading text as a To fails and leaves the target as it was (start, or before<To>()).
template <class To>
bool textFails(const wchar_t* text, const To& start = before<To>()) {
    To to = start;
    return !dtconvert<To, vx::string>(to, vx::string(text)) && to == start;
}
// The text of value with flags and argument cells, printed into an empty target.
template <class From, class... Cells>
vx::string printed(From value, int flags, Cells... cells) {
    conversionArguments arguments(cells...);
    vx::string s;
    EXPECT_TRUE((dtconvert<vx::string, From>(s, value, flags, arguments.cursor())));
    return s;
}
// One table row per case; a failing row is named by its place.
void expectRows(std::initializer_list<bool> rows) {
    int row = 0;
    for (const bool ok : rows)
        EXPECT_TRUE(ok) << "row " << row++;
}
void expectTexts(std::initializer_list<std::pair<vx::string, vx::string>> rows) {
    int row = 0;
    for (const auto& [got, want] : rows)
        EXPECT_EQ(vxtest::show(got), vxtest::show(want)) << "row " << row++;
}

TEST(BuiltinConversion, RangeFailureStoresTheNearestLimitBoolsReadNumbersOrWordsNarrowTextIsUtf8) {
    expectRows({
        gives<short>(40000, short(32767), false), gives<short>(-40000, short(-32768), false),
        gives<unsigned int>(-1L, 0u, false), gives<unsigned short>(ULLONG_MAX, (unsigned short)65535, false),
        gives<int>(3000000000u, INT_MAX, false), gives<float>(1e39, FLT_MAX, false),
        gives<float>(-1e39, -FLT_MAX, false), gives<bool>(-5, true), gives<bool>(0ULL, false), gives<int>(true, 1),
        // Floating point truncates toward zero and saturates.
        gives<int>(-2.9, -2), gives<int>(-3e9f, INT_MIN, false), gives<unsigned int>(-0.5, 0u, false),
        gives<long>(-std::numeric_limits<double>::infinity(), LONG_MIN, false),
        // 2 to the number of digits passes a comparison with the maximum as a floating constant but does not fit.
        gives<int>(2147483648.0f, INT_MAX, false), gives<int>(2147483647.5, INT_MAX, false),
        gives<unsigned long long>(18446744073709551616.0f, ULLONG_MAX, false), gives<int>(-2147483648.0, INT_MIN),
        // Not a number has no nearest limit: the target keeps its value.
        gives<int>(std::nan(""), 77, false),
        // Bools as text: a number, not zero, or the word in any case.
        gives<vx::string>(true, L"1"), gives<vx::string>(false, L"0"), reads<bool>(L"12", true),
        reads<bool>(L"0", false), reads<bool>(L"99999999999", true), reads<bool>(L"TRUE", true),
        gives<bool>(vx::string(L"False"), false), textFails<bool>(L" true", false), textFails<bool>(L" true", true),
        textFails<bool>(L"yes", false), textFails<bool>(L"yes", true)});
    // Narrow text is UTF-8 both ways; null pointers convert nothing.
    const std::string utf8 = "Gr\xC3\xBC\xC3\x9F" "e \xE2\x82\xAC";
    expectRows({
        gives<vx::string>(utf8, L"Grüße €"), gives<std::string>(vx::string(L"Grüße €"), utf8),
        gives<std::string>(vx::string(L"a\0b", 3), std::string("a\0b", 3)),
        gives<vx::string>(std::string("a\xFF" "b"), L"a\xFFFD" L"b"), gives<vx::string>('A', L"A"),
        gives<vx::string>('\xE9', L"\xFFFD"), gives<vx::string, const char*>("abc", L"abc")});
    vx::string s = L"kept";
    EXPECT_TRUE((dtconvert<vx::string, const char*>(s, nullptr)) && dtconvert(s, static_cast<const wchar_t*>(nullptr)));
    EXPECT_TRUE(s == L"kept" && dtconvert(s, L"wide") && s == L"wide");
}

TEST(NumberText, IntegersReadLikeScanfDoublesTakeBothSeparatorsAndTheUserSeparatorPerThread) {
    for (const wchar_t* bad : {L"", L"abc", L"- 5", L"+", L"  "})
        EXPECT_TRUE(textFails<int>(bad) && textFails<unsigned long long>(bad)) << bad;
    expectRows({
        reads<int>(L"12abc", 12), reads<int>(L" \t\n-7", -7), reads<long>(L"+5", 5L), reads<unsigned short>(L"0x10", 0),
        // short out of its range keeps the target instead of storing the limit.
        textFails<short>(L"40000"), textFails<short>(L"-99999999999"), reads<short>(L"-32768", -32768),
        reads<long>(L"3000000000", 2147483647L, false), reads<long>(L"-3000000000", -2147483648L, false),
        reads<long>(L"-2147483648", -2147483648L), reads<unsigned short>(L"70000", 65535, false),
        reads<unsigned short>(L"-1", 0, false), reads<unsigned long>(L"4294967296", 4294967295UL, false),
        // Unsigned text reads as "%lu": a minus sign negates in 32-bit unsigned arithmetic, and
        // unsigned long long is read through unsigned long.
        reads<unsigned int>(L"-1", 4294967295u), reads<unsigned long>(L"4294967295", 4294967295UL),
        reads<unsigned long long>(L"5000000000", 4294967295ULL, false)});
    // Written: decimal with a width, or hexadecimal in front.
    const bool narrowLong = sizeof(long) < 8; // where long is 64 bits, it is still 32 bits wide in text
    expectRows({
        gives<vx::string>(short(-32768), L"-32768"), gives<vx::string>(INT_MIN, L"-2147483648"),
        gives<vx::string>(UINT_MAX, L"4294967295"), gives<vx::string>(ULLONG_MAX, L"18446744073709551615"),
        narrowLong || gives<vx::string>(static_cast<long>(5000000000LL), L"2147483647", false),
        narrowLong || gives<vx::string>(static_cast<long>(-5000000000LL), L"-2147483648", false),
        narrowLong || gives<vx::string>(static_cast<unsigned long>(5000000000ULL), L"4294967295", false)});
    expectTexts({
        {printed(-5, convertWidth, 4), L"00-5"}, // the padding stands before the sign
        {printed(42ULL, convertWidth, 6), L"000042"}, {printed(short(7), convertWidth, -3), L"7"},
        {printed(0xBEEFu, convertBase, kHexLower), L"beef"}, {printed(0, convertBase, kHexUpper), L"0"},
        {printed(short(-1), convertBase, kHexUpper), L"FFFFFFFFFFFFFFFF"}, // sign-extended
        // No width applies to hexadecimal digits; the width cell follows the base cell.
        {printed(10, convertBase | convertWidth, kHexUpper, 8), L"A"},
        // Another base selector prints decimal, and then the width cell counts.
        {printed(10, convertBase | convertWidth, 2, 3), L"010"},
        {printed(1, convertWidth, INT_MAX), vx::string(65535, L'0') + L"1"}}); // a width far beyond any text is bounded
    // Flags without a cursor: nothing is read.
    vx::string s;
    EXPECT_TRUE((dtconvert<vx::string, int>(s, 5, convertBase | convertWidth, nullptr)) && s == L"5");
    alignas(8) char cells[16]; // a cell holding an int in its first four bytes and anything in the others
    std::memset(cells, 0x7F, sizeof cells);
    const int width = 3;
    std::memcpy(cells, &width, sizeof width);
    EXPECT_TRUE((dtconvert<vx::string, int>(s, 5, convertWidth, cells)) && s == L"005") << vxtest::show(s);
    // Hexadecimal goes in front of the old text.
    s = L"xy";
    conversionArguments upper(kHexUpper);
    EXPECT_TRUE((dtconvert<vx::string, int>(s, 255, convertBase, upper.cursor())) && s == L"FFxy") << vxtest::show(s);
    // Doubles read with both separators, short forms or a fixed precision are written.
    for (const wchar_t* bad : {L"", L"1.5x", L"1,000.5", L"abc", L"1.5\n"})
        EXPECT_TRUE(textFails<double>(bad)) << bad;
    expectRows({
        reads<double>(L"12", 12.0), reads<double>(L"1,5 ", 1.5), reads<double>(L"1.5", 1.5),
        reads<double>(L" -2.5e3\t", -2500.0), reads<double>(L"  ", 0.0), // only blanks: nothing read counts as success
        // float reads through double and saturates.
        reads<float>(L"0,25", 0.25f), reads<float>(L"1e39", FLT_MAX, false), textFails<float>(L"x"),
        gives<vx::string>(0.5f, L"0.5"), gives<vx::string>(2.5, L"2.5"), gives<vx::string>(100.0, L"100"),
        gives<vx::string>(-0.000000001, L"-0"), gives<vx::string>(1.23456789012, L"1.23456789"),
        gives<vx::string>(1e20, L"100000000000000000000"), gives<vx::string>(-0.0, L"-0"),
        // On both sides of 1e17, where the C-locale text is written directly below and formatted above.
        gives<vx::string>(99999999999999984.0, L"99999999999999984"), gives<vx::string>(1e17, L"100000000000000000")});
    expectTexts({
        // A precision keeps the zeros; it is cut to 10, and below 0 counts as 0.
        {printed(2.5, convertWidth, 3), L"2.500"}, {printed(2.5, convertWidth, 12), L"2.5000000000"},
        {printed(2.75, convertWidth, 0), L"3"}, {printed(20.0, convertWidth, -4), L"20"},
        // The base cell comes first even where doubles ignore it.
        {printed(1.0, convertBase | convertWidth, 3, 2), L"1.00"}});
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
    // Expressions as the user types them read, and format, with the user's separator.
    // Whole numbers round half away from zero and wrap to 32 bits; formatUiIntString writes them.
    const struct { const wchar_t* text; bool ok; double value; long whole; } expressions[] = {
        {L"2*3", true, 6, 6}, {L"1,5 + 1.5", true, 3, 3}, {L"1 000", false, 7, 99}, {L"1/0", false, 7, 99},
        {L"-2.5", true, -2.5, -3}, {L"7/2", true, 3.5, 4}, {L"2^31", true, 2147483648.0, INT_MIN},
        {L"2^32+5", true, 4294967301.0, 5}, {L"1e300", true, 1e300, -1}, {L"x", false, 7, 99}};
    for (const auto& r : expressions) {
        double value = 7;
        long whole = 99;
        vx::string text = r.text;
        EXPECT_TRUE(vx::typeconvert::uiStringToDouble(value, r.text) == r.ok && value == r.value &&
                    vx::typeconvert::uiStringToInt(whole, r.text) == r.ok && whole == r.whole) << vxtest::show(r.text);
        EXPECT_TRUE(vx::typeconvert::formatUiIntString(text) == r.ok &&
                    text == (r.ok ? std::to_wstring(r.whole) : std::wstring(r.text))) << vxtest::show(text);
    }
    const vx::string sep = germanUserLocale ? L"," : L".";
    const struct { const wchar_t* text; int decimals; bool ok; vx::string expected; } formats[] = {
        {L"1/4", 2, true, L"0" + sep + L"25"}, {L"1/4", -1, true, L"0" + sep + L"25"}, {L"2*1", -1, true, L"2"},
        {L"2", 3, true, L"2" + sep + L"000"}, {L"1/3", 12, true, L"0" + sep + L"3333333333"}, {L"x", 2, false, L"x"}};
    for (const auto& r : formats) {
        vx::string text = r.text;
        EXPECT_TRUE(vx::typeconvert::formatUiDoubleString(text, r.decimals) == r.ok && text == r.expected)
            << vxtest::show(r.text) << " gives " << vxtest::show(text);
    }
    if (!germanUserLocale)
        GTEST_SKIP() << "no German locale can be built here";
    expectTexts({
        {printed(2.5, convertLocale), L"2,5"}, {printed(2.0, convertLocale), L"2"},
        {printed(2.5, convertLocale | convertWidth, 3), L"2,500"},
        // Without the switch the text stays in "C" conventions, whatever the user's locale.
        {printed(2.5, 0), L"2.5"}});
    EXPECT_TRUE(reads<double>(L"1234,5", 1234.5));
}

// An owner type with a text form of its own, registered as owner types register theirs.
struct celsius { double degrees = 0; };
bool celsiusToText(vx::string& to, const celsius& from, int flags, char* arguments) {
    return dtconvert<vx::string, double>(to, from.degrees, flags, arguments);
}
bool celsiusFromText(celsius& to, const vx::string& from, int, char*) { return dtconvert(to.degrees, from); }
struct noText {};

// Converts through the manager, as a caller that knows the types only by their type_info.
template <class To, class From>
bool convert(To& to, const From& from, int flags = 0, char* arguments = nullptr) {
    return typeConversionManager::instance().convert(typeid(To), &to, typeid(From), &from, flags, arguments);
}

TEST(ConversionManager, LibraryPairsDirectAndThroughTextAndNoWayIsFalse) {
    auto& manager = typeConversionManager::instance();
    const std::tuple<const std::type_info*, const std::type_info*, bool> pairs[] = {
        {&typeid(vx::string), &typeid(unsigned long long), true}, {&typeid(int), &typeid(int), true},
        {&typeid(vx::string), &typeid(const char*), true}, {&typeid(bool), &typeid(float), false},
        {&typeid(bool), &typeid(double), false}, {&typeid(bool), &typeid(bool), false},
        {&typeid(vx::string), &typeid(vx::string), false}, {&typeid(vx::string), &typeid(wchar_t), false},
        {&typeid(vx::string), &typeid(std::string), true}, {&typeid(std::string), &typeid(vx::string), true}};
    for (const auto& [to, from, direct] : pairs)
        EXPECT_EQ(manager.hasConverter(*to, *from), direct) << to->name() << " " << from->name();
    // Without a direct converter the way leads through vx::string: double to bool, bool to bool.
    bool b = false, to = false;
    EXPECT_TRUE(convert(b, 2.5) && b && convert(to, true) && to); // "2.5" reads as the number 2
    // Flags and arguments serve both steps: the width pads the intermediate text.
    typeConverter<celsius, vx::string> toText(&celsiusToText);
    typeConverter<vx::string, celsius> fromText(&celsiusFromText);
    const celsius warm{21.5};
    vx::string s;
    conversionArguments two(2);
    EXPECT_TRUE(convert(s, warm, convertWidth, two.cursor()) && s == L"21.50");
    // Through text the second step decides: 21.5 is not an int as text, but reads as 21.
    int whole = 0;
    celsius back;
    EXPECT_TRUE(convert(whole, warm) && whole == 21 && convert(back, short(-4)) && back.degrees == -4.0);
    noText target;
    int i = 5;
    // From text only direct; wchar_t has no converter at all; null values convert nothing.
    EXPECT_FALSE(convert(target, 3) || convert(i, noText()) || convert(target, vx::string(L"1")) || convert(i, L'7') ||
                 manager.convert(typeid(int), nullptr, typeid(int), &i, 0, nullptr) ||
                 manager.convert(typeid(int), &i, typeid(int), nullptr, 0, nullptr) || i != 5);
    // A failing first step ends the chain.
    celsius result{1.0};
    EXPECT_FALSE(convert(result, std::string("warm")) || result.degrees != 1.0);
}

// A removal waits for the conversions that may use the removed converter, but not for the one
// the removing thread is itself inside.
vx::typeconvert::typeConverterBase* gRemovedWhileConverting = nullptr;
bool celsiusToTextRemovingItself(vx::string& to, const celsius& from, int flags, char* arguments) {
    typeConversionManager::instance().remove(gRemovedWhileConverting);
    return celsiusToText(to, from, flags, arguments);
}

TEST(ConversionManager, RegistrationLifecycleAndReadersConvertingWhileWritersRegister) {
    auto& manager = typeConversionManager::instance();
    const celsius warm{30.0};
    vx::string s;
    const auto text = [&] { return convert(s, warm) ? s : L"<false>"; };
    const auto toTextKnown = [&] { return manager.hasConverter(typeid(vx::string), typeid(celsius)); };
    const auto fromTextKnown = [&] { return manager.hasConverter(typeid(celsius), typeid(vx::string)); };
    {
        typeConverter<celsius, vx::string> toText(&celsiusToText);
        EXPECT_EQ(text(), L"30");
        // The converter added last serves the pair; removing it brings the earlier one back.
        typeConverter<celsius, vx::string> replacement(
            [](vx::string& to, const celsius&, int, char*) { to = L"hot"; return true; });
        EXPECT_EQ(text(), L"hot");
        manager.add(&replacement); // registered already: no change
        manager.remove(&replacement);
        EXPECT_EQ(text(), L"30");
        manager.remove(&replacement), manager.add(nullptr), manager.remove(nullptr); // not registered: no change
        EXPECT_EQ(text(), L"30");
    }
    // Destroyed converters are gone.
    s = L"kept";
    EXPECT_TRUE(!toTextKnown() && text() == L"<false>" && s == L"kept");
    // A converter without a function answers false.
    typeConverter<celsius, vx::string> empty(nullptr);
    EXPECT_TRUE(toTextKnown() && text() == L"<false>");
    manager.remove(&empty);
    // Batches add and remove together; a converter listed twice is registered once.
    vx::typeconvert::functionConverter<celsius, vx::string> toText(&celsiusToText);
    vx::typeconvert::functionConverter<vx::string, celsius> fromText(&celsiusFromText);
    vx::typeconvert::typeConverterBase* batch[] = {&toText, &fromText, nullptr, &toText};
    manager.add(batch, 4);
    EXPECT_TRUE(toTextKnown() && fromTextKnown());
    manager.remove(&toText);
    EXPECT_TRUE(!toTextKnown() && fromTextKnown());
    manager.remove(batch, 4);
    manager.add(batch, 0);
    manager.add(nullptr, 3);
    EXPECT_FALSE(fromTextKnown());
    // A converter that removes itself while it converts.
    vx::typeconvert::functionConverter<celsius, vx::string> removing(&celsiusToTextRemovingItself);
    gRemovedWhileConverting = &removing;
    manager.add(&removing);
    EXPECT_TRUE(convert(s, celsius{2.5}) && s == L"2.5" && !toTextKnown());
    // Readers convert while writers register.
    std::atomic<bool> stop{false};
    std::atomic<int> wrong{0}, conversions{0}, writing{2};
    vxtest::runThreads(4, [&](int t) {
        if (t < 2) { // writers: register, convert through the new pair, unregister
            for (int round = 0; round < 300; ++round) {
                typeConverter<celsius, vx::string> toText(&celsiusToText);
                typeConverter<vx::string, celsius> fromText(&celsiusFromText);
                vx::string s;
                wrong += !convert(s, celsius{1.5}) || s != L"1.5";
            }
            stop = --writing == 0;
            return;
        }
        int n = 0;
        for (; !stop.load() || n < 200; ++n) {
            int i = 0;
            vx::string s;
            wrong += !convert(i, vx::string(L"123")) || i != 123 || !convert(s, 0.25) || s != L"0.25";
        }
        conversions += n;
    });
    EXPECT_EQ(wrong.load(), 0);
    EXPECT_GE(conversions.load(), 400);
    EXPECT_FALSE(typeConversionManager::instance().hasConverter(typeid(vx::string), typeid(celsius)));
}

} // namespace

TEST(ValueTypeText, EveryPairRoundTripsAndTextThatDoesNotReadLeavesTheTarget) {
    vxtest::tempDir dir;
    const vx::string home = vxtest::windowsForm(dir.path());
    vx::guid g;
    g.create();
    // Each value to text, the text to a fresh value, and that value to the same text again.
    const auto roundTrip = [](auto value) {
        using T = decltype(value);
        T fresh;
        vx::string text, again;
        const bool same = convert(text, value) && convert(fresh, text) && convert(again, fresh) && again == text;
        return same ? text : vx::string(L"<failed>");
    };
    vx::searchPath path;
    vx::searchPath::fromString(home + L";" + home + L"\\missing", path, L';');
    const vx::file file(home + L"\\a.txt");
    const vx::directory directory(home);
    expectTexts({
        {roundTrip(vx::date(2024, 2, 29)), L"2024/02/29"}, {roundTrip(vx::time(13, 5, 9, 42)), L"13:05:09:042"},
        {roundTrip(vx::timestamp(vx::date(2024, 2, 29), vx::time(13, 5, 9, 42))), L"2024/02/29 13:05:09:042"},
        {roundTrip(g), g.toString()}, {roundTrip(vx::version(1, 2, 3, 4)), L"1.2.3.4"},
        {roundTrip(vx::rgbColor(1, 2, 3)), L"197121"}, {roundTrip(file), file.fullName()},
        {roundTrip(directory), directory.fullName()}, {roundTrip(path), directory.fullName()}});
    // Text that does not read leaves the target.
    const vx::date d(2000, 1, 1);
    expectRows({
        reads<vx::date>(L"2024/2/30", vx::date(2024, 2, 29)),
        reads<vx::timestamp>(L"2023-02-03 01:02:03:004", vx::timestamp(vx::date(2023, 2, 3), vx::time(1, 2, 3, 4))),
        reads<vx::rgbColor>(L"16711680", vx::rgbColor(0, 0, 255)), textFails<vx::rgbColor>(L"red"),
        textFails<vx::rgbColor>(L"99999999999"), textFails<vx::version>(L"1..2"), textFails<vx::guid>(L"not a guid"),
        reads<vx::guid>(L"0", vx::guid()), textFails(L"2024-02-29", d), textFails(L"x", vx::time(1, 2, 3, 4)),
        textFails(L"a.b", vx::version(9, 9, 9, 9)), textFails(L"", vx::rgbColor(9, 9, 9)),
        textFails(L"", vx::directory(L"c:\\kept"))});
    vx::file keptFile(L"c:\\kept.txt");
    const vx::string fileName = keptFile.fullName();
    EXPECT_FALSE(dtconvert(keptFile, vx::string()) || keptFile.fullName() != fileName);
    // Between value types the way leads through text: a time's text reads as its hour; a guid's is no date.
    int hour = 0;
    vx::date target = d;
    EXPECT_TRUE(convert(hour, vx::time(12, 30, 0, 0)) && hour == 12 && !convert(target, vx::guid()) && target == d);
}

