// CRC-32 of IEEE 802.3 (reflected polynomial 0xEDB88320), internal: the one implementation
// behind file::getCrc32, calcCrc32 and the keys of the type conversions.
//
// The running value is fed in steps; starting it at 0xFFFFFFFF and inverting it at the end
// are the caller's, so that a value can be fed in several steps.
#pragma once

#include "detail/cpuFeatures.h"

#include <array>
#include <cstddef>
#include <cstdint>

#ifdef VX_CPU_DISPATCH
#include <immintrin.h>
#endif

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

inline std::uint32_t crc32UpdateSliced(std::uint32_t running, const unsigned char* p, std::size_t size) {
    for (; size >= crc32Slices; p += crc32Slices, size -= crc32Slices) {
        running = crc32SliceWord(crc32LoadLittleEndian(p) ^ running, 15) ^
                  crc32SliceWord(crc32LoadLittleEndian(p + 4), 11) ^ crc32SliceWord(crc32LoadLittleEndian(p + 8), 7) ^
                  crc32SliceWord(crc32LoadLittleEndian(p + 12), 3);
    }
    return crc32UpdateBytewise(running, p, size);
}

#ifdef VX_CPU_DISPATCH

// One lane moved forward by the distance k stands for, joined to the data there.
__attribute__((target("pclmul,sse2"))) inline __m128i crc32Fold(__m128i lane, __m128i k, __m128i next) {
    return _mm_xor_si128(_mm_xor_si128(_mm_clmulepi64_si128(lane, k, 0x11), _mm_clmulepi64_si128(lane, k, 0x00)),
                         next);
}

// Folding by carry-less multiplication (PCLMULQDQ): four 128-bit lanes are folded forward 64
// bytes at a time with constants x^(512+64) and x^512 mod P, joined to one lane, and the last
// 128 bits are reduced to 32 with a Barrett step; all in the bit-reflected domain of the
// polynomial 0xEDB88320, so the values are those of the table method. size is a multiple of 16
// and at least 64.
__attribute__((target("pclmul,sse2"))) inline std::uint32_t crc32UpdateFolded(std::uint32_t running,
                                                                                 const unsigned char* p,
                                                                                 std::size_t size) {
    alignas(16) static const std::uint64_t k1k2[] = {0x0154442bd4ULL, 0x01c6e41596ULL};
    alignas(16) static const std::uint64_t k3k4[] = {0x01751997d0ULL, 0x00ccaa009eULL};
    alignas(16) static const std::uint64_t k5k0[] = {0x0163cd6124ULL, 0x0000000000ULL};
    alignas(16) static const std::uint64_t poly[] = {0x01db710641ULL, 0x01f7011641ULL};
    const auto load = [](const unsigned char* at) { return _mm_loadu_si128(reinterpret_cast<const __m128i*>(at)); };

    __m128i x1 = _mm_xor_si128(load(p), _mm_cvtsi32_si128(static_cast<int>(running)));
    __m128i x2 = load(p + 16), x3 = load(p + 32), x4 = load(p + 48);
    p += 64;
    size -= 64;
    __m128i k = _mm_load_si128(reinterpret_cast<const __m128i*>(k1k2));
    for (; size >= 64; p += 64, size -= 64) {
        x1 = crc32Fold(x1, k, load(p));
        x2 = crc32Fold(x2, k, load(p + 16));
        x3 = crc32Fold(x3, k, load(p + 32));
        x4 = crc32Fold(x4, k, load(p + 48));
    }
    k = _mm_load_si128(reinterpret_cast<const __m128i*>(k3k4));
    x1 = crc32Fold(x1, k, x2);
    x1 = crc32Fold(x1, k, x3);
    x1 = crc32Fold(x1, k, x4);
    for (; size >= 16; p += 16, size -= 16)
        x1 = crc32Fold(x1, k, load(p));

    // 128 bits to 64.
    const __m128i low32 = _mm_setr_epi32(~0, 0, ~0, 0);
    __m128i x2b = _mm_clmulepi64_si128(x1, k, 0x10);
    x1 = _mm_xor_si128(_mm_srli_si128(x1, 8), x2b);
    k = _mm_loadl_epi64(reinterpret_cast<const __m128i*>(k5k0));
    x2b = _mm_srli_si128(x1, 4);
    x1 = _mm_xor_si128(_mm_clmulepi64_si128(_mm_and_si128(x1, low32), k, 0x00), x2b);
    // Barrett reduction to 32 bits.
    k = _mm_load_si128(reinterpret_cast<const __m128i*>(poly));
    x2b = _mm_and_si128(_mm_clmulepi64_si128(_mm_and_si128(x1, low32), k, 0x10), low32);
    x1 = _mm_xor_si128(x1, _mm_clmulepi64_si128(x2b, k, 0x00));
    return static_cast<std::uint32_t>(_mm_cvtsi128_si32(_mm_srli_si128(x1, 4)));
}
#endif

// The one entry: folding where the processor has it and the block is long enough, the sliced
// tables for the rest and elsewhere.
inline std::uint32_t crc32Update(std::uint32_t running, const void* data, std::size_t size) {
    const auto* p = static_cast<const unsigned char*>(data);
#ifdef VX_CPU_DISPATCH
    if (size >= 64 && cpuHasCarrylessMultiply()) {
        const std::size_t folded = size & ~static_cast<std::size_t>(15);
        running = crc32UpdateFolded(running, p, folded);
        p += folded;
        size -= folded;
    }
#endif
    return crc32UpdateSliced(running, p, size);
}

} // namespace vx::detail
