#include <vxMath.h>

#include "testSupport.h"

#include <climits>
#include <cmath>
#include <limits>

TEST(math, dblEqToleranceIsInclusiveRoundHalvesAwayFromZeroCutOffGoesTowardsZeroAndUnitconvBySizes) {
    const struct { double a, b, tolerance; bool equal; } comparisons[] = {
        {1, 1, 0, true}, {1.0, 1.5, 0.5, true}, {1.0, 1.5, 0.49, false}, {-2.0, 2.0, 4.0, true},
        {1.0, 1.0, -0.1, false}, {std::nan(""), std::nan(""), 1e300, false}};
    for (const auto& c : comparisons)
        EXPECT_EQ(vx::dblEq(c.a, c.b, c.tolerance), c.equal) << c.a << " " << c.b << " " << c.tolerance;
    const struct { double value; int decimals; double rounded, cut; } cases[] = {
        {1.005, 2, 1.01, 1}, {-1.005, 2, -1.01, -1}, {2.675, 2, 2.68, 2.67}, {0.285, 2, 0.29, 0.28},
        {0.5, 0, 1, 0}, {2.5, 0, 3, 2}, {-2.5, 0, -3, -2}, {0.49, 0, 0, 0}, {1.45, 1, 1.5, 1.4},
        {-0.05, 1, -0.1, 0}, {9.995, 2, 10, 9.99}, {-9.96, 1, -10, -9.9}, {0.999, 0, 1, 0},
        {1.2344999, 3, 1.234, 1.234}, {1250, -2, 1300, 1200}, {-1249, -2, -1200, -1200}, {50, -2, 100, 0},
        {49, -2, 0, 0}, {0.1 + 0.2, 2, 0.3, 0.3}, {123456789.123456789, 4, 123456789.1235, 123456789.1234},
        {1.23, 20, 1.23, 1.23}, {1.23, INT_MAX, 1.23, 1.23}, {1.23, INT_MIN, 0, 0}, {0.29, 2, 0.29, 0.29},
        {2.789, 2, 2.79, 2.78}, {-2.789, 2, -2.79, -2.78}, {-0.9, 0, -1, 0}, {1999, -3, 2000, 1000},
        {999, -3, 1000, 0}, {4.35, 1, 4.4, 4.3}, {1.23456789012, 8, 1.23456789, 1.23456789}};
    for (const auto& c : cases) {
        EXPECT_EQ(vx::roundImp(c.value, c.decimals), c.rounded) << c.value << " to " << c.decimals;
        EXPECT_EQ(vx::cutOffImp(c.value, c.decimals), c.cut) << c.value << " to " << c.decimals;
    }
    // Zero results are positive zero.
    EXPECT_FALSE(std::signbit(vx::roundImp(-0.004, 2)) || std::signbit(vx::cutOffImp(-0.9, 0)));
    const double inf = std::numeric_limits<double>::infinity();
    EXPECT_TRUE(vx::roundImp(-inf, 2) == -inf && std::isnan(vx::roundImp(std::nan(""), 2)));
    // The numbered forms use their number of decimals.
    double (*const rounds[])(double) = {vx::round0, vx::round1, vx::round2, vx::round3, vx::round4,
                                        vx::round5, vx::round6, vx::round7, vx::round8};
    double (*const cuts[])(double) = {vx::cutOff0, vx::cutOff1, vx::cutOff2, vx::cutOff3, vx::cutOff4,
                                      vx::cutOff5, vx::cutOff6, vx::cutOff7, vx::cutOff8};
    const double rounded[] = {6, 5.6, 5.56, 5.556, 5.5556, 5.55556, 5.555556, 5.5555556, 5.55555556};
    const double cut[] = {5, 5.5, 5.55, 5.555, 5.5555, 5.55555, 5.555555, 5.5555555, 5.55555555};
    for (int n = 0; n <= 8; ++n) {
        EXPECT_EQ(rounds[n](5.555555555), rounded[n]) << n;
        EXPECT_EQ(cuts[n](5.555555555), cut[n]) << n;
    }
    EXPECT_EQ(vx::unitconv(1, 0.0254, 0.001), 25.4);
    EXPECT_TRUE(vx::dblEq(vx::unitconv(25.4, 0.001, 0.0254), 1.0, 1e-15));
    EXPECT_TRUE(vx::unitconv(0.1, 0.3, 0.3) == 0.1 && vx::unitconv(-2, 1000, 1) == -2000);
    for (const double bad : {0.0, std::numeric_limits<double>::infinity(), std::nan("")}) {
        vxtest::failedAssertion([bad] { vx::unitconv(1, 1, bad); });
        vxtest::failedAssertion([bad] { vx::unitconv(1, bad, 1); });
    }
}
