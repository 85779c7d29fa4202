#include <vxVersion.h>

#include <gtest/gtest.h>

using vx::version;

TEST(version, boundsTextFormOrderAndParsing) {
    EXPECT_EQ(version(), version::minVersion());
    EXPECT_EQ(version::minVersion().asString() + L"|" + version::maxVersion().asString(),
              L"0.0.0.0|999999.999999.999999.999999");
    EXPECT_EQ(version(4294967295u, 20, 300, 4000).asString(), L"4294967295.20.300.4000");
    // Numeric, field by field.
    const std::vector<version> ascending{{1, 2, 3, 4}, {1, 2, 3, 5}, {1, 2, 4, 3}, {1, 9, 0, 0}, {1, 10, 0, 0},
                                         {1, 999999, 999999, 999999}, {2, 0, 0, 0}, {999999, 999999, 999999, 999998},
                                         version::maxVersion()};
    for (std::size_t i = 0; i + 1 < ascending.size(); ++i) {
        const version &low = ascending[i], &high = ascending[i + 1];
        EXPECT_TRUE(low < high && !(high < low) && high > low && low <= high && high >= low && low != high) << i;
        EXPECT_TRUE(low <= low && low >= low && !(low < low)) << i;
    }
    const version unchanged(9, 9, 9, 9);
    const struct { const wchar_t* text; bool ok; version expected; } cases[] = {
        {L"1.2.3.4", true, version(1, 2, 3, 4)}, {L"7", true, version(7, 0, 0, 0)},
        {L"1.2", true, version(1, 2, 0, 0)}, {L"1.2.3", true, version(1, 2, 3, 0)},
        {L" \t10.0.1.2 ", true, version(10, 0, 1, 2)}, {L"007.010.0.0", true, version(7, 10, 0, 0)},
        {L"999999.0.0.999999", true, version(999999, 0, 0, 999999)},
        // A field above the limit stores the limit and answers false.
        {L"1000000.2.99999999999999999999.4", false, version(999999, 2, 999999, 4)},
        {L"1.2.3.4294967296", false, version(1, 2, 3, 999999)},
    };
    for (const auto& c : cases) {
        version v = unchanged;
        EXPECT_EQ(v.parse(c.text), c.ok) << c.text;
        EXPECT_EQ(v, c.expected) << c.text;
    }
    const wchar_t* const malformed[] = {L"",   L"   ", L"1.2.3.4.5", L"1..2", L".1",  L"1.",  L"1. 2",      L"1 .2",
                                        L"-1", L"+1",  L"1.2a",      L"a",    L"1,2", L"0x10", L"1.2.3.4 x", nullptr};
    for (const wchar_t* text : malformed) {
        version v = unchanged;
        EXPECT_TRUE(!v.parse(text) && v == unchanged) << (text ? text : L"null");
    }
}
