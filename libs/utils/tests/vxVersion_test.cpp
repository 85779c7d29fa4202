#include <vxVersion.h>

#include <gtest/gtest.h>

using vx::version;

TEST(version, boundsAndTextForm) {
    EXPECT_EQ(version(), version::minVersion());
    EXPECT_EQ(version::minVersion().asString(), L"0.0.0.0");
    EXPECT_EQ(version::maxVersion().asString(), L"999999.999999.999999.999999");
    EXPECT_EQ(version(1, 20, 300, 4000).asString(), L"1.20.300.4000");
    EXPECT_EQ(version(4294967295u, 0, 0, 1).asString(), L"4294967295.0.0.1");
}

TEST(version, parseAcceptsOneToFourFieldsWithBlanksAround) {
    const struct {
        const wchar_t* text;
        version expected;
    } cases[] = {
        {L"1.2.3.4", version(1, 2, 3, 4)},   {L"7", version(7, 0, 0, 0)},
        {L"1.2", version(1, 2, 0, 0)},       {L"1.2.3", version(1, 2, 3, 0)},
        {L" \t10.0.1.2 ", version(10, 0, 1, 2)}, {L"007.010.0.0", version(7, 10, 0, 0)},
        {L"999999.0.0.999999", version(999999, 0, 0, 999999)},
    };
    for (const auto& c : cases) {
        version v(9, 9, 9, 9);
        EXPECT_TRUE(v.parse(c.text)) << c.text;
        EXPECT_EQ(v, c.expected) << c.text;
    }
}

TEST(version, malformedTextAnswersFalseAndLeavesTheVersion) {
    for (const wchar_t* text : {L"", L"   ", L"1.2.3.4.5", L"1..2", L".1", L"1.", L"1. 2", L"1 .2", L"-1",
                                L"+1", L"1.2a", L"a", L"1,2", L"0x10", L"1.2.3.4 x"}) {
        version v(5, 6, 7, 8);
        EXPECT_FALSE(v.parse(text)) << text;
        EXPECT_EQ(v, version(5, 6, 7, 8)) << text;
    }
    version v(5, 6, 7, 8);
    EXPECT_FALSE(v.parse(nullptr));
    EXPECT_EQ(v, version(5, 6, 7, 8));
}

TEST(version, fieldAboveTheLimitStoresTheLimitAndAnswersFalse) {
    version v;
    EXPECT_FALSE(v.parse(L"1000000.2.99999999999999999999.4"));
    EXPECT_EQ(v, version(999999, 2, 999999, 4));
    EXPECT_FALSE(v.parse(L"1.2.3.4294967296"));
    EXPECT_EQ(v, version(1, 2, 3, 999999));
}

TEST(version, comparisonIsNumericFieldByField) {
    EXPECT_LT(version(1, 9, 0, 0), version(1, 10, 0, 0));
    EXPECT_LT(version(1, 2, 3, 4), version(1, 2, 3, 5));
    EXPECT_GT(version(2, 0, 0, 0), version(1, 999999, 999999, 999999));
    EXPECT_LE(version(1, 2, 3, 4), version(1, 2, 3, 4));
    EXPECT_GE(version::maxVersion(), version(999999, 999999, 999999, 999998));
    EXPECT_NE(version(1, 2, 3, 4), version(1, 2, 4, 3));
}
