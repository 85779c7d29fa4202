// Numeric helpers: comparison with a tolerance, decimal rounding, unit conversion.
//
// Decimal rounding works on the decimal value a double stands for, not on its binary digits:
// the value is first taken at 15 significant digits (the precision a double holds for any
// decimal number), then rounded or cut in decimal, and the result is the double nearest to the
// decimal outcome. So round2(1.005) is 1.01 and cutOff2(0.29) is 0.29, although 1.005 and 0.29
// are stored as 1.00499999... and 0.28999999... Infinities and NaN come back unchanged; a
// result of zero is +0.0, also for negative inputs.
#pragma once

#include "vxExport.h"

namespace vx {

// True when tolerance >= |a - b|: equal values are equal with a tolerance of 0. A NaN on
// either side is never equal.
VX_API bool dblEq(double a, double b, double tolerance);

// Rounds to the given number of decimals, halves away from zero: roundImp(2.5, 0) is 3,
// roundImp(-2.5, 0) is -3, roundImp(-1.005, 2) is -1.01. Negative decimals round to tens,
// hundreds and so on: roundImp(1250, -2) is 1300.
VX_API double roundImp(double value, int decimals);
VX_API double round0(double value);
VX_API double round1(double value);
VX_API double round2(double value);
VX_API double round3(double value);
VX_API double round4(double value);
VX_API double round5(double value);
VX_API double round6(double value);
VX_API double round7(double value);
VX_API double round8(double value);

// Cuts to the given number of decimals, towards zero: cutOffImp(2.789, 2) is 2.78,
// cutOffImp(-2.789, 2) is -2.78. Negative decimals cut to tens, hundreds and so on.
VX_API double cutOffImp(double value, int decimals);
VX_API double cutOff0(double value);
VX_API double cutOff1(double value);
VX_API double cutOff2(double value);
VX_API double cutOff3(double value);
VX_API double cutOff4(double value);
VX_API double cutOff5(double value);
VX_API double cutOff6(double value);
VX_API double cutOff7(double value);
VX_API double cutOff8(double value);

// Converts value from one unit to another. Each unit is given by its size in a common base
// unit of the caller's choice, for lengths in metres for example: 1 inch to millimetres is
// unitconv(1, 0.0254, 0.001) == 25.4. The result is value * fromUnit / toUnit, and value itself
// when both units are the same. A unit size that is zero or not finite is an assertion.
VX_API double unitconv(double value, double fromUnit, double toUnit);

} // namespace vx
