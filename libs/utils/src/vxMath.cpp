#include "vxMath.h"

#include "vxAssert.h"

#include <algorithm>
#include <charconv>
#include <cmath>
#include <limits>
#include <system_error>

namespace vx {

namespace {

constexpr int kSignificantDigits = 15;
// Beyond this many decimals either way every double gives the same outcome as at the bound;
// clamping keeps the position arithmetic far from overflow.
constexpr int kDecimalsBound = 400;

enum class decimalMode { round, cut };

// Rounds or cuts value in decimal. The value is written as d.dddddddddddddd e<exponent>
// (15 significant digits, the first non-zero), the digits behind the wanted position are
// dropped, in rounding mode after carrying a 5 or more upwards, and the result is read back.
double adjustDecimals(double value, int decimals, decimalMode mode) {
    if (!std::isfinite(value) || value == 0.0)
        return value == 0.0 ? 0.0 : value;
    decimals = std::clamp(decimals, -kDecimalsBound, kDecimalsBound);

    char text[64];
    const auto written = std::to_chars(text, text + sizeof text, value,
                                       std::chars_format::scientific, kSignificantDigits - 1);
    const bool negative = text[0] == '-';
    const char* p = text + (negative ? 1 : 0);
    char digits[kSignificantDigits + 1];
    int count = 0;
    for (; p != written.ptr && *p != 'e'; ++p)
        if (*p >= '0' && *p <= '9')
            digits[count++] = *p;
    int exponent = 0;
    std::from_chars(p + 1 + (p[1] == '+' ? 1 : 0), written.ptr, exponent);

    // How many of the significant digits stay.
    const int keep = exponent + 1 + decimals;
    if (keep >= count)
        return value; // no digit lies behind the wanted position
    bool roundUp = mode == decimalMode::round && keep >= 0 && digits[keep] >= '5';
    int kept = std::max(keep, 0);
    if (roundUp) {
        int i = kept - 1;
        for (; i >= 0 && digits[i] == '9'; --i)
            digits[i] = '0';
        if (i >= 0) {
            ++digits[i];
        } else {
            // All nines, or no digit kept at all: the carry makes one unit of the next higher
            // position.
            digits[0] = '1';
            kept = 1;
            ++exponent;
        }
    }
    if (kept == 0)
        return 0.0;

    // Back to a number: [-]d.ddd e<exponent>.
    char result[64];
    char* out = result;
    if (negative)
        *out++ = '-';
    *out++ = digits[0];
    if (kept > 1) {
        *out++ = '.';
        for (int i = 1; i < kept; ++i)
            *out++ = digits[i];
    }
    *out++ = 'e';
    out = std::to_chars(out, result + sizeof result, exponent).ptr;
    double adjusted = 0.0;
    const auto read = std::from_chars(result, out, adjusted);
    if (read.ec == std::errc::result_out_of_range)
        return exponent > 0 ? std::copysign(std::numeric_limits<double>::infinity(), value) : 0.0;
    return adjusted == 0.0 ? 0.0 : adjusted;
}

} // namespace

bool dblEq(double a, double b, double tolerance) {
    return tolerance >= std::fabs(a - b);
}

double roundImp(double value, int decimals) {
    return adjustDecimals(value, decimals, decimalMode::round);
}

double round0(double value) { return roundImp(value, 0); }
double round1(double value) { return roundImp(value, 1); }
double round2(double value) { return roundImp(value, 2); }
double round3(double value) { return roundImp(value, 3); }
double round4(double value) { return roundImp(value, 4); }
double round5(double value) { return roundImp(value, 5); }
double round6(double value) { return roundImp(value, 6); }
double round7(double value) { return roundImp(value, 7); }
double round8(double value) { return roundImp(value, 8); }

double cutOffImp(double value, int decimals) {
    return adjustDecimals(value, decimals, decimalMode::cut);
}

double cutOff0(double value) { return cutOffImp(value, 0); }
double cutOff1(double value) { return cutOffImp(value, 1); }
double cutOff2(double value) { return cutOffImp(value, 2); }
double cutOff3(double value) { return cutOffImp(value, 3); }
double cutOff4(double value) { return cutOffImp(value, 4); }
double cutOff5(double value) { return cutOffImp(value, 5); }
double cutOff6(double value) { return cutOffImp(value, 6); }
double cutOff7(double value) { return cutOffImp(value, 7); }
double cutOff8(double value) { return cutOffImp(value, 8); }

double unitconv(double value, double fromUnit, double toUnit) {
    VX_ASSERT(std::isfinite(fromUnit) && fromUnit != 0.0);
    VX_ASSERT(std::isfinite(toUnit) && toUnit != 0.0);
    if (fromUnit == toUnit)
        return value;
    return value * fromUnit / toUnit;
}

} // namespace vx
