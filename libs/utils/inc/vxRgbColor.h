// rgbColor: a colour of red, green and blue, eight bits each.
//
// The colour value keeps red in the lowest byte: 0x00BBGGRR, the layout of a Windows COLORREF,
// so values stored by applications keep their meaning on every platform.
#pragma once

#include "vxExport.h"

#include <cstdint>

namespace vx {

class VX_API rgbColor {
public:
    // Black.
    constexpr rgbColor() = default;
    constexpr rgbColor(unsigned char red, unsigned char green, unsigned char blue)
        : mValue(composeValue(red, green, blue)) {}
    // Takes a colour value as it is, the high byte included.
    explicit constexpr rgbColor(std::uint32_t colorValue) : mValue(colorValue) {}

    // 0x00BBGGRR for a colour made from its parts.
    std::uint32_t colorValue() const { return mValue; }
    unsigned char red() const { return static_cast<unsigned char>(mValue & 0xFF); }
    unsigned char green() const { return static_cast<unsigned char>((mValue >> 8) & 0xFF); }
    unsigned char blue() const { return static_cast<unsigned char>((mValue >> 16) & 0xFF); }

    // Sets all three parts; the high byte becomes 0.
    void setRGB(unsigned char red, unsigned char green, unsigned char blue);

    // Writes three bytes: red, green, blue. A null pointer is an assertion.
    void asRgbTriple(unsigned char* const pTriple) const;

    // By colour value.
    bool operator==(const rgbColor& other) const { return mValue == other.mValue; }
    bool operator!=(const rgbColor& other) const { return mValue != other.mValue; }
    bool operator<(const rgbColor& other) const { return mValue < other.mValue; }

private:
    static constexpr std::uint32_t composeValue(unsigned char red, unsigned char green,
                                                unsigned char blue) {
        return static_cast<std::uint32_t>(red) | (static_cast<std::uint32_t>(green) << 8) |
               (static_cast<std::uint32_t>(blue) << 16);
    }

    std::uint32_t mValue = 0;
};

} // namespace vx
