#include <vxAngle.h>
#include <vxMath.h>

#include "testSupport.h"

#include <cmath>

using vx::angle;

TEST(angle, unitsNormalisationThatKeepsBothBoundsStrictComparisonsAndTheArcCounterClockwise) {
    EXPECT_TRUE(angle::degreeToRadians() == 0.017453292519943295 && angle::radiansToDegree() == 57.29577951308232);
    EXPECT_TRUE(angle::fromDegree(180).radians() == angle::kPi && angle::fromRadians(angle::kPi).degree() == 180.0);
    EXPECT_TRUE(angle() == angle::kZero && angle::kZero.radians() == 0.0);
    EXPECT_TRUE(angle::fromDegree(10) < angle::fromDegree(20));
    EXPECT_FALSE(angle::fromDegree(360) == angle::fromDegree(0)); // by stored value
    angle half = angle::fromDegree(90);
    half /= 2;
    EXPECT_EQ(half.radians(), angle::fromDegree(90).radians() / 2);
    vxtest::failedAssertion([&] { half /= 0.0; });
    EXPECT_EQ(half.radians(), angle::fromDegree(90).radians() / 2);
    const struct { double degrees, minusPiToPi, zeroToTwoPi; } cases[] = {
        {180, 180, 180}, {-180, -180, 180}, {190, -170, 190}, {-190, 170, 170}, {540, 180, 180},
        {-540, -180, 180}, {360, 0, 0}, {-90, -90, 270}, {720.5, 0.5, 0.5}, {0, 0, 0}, {-1e-15, -1e-15, 0}};
    for (const auto& c : cases) {
        const angle a = angle::fromDegree(c.degrees);
        EXPECT_TRUE(vx::dblEq(a.degreeBetweenMinusPiAndPi(), c.minusPiToPi, 1e-9)) << c.degrees;
        EXPECT_TRUE(vx::dblEq(a.degreeBetweenZeroAndTwoPi(), c.zeroToTwoPi, 1e-9)) << c.degrees;
        const double radians = a.radiansBetweenZeroAndTwoPi();
        EXPECT_TRUE(radians >= 0.0 && radians < 2 * angle::kPi) << c.degrees;
        angle n = a;
        EXPECT_EQ(n.normIt().radians(), a.radiansBetweenMinusPiAndPi()) << c.degrees;
    }
    EXPECT_TRUE(vx::dblEq(angle::fromDegree(190).normIt().degree(), -170, 1e-9));
    EXPECT_EQ(angle::fromRadians(-angle::kPi).normIt().radians(), -angle::kPi);
    const angle one = angle::fromRadians(1.0), oneAndAHalf = angle::fromRadians(1.5);
    const struct { angle a, b; double tolerance; bool exact, equal; } equalities[] = {
        {one, one, 0, true, false}, {one, one, 0, false, false}, {one, oneAndAHalf, 0.5, true, false},
        {one, oneAndAHalf, 0.50001, true, true}, {angle::fromDegree(370), angle::fromDegree(10), 1e-9, false, true},
        {angle::fromDegree(370), angle::fromDegree(10), 1e-9, true, false},
        {angle::fromDegree(180), angle::fromDegree(-180), 1e-9, false, false}};
    for (const auto& c : equalities)
        EXPECT_EQ(c.a.isEqualTo(c.b, c.tolerance, c.exact), c.equal) << c.a.degree() << " " << c.b.degree();
    const struct { double degrees, from, to, tolerance; bool inside; } arcs[] = {
        {0, 350, 10, 0, true}, {355, -10, 10, 0, true}, {180, 350, 10, 0, false}, {180, 10, 350, 0, true},
        {0, 10, 350, 0, false}, {10, 10, 350, 0, true}, {350, 10, 350, 0, true}, {730, 0, 20, 0, true},
        {-350, 0, 20, 0, true}, {45, 45, 45, 0, true}, {46, 45, 45, 0, false}, {9, 10, 20, 0, false},
        {9, 10, 20, 0.02, true}, {21, 10, 20, 0.02, true}, {15, 10, 20, -0.1, false}};
    const auto degrees = &angle::fromDegree;
    for (const auto& c : arcs)
        EXPECT_EQ(degrees(c.degrees).isBetween(degrees(c.from), degrees(c.to), c.tolerance), c.inside)
            << c.degrees << " on " << c.from << ".." << c.to << " +- " << c.tolerance;
}
