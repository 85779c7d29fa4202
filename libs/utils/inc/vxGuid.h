// guid: a 16-byte identifier in the layout of a UUID.
//
// The text form is 8-4-4-4-12 hexadecimal digits without braces, for example
// "6ba7b810-9dad-11d1-80b4-00c04fd430c8". The first three fields are written as numbers (most
// significant digit first), the last eight bytes in their stored order. Failures are reported
// by throwing a bool of value false.
#pragma once

#include "vxExport.h"
#include "vxString.h"

#include <cstddef>
#include <cstdint>
#include <functional>

namespace vx {

class VX_API guid {
public:
    // All zero.
    guid() = default;

    // Makes this guid a new time-based identifier (a version 1 UUID): the time in 100 ns
    // steps since 15 October 1582, a clock sequence chosen at random once per process, and the
    // address of a network card. Without a network card the node is a random number with the
    // multicast bit set, which is unique only on this computer; that is a success too.
    // Within one process every new guid is greater under operator< than the one made before
    // it, from whatever thread, until the low 32 bits of the time count wrap around (every
    // 429.4967296 seconds, as data1 holds them).
    guid& create();

    // The empty text and "0" give the all-zero guid; otherwise the text must be exactly
    // 8-4-4-4-12 hexadecimal digits, in either case, without braces or blanks. Any other text
    // throws false and leaves the guid as it was.
    guid& fromString(const string& text);

    // Lower-case 8-4-4-4-12 text.
    string toString() const;
    static string toString(const guid& g);

    // True when data1, data2 and data3 are all non-zero; data4 does not count.
    bool isInitialized() const;

    bool operator==(const guid& other) const;
    bool operator!=(const guid& other) const { return !(*this == other); }
    // data1, data2, data3 as unsigned numbers, then the eight bytes in order.
    bool operator<(const guid& other) const;

    std::uint32_t data1 = 0;
    std::uint16_t data2 = 0;
    std::uint16_t data3 = 0;
    std::uint8_t data4[8] = {};
};

static_assert(sizeof(guid) == 16, "a guid has the size of a UUID");

} // namespace vx

template <>
struct std::hash<vx::guid> {
    std::size_t operator()(const vx::guid& g) const noexcept {
        std::uint64_t h = (static_cast<std::uint64_t>(g.data1) << 32) ^
                          (static_cast<std::uint64_t>(g.data2) << 16) ^ g.data3;
        for (const std::uint8_t b : g.data4)
            h = h * 1099511628211ULL ^ b;
        return static_cast<std::size_t>(h);
    }
};
