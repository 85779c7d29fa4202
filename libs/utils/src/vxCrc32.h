// CRC-32 of IEEE 802.3 (reflected polynomial 0xEDB88320), internal: the one implementation
// behind file::getCrc32, calcCrc32 and the keys of the type conversions.
//
// The running value is fed in steps; starting it at 0xFFFFFFFF and inverting it at the end
// are the caller's, so that a value can be fed in several steps.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vx::detail {

// The tables are computed by the compiler, so there is no first use to make safe.
constexpr std::array<std::uint32_t, 256> makeCrc32Table() {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t i = 0; i < 256; ++i) {
        std::uint32_t value = i;
        for (int bit = 0; bit < 8; ++bit)
            value = (value & 1) ? 0xEDB88320u ^ (value >> 1) : value >> 1;
        table[i] = value;
    }
    return table;
}

inline constexpr std::array<std::uint32_t, 256> crc32Table = makeCrc32Table();

// The byte-wise update: value = table[(value ^ byte) & 0xFF] ^ (value >> 8).
inline std::uint32_t crc32UpdateBytewise(std::uint32_t running, const unsigned char* bytes, std::size_t size) {
    for (std::size_t i = 0; i < size; ++i)
        running = crc32Table[(running ^ bytes[i]) & 0xFF] ^ (running >> 8);
    return running;
}

// Slicing by 16 gives the same values as the byte-wise update, several times faster: table k
// holds the effect of a byte followed by k zero bytes, so sixteen lookups that do not depend on
// each other replace sixteen dependent steps.
constexpr std::size_t crc32Slices = 16;
using crc32SliceTables = std::array<std::array<std::uint32_t, 256>, crc32Slices>;

constexpr crc32SliceTables makeCrc32SliceTables() {
    crc32SliceTables tables{};
    for (std::size_t i = 0; i < 256; ++i)
        tables[0][i] = crc32Table[i];
    for (std::size_t k = 1; k < crc32Slices; ++k)
        for (std::size_t i = 0; i < 256; ++i)
            tables[k][i] = (tables[k - 1][i] >> 8) ^ tables[0][tables[k - 1][i] & 0xFF];
    return tables;
}

inline constexpr crc32SliceTables crc32SliceTable = makeCrc32SliceTables();

inline std::uint32_t crc32LoadLittleEndian(const unsigned char* p) {
    return static_cast<std::uint32_t>(p[0]) | static_cast<std::uint32_t>(p[1]) << 8 |
           static_cast<std::uint32_t>(p[2]) << 16 | static_cast<std::uint32_t>(p[3]) << 24;
}

// The four lookups of one 32-bit word whose first byte stands `first` bytes before the end of
// the step.
inline std::uint32_t crc32SliceWord(std::uint32_t word, std::size_t first) {
    return crc32SliceTable[first][word & 0xFF] ^ crc32SliceTable[first - 1][(word >> 8) & 0xFF] ^
           crc32SliceTable[first - 2][(word >> 16) & 0xFF] ^ crc32SliceTable[first - 3][word >> 24];
}

inline std::uint32_t crc32Update(std::uint32_t running, const void* data, std::size_t size) {
    const auto* p = static_cast<const unsigned char*>(data);
    for (; size >= crc32Slices; p += crc32Slices, size -= crc32Slices) {
        running = crc32SliceWord(crc32LoadLittleEndian(p) ^ running, 15) ^
                  crc32SliceWord(crc32LoadLittleEndian(p + 4), 11) ^ crc32SliceWord(crc32LoadLittleEndian(p + 8), 7) ^
                  crc32SliceWord(crc32LoadLittleEndian(p + 12), 3);
    }
    return crc32UpdateBytewise(running, p, size);
}

} // namespace vx::detail
