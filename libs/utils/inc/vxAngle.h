// angle: a plane angle, kept in radians.
#pragma once

#include "vxExport.h"

namespace vx {

class VX_API angle {
public:
    static constexpr double kPi = 3.141592653589793;
    static const angle kZero;

    // 0 radians.
    constexpr angle() = default;

    static angle fromDegree(double degrees);
    static angle fromRadians(double radians);

    double degree() const;
    double radians() const { return mRadians; }

    // The angle brought into [-pi, pi] as normIt does, in degrees or radians.
    double degreeBetweenMinusPiAndPi() const;
    double radiansBetweenMinusPiAndPi() const;
    // The angle brought into [0, 2 pi), in degrees or radians.
    double degreeBetweenZeroAndTwoPi() const;
    double radiansBetweenZeroAndTwoPi() const;

    // Brings the angle into [-pi, pi]: the remainder of a division by 2 pi, then 2 pi taken
    // away above pi or added below -pi. Both pi and -pi stay as they are.
    angle& normIt();

    // True when tolerance > |a - b|, strictly: with a tolerance of 0 no two angles are equal.
    // Unless exact, both angles are brought into [-pi, pi] first, so 370 degrees equals 10.
    // (Normalised, pi and -pi stay 2 pi apart.)
    bool isEqualTo(const angle& other, double tolerance, bool exact) const;

    // True when this angle lies on the arc that runs counter-clockwise (towards growing angles)
    // from 'from' to 'to', ends included, the arc being widened by tolerance at both ends.
    // Whole turns do not count: the arc is (to - from) taken modulo 2 pi, so equal ends make an
    // arc of one point. A negative tolerance narrows the arc.
    bool isBetween(const angle& from, const angle& to, double tolerance) const;

    // By the stored radians, exactly; 0 and 2 pi are different values here.
    bool operator==(const angle& other) const { return mRadians == other.mRadians; }
    bool operator!=(const angle& other) const { return mRadians != other.mRadians; }
    bool operator<(const angle& other) const { return mRadians < other.mRadians; }

    // Divides the angle. A divisor of 0 is an assertion and leaves the angle as it was.
    angle& operator/=(double divisor);

    // The conversion factors.
    static double degreeToRadians(); // 0.017453292519943295
    static double radiansToDegree(); // 57.29577951308232

private:
    explicit constexpr angle(double radians) : mRadians(radians) {}

    double mRadians = 0.0;
};

} // namespace vx
