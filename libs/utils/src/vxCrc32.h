// CRC-32 of IEEE 802.3 (reflected polynomial 0xEDB88320), internal.
//
// The running value is fed byte by byte; starting it at 0xFFFFFFFF and inverting it at the end
// are the caller's, so that a value can be fed in several steps.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

namespace vx::detail {

// The table is computed by the compiler, so there is no first use to make safe.
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

inline std::uint32_t crc32Update(std::uint32_t running, const void* data, std::size_t size) {
    const auto* bytes = static_cast<const unsigned char*>(data);
    for (std::size_t i = 0; i < size; ++i)
        running = crc32Table[(running ^ bytes[i]) & 0xFF] ^ (running >> 8);
    return running;
}

} // namespace vx::detail
