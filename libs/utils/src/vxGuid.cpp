#include "vxGuid.h"

#include "platform/identity.h"
#include "platform/text.h"

#include <atomic>
#include <chrono>
#include <cstring>
#include <random>

namespace vx {

namespace {

// 100 ns steps from 15 October 1582, where time-based UUIDs count from, to 1 January 1970.
constexpr std::uint64_t kGregorianToUnixTicks = 0x01B21DD213814000ULL;

std::uint64_t randomBits() {
    try {
        std::random_device device;
        return (static_cast<std::uint64_t>(device()) << 32) ^ device();
    } catch (...) {
        // No random source: the time and an address still differ between processes.
        std::uint64_t seed = static_cast<std::uint64_t>(
            std::chrono::high_resolution_clock::now().time_since_epoch().count());
        seed ^= reinterpret_cast<std::uintptr_t>(&seed);
        seed ^= static_cast<std::uint64_t>(platform::currentProcessId()) << 40;
        return std::mt19937_64(seed)();
    }
}

struct nodeAddress {
    std::uint8_t bytes[6];
};

// The network card's address, or a random node marked by the multicast bit, which no card
// has. Chosen once per process.
const nodeAddress& node() {
    static const nodeAddress address = [] {
        nodeAddress result{};
        if (!platform::networkCardAddress(result.bytes)) {
            const std::uint64_t bits = randomBits();
            std::memcpy(result.bytes, &bits, sizeof result.bytes);
            result.bytes[0] |= 0x01;
        }
        return result;
    }();
    return address;
}

// The last time count handed out. Counts only grow: a call in the same 100 ns step as the one
// before it, or after the clock was set back, takes the next count.
std::atomic<std::uint64_t> gLastTicks{0};

// The clock sequence with the process it was drawn in: (process id << 32) | 0x10000 | sequence.
// A forked child finds another process id and draws a sequence of its own, different from its
// parent's, so that parent and child never make the same guid from the same counts.
std::atomic<std::uint64_t> gClockSequence{0};

std::uint16_t clockSequence() {
    const std::uint64_t pid = platform::currentProcessId();
    std::uint64_t current = gClockSequence.load(std::memory_order_acquire);
    for (;;) {
        if (current != 0 && (current >> 32) == pid)
            return static_cast<std::uint16_t>(current & 0x3FFF);
        std::uint64_t sequence = randomBits() & 0x3FFF;
        if (current != 0 && sequence == (current & 0x3FFF))
            sequence = (sequence + 1) & 0x3FFF;
        const std::uint64_t drawn = (pid << 32) | 0x10000 | sequence;
        if (gClockSequence.compare_exchange_weak(current, drawn, std::memory_order_acq_rel,
                                                 std::memory_order_acquire))
            return static_cast<std::uint16_t>(sequence);
    }
}

std::uint64_t nextTicks() {
    using ticks = std::chrono::duration<std::int64_t, std::ratio<1, 10000000>>;
    const std::uint64_t now =
        static_cast<std::uint64_t>(
            std::chrono::duration_cast<ticks>(std::chrono::system_clock::now().time_since_epoch())
                .count()) +
        kGregorianToUnixTicks;
    std::uint64_t last = gLastTicks.load(std::memory_order_relaxed);
    std::uint64_t next;
    do
        next = now > last ? now : last + 1;
    while (!gLastTicks.compare_exchange_weak(last, next, std::memory_order_acq_rel,
                                             std::memory_order_relaxed));
    return next;
}

// Reads digits hex digits at text[pos]; false if one of them is not a hex digit.
bool readHex(const string& text, std::size_t pos, int digits, std::uint32_t& value) {
    value = 0;
    for (int i = 0; i < digits; ++i) {
        const int v = platform::hexDigitValue(text[pos + i]);
        if (v < 0)
            return false;
        value = (value << 4) | static_cast<std::uint32_t>(v);
    }
    return true;
}

void writeHex(wchar_t* out, std::uint32_t value, int digits) {
    static const wchar_t kDigits[] = L"0123456789abcdef";
    for (int i = digits - 1; i >= 0; --i) {
        out[i] = kDigits[value & 0xF];
        value >>= 4;
    }
}

} // namespace

guid& guid::create() {
    const std::uint64_t ticks = nextTicks() & 0x0FFFFFFFFFFFFFFFULL;
    const std::uint16_t sequence = clockSequence();
    const nodeAddress& address = node();

    data1 = static_cast<std::uint32_t>(ticks);
    data2 = static_cast<std::uint16_t>(ticks >> 32);
    data3 = static_cast<std::uint16_t>(((ticks >> 48) & 0x0FFF) | 0x1000); // version 1
    data4[0] = static_cast<std::uint8_t>(0x80 | (sequence >> 8));           // variant 10
    data4[1] = static_cast<std::uint8_t>(sequence & 0xFF);
    std::memcpy(data4 + 2, address.bytes, 6);
    return *this;
}

guid& guid::fromString(const string& text) {
    if (text.empty() || (text.size() == 1 && text[0] == L'0')) {
        *this = guid();
        return *this;
    }
    // Parsed into a separate value, so that a failure leaves this guid as it was.
    if (text.size() != 36 || text[8] != L'-' || text[13] != L'-' || text[18] != L'-' ||
        text[23] != L'-')
        throw false;
    guid parsed;
    std::uint32_t value = 0;
    if (!readHex(text, 0, 8, value))
        throw false;
    parsed.data1 = value;
    if (!readHex(text, 9, 4, value))
        throw false;
    parsed.data2 = static_cast<std::uint16_t>(value);
    if (!readHex(text, 14, 4, value))
        throw false;
    parsed.data3 = static_cast<std::uint16_t>(value);
    static const std::size_t kBytePositions[8] = {19, 21, 24, 26, 28, 30, 32, 34};
    for (int i = 0; i < 8; ++i) {
        if (!readHex(text, kBytePositions[i], 2, value))
            throw false;
        parsed.data4[i] = static_cast<std::uint8_t>(value);
    }
    *this = parsed;
    return *this;
}

string guid::toString() const {
    wchar_t text[36];
    writeHex(text, data1, 8);
    text[8] = L'-';
    writeHex(text + 9, data2, 4);
    text[13] = L'-';
    writeHex(text + 14, data3, 4);
    text[18] = L'-';
    writeHex(text + 19, data4[0], 2);
    writeHex(text + 21, data4[1], 2);
    text[23] = L'-';
    for (int i = 2; i < 8; ++i)
        writeHex(text + 24 + 2 * (i - 2), data4[i], 2);
    return string(text, 36);
}

string guid::toString(const guid& g) {
    return g.toString();
}

bool guid::isInitialized() const {
    return data1 != 0 && data2 != 0 && data3 != 0;
}

bool guid::operator==(const guid& other) const {
    return data1 == other.data1 && data2 == other.data2 && data3 == other.data3 &&
           std::memcmp(data4, other.data4, sizeof data4) == 0;
}

bool guid::operator<(const guid& other) const {
    if (data1 != other.data1)
        return data1 < other.data1;
    if (data2 != other.data2)
        return data2 < other.data2;
    if (data3 != other.data3)
        return data3 < other.data3;
    return std::memcmp(data4, other.data4, sizeof data4) < 0;
}

} // namespace vx
