// Decimal text of integers, independent of any locale (internal).
#pragma once

#include <string>
#include <type_traits>

namespace vx::detail {

// The digits of value written so that they end at end, a minus sign in front of a negative one;
// answers where they start. end must have room for 3 * sizeof(Integer) + 2 characters before it.
// The digits are written by hand: std::to_wstring goes through swprintf, which sets up a wide
// stream for every number (a log line asks for three). Char is wchar_t or char.
template <class Char, class Integer,
          class = std::enable_if_t<std::is_integral_v<Integer> && !std::is_same_v<Integer, bool>>>
Char* writeDecimal(Char* end, Integer value) {
    using magnitudeType = std::make_unsigned_t<Integer>;
    Char* first = end;
    // Negated in the unsigned type, so the most negative value has its magnitude too.
    magnitudeType magnitude = value < 0 ? static_cast<magnitudeType>(magnitudeType(0) - static_cast<magnitudeType>(value))
                                        : static_cast<magnitudeType>(value);
    do {
        *--first = static_cast<Char>('0' + magnitude % 10);
        magnitude = static_cast<magnitudeType>(magnitude / 10);
    } while (magnitude != 0);
    if (value < 0)
        *--first = '-';
    return first;
}

template <class Integer,
          class = std::enable_if_t<std::is_integral_v<Integer> && !std::is_same_v<Integer, bool>>>
std::wstring decimal(Integer value) {
    wchar_t digits[3 * sizeof(Integer) + 2];
    wchar_t* const end = digits + sizeof digits / sizeof digits[0];
    return std::wstring(writeDecimal(end, value), end);
}

// Appends value as "%0*u" writes it: at least width digits, zeros in front.
inline void appendZeroPadded(std::wstring& out, unsigned value, std::size_t width) {
    const std::wstring digits = decimal(value);
    if (digits.size() < width)
        out.append(width - digits.size(), L'0');
    out += digits;
}

} // namespace vx::detail
