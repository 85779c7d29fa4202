// The rules by which text becomes a number, shared by the type conversions and by the date and
// time texts that read their numbers the same way (internal).
#pragma once

#include "vxString.h"

#include <cmath>
#include <cstdint>
#include <limits>
#include <type_traits>

namespace vx::detail {

template <class A, class B>
constexpr bool integerLess(A a, B b) {
    if constexpr (std::is_signed<A>::value == std::is_signed<B>::value)
        return a < b;
    else if constexpr (std::is_signed<A>::value)
        return a < 0 || static_cast<std::make_unsigned_t<A>>(a) < b;
    else
        return b >= 0 && a < static_cast<std::make_unsigned_t<B>>(b);
}

// A value in the target's range is stored and answers true; outside it the nearest limit is
// stored and the answer is false.
template <class To, class From>
bool numberToNumber(To& to, From from) {
    using toLimits = std::numeric_limits<To>;
    if constexpr (std::is_same<To, bool>::value) {
        static_assert(!std::is_floating_point<From>::value, "no conversion from floating point to bool");
        to = from != 0;
        return true;
    } else if constexpr (std::is_same<From, bool>::value) {
        to = from ? To(1) : To(0);
        return true;
    } else if constexpr (std::is_floating_point<To>::value) {
        if constexpr (std::is_floating_point<From>::value && sizeof(To) < sizeof(From)) {
            if (from > static_cast<From>(toLimits::max())) {
                to = toLimits::max();
                return false;
            }
            if (from < static_cast<From>(toLimits::lowest())) {
                to = toLimits::lowest();
                return false;
            }
        }
        to = static_cast<To>(from);
        return true;
    } else if constexpr (std::is_floating_point<From>::value) {
        if (std::isnan(from))
            return false; // no number, and no limit is nearer than another
        // The limits as floating constants, as the comparison is written.
        if (from < static_cast<From>(toLimits::lowest())) {
            to = toLimits::lowest();
            return false;
        }
        if (from > static_cast<From>(toLimits::max())) {
            to = toLimits::max();
            return false;
        }
        // The maximum may round up to 2^digits as a floating constant; a value equal to it passes
        // the comparison but does not fit, and converting it would be undefined.
        if (from >= std::ldexp(From(1), toLimits::digits)) {
            to = toLimits::max();
            return false;
        }
        to = static_cast<To>(from); // truncates toward zero
        return true;
    } else {
        if (integerLess(from, toLimits::lowest())) {
            to = toLimits::lowest();
            return false;
        }
        if (integerLess(toLimits::max(), from)) {
            to = toLimits::max();
            return false;
        }
        to = static_cast<To>(from);
        return true;
    }
}

enum class readResult { none, ok, range };

inline bool isBlank(wchar_t c) {
    return c == L' ' || c == L'\t' || c == L'\n' || c == L'\v' || c == L'\f' || c == L'\r';
}

// Reads a decimal integer as "%ld" and "%lu" do: leading white space, an optional sign, at least
// one digit; whatever follows is ignored. The magnitude stops growing once it exceeds every
// 32-bit limit, so any number of digits is read in bounded arithmetic.
inline bool readDecimal(const wchar_t* p, bool& negative, std::uint64_t& magnitude) {
    while (isBlank(*p))
        ++p;
    negative = false;
    if (*p == L'+' || *p == L'-') {
        negative = *p == L'-';
        ++p;
    }
    if (*p < L'0' || *p > L'9')
        return false;
    constexpr std::uint64_t kBeyond32Bits = 0x1000000000ULL;
    magnitude = 0;
    for (; *p >= L'0' && *p <= L'9'; ++p) {
        if (magnitude < kBeyond32Bits)
            magnitude = magnitude * 10 + static_cast<std::uint64_t>(*p - L'0');
    }
    return true;
}

// "%ld": a 32-bit signed value, saturated at the 32-bit limits.
inline readResult readLong32(const vx::string& text, std::int32_t& value) {
    bool negative;
    std::uint64_t magnitude;
    if (!readDecimal(text.c_str(), negative, magnitude))
        return readResult::none;
    if (negative) {
        if (magnitude > 0x80000000ULL) {
            value = std::numeric_limits<std::int32_t>::min();
            return readResult::range;
        }
        value = static_cast<std::int32_t>(-static_cast<std::int64_t>(magnitude));
        return readResult::ok;
    }
    if (magnitude > 0x7FFFFFFFULL) {
        value = std::numeric_limits<std::int32_t>::max();
        return readResult::range;
    }
    value = static_cast<std::int32_t>(magnitude);
    return readResult::ok;
}

// "%lu": a 32-bit unsigned value. As with strtoul, a minus sign negates the value in unsigned
// arithmetic ("-1" is 4294967295); a magnitude beyond 32 bits saturates.
inline readResult readUnsignedLong32(const vx::string& text, std::uint32_t& value) {
    bool negative;
    std::uint64_t magnitude;
    if (!readDecimal(text.c_str(), negative, magnitude))
        return readResult::none;
    if (magnitude > 0xFFFFFFFFULL) {
        value = std::numeric_limits<std::uint32_t>::max();
        return readResult::range;
    }
    const auto magnitude32 = static_cast<std::uint32_t>(magnitude);
    value = negative ? static_cast<std::uint32_t>(0u - magnitude32) : magnitude32;
    return readResult::ok;
}

// An integer type read through "%ld" (signed) or "%lu" (unsigned) and then the numeric rule.
template <class To>
bool integerFromText(To& to, const vx::string& text) {
    if constexpr (std::is_signed<To>::value) {
        std::int32_t value;
        const readResult read = readLong32(text, value);
        if (read == readResult::none)
            return false;
        const bool fits = numberToNumber(to, value);
        return fits && read == readResult::ok;
    } else {
        std::uint32_t value;
        const readResult read = readUnsignedLong32(text, value);
        if (read == readResult::none)
            return false;
        const bool fits = numberToNumber(to, value);
        return fits && read == readResult::ok;
    }
}

} // namespace vx::detail
