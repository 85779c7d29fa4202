#include "vxAngle.h"

#include "vxAssert.h"

#include <cmath>

namespace vx {

namespace {

constexpr double kDegreeToRadians = 0.017453292519943295;
constexpr double kRadiansToDegree = 57.29577951308232;
constexpr double kTwoPi = 6.283185307179586;
constexpr double kPiBound = 3.141592653589793;

double minusPiToPi(double a) {
    a = std::fmod(a, kTwoPi);
    if (a > kPiBound)
        a -= kTwoPi;
    if (a < -kPiBound)
        a += kTwoPi;
    return a;
}

double zeroToTwoPi(double a) {
    a = std::fmod(a, kTwoPi);
    if (a < 0.0)
        a += kTwoPi;
    // A tiny negative remainder plus 2 pi can round to 2 pi itself, which is outside.
    if (a >= kTwoPi || a == 0.0)
        a = 0.0;
    return a;
}

} // namespace

const angle angle::kZero;

angle angle::fromDegree(double degrees) {
    return angle(degrees * kDegreeToRadians);
}

angle angle::fromRadians(double radians) {
    return angle(radians);
}

double angle::degree() const {
    return mRadians * kRadiansToDegree;
}

double angle::degreeBetweenMinusPiAndPi() const {
    return minusPiToPi(mRadians) * kRadiansToDegree;
}

double angle::radiansBetweenMinusPiAndPi() const {
    return minusPiToPi(mRadians);
}

double angle::degreeBetweenZeroAndTwoPi() const {
    return zeroToTwoPi(mRadians) * kRadiansToDegree;
}

double angle::radiansBetweenZeroAndTwoPi() const {
    return zeroToTwoPi(mRadians);
}

angle& angle::normIt() {
    mRadians = minusPiToPi(mRadians);
    return *this;
}

bool angle::isEqualTo(const angle& other, double tolerance, bool exact) const {
    const double a = exact ? mRadians : minusPiToPi(mRadians);
    const double b = exact ? other.mRadians : minusPiToPi(other.mRadians);
    return tolerance > std::fabs(a - b);
}

bool angle::isBetween(const angle& from, const angle& to, double tolerance) const {
    const double span = zeroToTwoPi(to.mRadians - from.mRadians);
    const double offset = zeroToTwoPi(mRadians - from.mRadians);
    return offset <= span + tolerance || kTwoPi - offset <= tolerance;
}

angle& angle::operator/=(double divisor) {
    VX_ASSERT(divisor != 0.0);
    mRadians /= divisor;
    return *this;
}

double angle::degreeToRadians() {
    return kDegreeToRadians;
}

double angle::radiansToDegree() {
    return kRadiansToDegree;
}

// The constants are defined here once as well, so that the library exports them: on Windows a
// caller that takes one by reference finds it in the DLL.
constexpr double angle::kPi;

} // namespace vx
