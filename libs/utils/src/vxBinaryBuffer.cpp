#include "vxBinaryBuffer.h"

#include "detail/cpuFeatures.h"
#include "detail/writeBeside.h"
#include "vxCrc32.h"
#include "vxDirectory.h"
#include "vxException.h"
#include "vxFile.h"
#include "vxGzipFile.h"

#include "platform/files.h"
#include "vxUnicode.h"
#include "platform/text.h"

#include <algorithm>
#include <array>
#ifdef VX_CPU_DISPATCH
#include <immintrin.h>
#endif
#include <cstdlib>
#include <cstring>
#include <limits>
#include <mutex>
#include <new>
#include <vector>

namespace vx {

namespace {

// Files are read, and gzip data inflated, in blocks of this size.
constexpr std::size_t kBlockSize = 1024;

// shrink never leaves less room than this.
constexpr std::uint64_t kMinimumRoom = 8;

// Whether p points into the block [data, data + size).
bool pointsInto(const void* p, const char* data, std::uint64_t size) {
    const auto at = reinterpret_cast<std::uintptr_t>(p), start = reinterpret_cast<std::uintptr_t>(data);
    return data != nullptr && at >= start && at - start < size;
}

std::uint64_t checkedSum(std::uint64_t a, std::uint64_t b) {
    if (a > std::numeric_limits<std::uint64_t>::max() - b)
        throw outOfMemoryException();
    return a + b;
}

// Appends with the room at least doubling when it is short, so that output that arrives in many
// small pieces costs linear time.
void appendGrowing(binaryBuffer& buffer, const void* data, std::uint64_t size) {
    const std::uint64_t needed = checkedSum(buffer.logicalLength(), size);
    if (needed > buffer.physicalLength()) {
        const std::uint64_t room = buffer.physicalLength();
        buffer.reserve(std::max(needed, room > std::numeric_limits<std::uint64_t>::max() / 2 ? needed : room * 2));
    }
    buffer.write(data, size);
}

// Runs of gzUncompress take turns across the process. Recursive, so that a cancel callback may
// itself uncompress a buffer.
std::recursive_mutex& gzUncompressMutex() {
    static std::recursive_mutex m;
    return m;
}

// --- base64 -----------------------------------------------------------------------------------

constexpr char kBase64Alphabet[] = "ABCDEFGHIJKLMNOPQRSTUVWXYZabcdefghijklmnopqrstuvwxyz0123456789+/";

// The value of each character of the alphabet, -1 for anything else. ASCII only, whatever the
// locale says is a letter. A table, because on real text the branches of range tests are
// mispredicted at nearly every character.
constexpr std::array<signed char, 256> makeBase64Values() {
    std::array<signed char, 256> values{};
    for (auto& v : values)
        v = -1;
    for (int i = 0; i < 64; ++i)
        values[static_cast<unsigned char>(kBase64Alphabet[i])] = static_cast<signed char>(i);
    return values;
}

constexpr std::array<signed char, 256> kBase64Values = makeBase64Values();

// The two characters of each 12-bit value, so that three bytes take two lookups. Two chars rather
// than a 16-bit number: copied as they stand, they come out in order on any byte order.
struct base64Pair {
    char c[2];
};

constexpr std::array<base64Pair, 4096> makeBase64Pairs() {
    std::array<base64Pair, 4096> pairs{};
    for (int i = 0; i < 4096; ++i)
        pairs[i] = {{kBase64Alphabet[i >> 6], kBase64Alphabet[i & 0x3F]}};
    return pairs;
}

constexpr std::array<base64Pair, 4096> kBase64Pairs = makeBase64Pairs();

// For each place in a group of four characters, the character's six bits already in their place
// of the 24-bit group, so that a group is four lookups or-ed together. Anything outside the
// alphabet (the '=' included) sets the top byte, which no valid group has: one test per group.
constexpr std::uint32_t kBase64Stop = 0xFF000000u;

constexpr std::array<std::uint32_t, 256> makeBase64Places(int shift) {
    std::array<std::uint32_t, 256> places{};
    for (int c = 0; c < 256; ++c)
        places[c] = kBase64Values[c] < 0 ? kBase64Stop : static_cast<std::uint32_t>(kBase64Values[c]) << shift;
    return places;
}

constexpr std::array<std::uint32_t, 256> kBase64Place0 = makeBase64Places(18), kBase64Place1 = makeBase64Places(12),
                                         kBase64Place2 = makeBase64Places(6), kBase64Place3 = makeBase64Places(0);

std::size_t base64TextLength(std::size_t n) {
    return (n + 2) / 3 * 4;
}

void putPair(char* to, std::uint32_t twelveBits) {
    std::memcpy(to, kBase64Pairs[twelveBits].c, 2);
}

// Writes the base64 text of the n bytes at src to dst, which has room for base64TextLength(n).
void encodeBase64(const unsigned char* src, std::size_t n, char* dst) {
    std::size_t i = 0;
    // Six bytes a step, read as one big-endian word: two bytes more are read than taken, so the
    // fast steps stop eight bytes before the end.
    for (; n - i >= 8; i += 6, dst += 8) {
        const unsigned char* s = src + i;
        const std::uint64_t w = static_cast<std::uint64_t>(s[0]) << 56 | static_cast<std::uint64_t>(s[1]) << 48 |
                                static_cast<std::uint64_t>(s[2]) << 40 | static_cast<std::uint64_t>(s[3]) << 32 |
                                static_cast<std::uint64_t>(s[4]) << 24 | static_cast<std::uint64_t>(s[5]) << 16 |
                                static_cast<std::uint64_t>(s[6]) << 8 | s[7];
        putPair(dst, static_cast<std::uint32_t>(w >> 52));
        putPair(dst + 2, static_cast<std::uint32_t>(w >> 40) & 0xFFF);
        putPair(dst + 4, static_cast<std::uint32_t>(w >> 28) & 0xFFF);
        putPair(dst + 6, static_cast<std::uint32_t>(w >> 16) & 0xFFF);
    }
    for (; n - i >= 3; i += 3, dst += 4) {
        const std::uint32_t group = static_cast<std::uint32_t>(src[i]) << 16 | static_cast<std::uint32_t>(src[i + 1]) << 8 |
                                    src[i + 2];
        putPair(dst, group >> 12);
        putPair(dst + 2, group & 0xFFF);
    }
    if (i < n) {
        // One or two bytes left: padded with zero bytes, two or three characters, '=' to four.
        const std::size_t left = n - i;
        const std::uint32_t group = static_cast<std::uint32_t>(src[i]) << 16 |
                                    (left == 2 ? static_cast<std::uint32_t>(src[i + 1]) << 8 : 0u);
        dst[0] = kBase64Alphabet[group >> 18];
        dst[1] = kBase64Alphabet[(group >> 12) & 0x3F];
        dst[2] = left == 2 ? kBase64Alphabet[(group >> 6) & 0x3F] : '=';
        dst[3] = '=';
    }
}

void putGroup(char* to, std::uint32_t group) {
    to[0] = static_cast<char>(group >> 16);
    to[1] = static_cast<char>(group >> 8);
    to[2] = static_cast<char>(group);
}

// The group of the four characters in the low 32 bits of w, the first in the lowest byte.
std::uint32_t base64Group(std::uint64_t w) {
    return kBase64Place0[w & 0xFF] | kBase64Place1[(w >> 8) & 0xFF] | kBase64Place2[(w >> 16) & 0xFF] |
           kBase64Place3[(w >> 24) & 0xFF];
}

// Eight characters as one word, the first in the lowest byte: one load instead of eight.
std::uint64_t loadLittleEndian64(const char* from) {
    std::uint64_t w = 0;
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    std::memcpy(&w, from, 8);
#elif defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    std::memcpy(&w, from, 8);
    w = __builtin_bswap64(w);
#else
    for (int b = 7; b >= 0; --b)
        w = w << 8 | static_cast<unsigned char>(from[b]);
#endif
    return w;
}

// The eight bytes of v, most significant first, in one store where the compiler can swap.
void storeBigEndian64(char* to, std::uint64_t v) {
#if defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_LITTLE_ENDIAN__
    v = __builtin_bswap64(v);
    std::memcpy(to, &v, 8);
#elif defined(__BYTE_ORDER__) && __BYTE_ORDER__ == __ORDER_BIG_ENDIAN__
    std::memcpy(to, &v, 8);
#else
    for (int b = 0; b < 8; ++b)
        to[b] = static_cast<char>(v >> (56 - 8 * b));
#endif
}

#ifdef VX_CPU_DISPATCH

// Sixteen characters at a time with SSSE3 byte shuffles, where the processor has them: each
// character's high and low nibble select two bit masks that share a bit only for a byte outside
// the alphabet, the high nibble (with '/' told apart) selects what to add to make the character
// its value, and two multiply-adds and a shuffle pack the 16 values into 12 bytes. The loop stops
// at the first block that holds a character outside the alphabet ('=' included), which the
// walks below then take from its start; it stores 16 bytes for 12, so it runs only while eight
// more characters give room for the other four. Answers the characters consumed; out grows by
// three quarters of them.
__attribute__((target("ssse3"))) std::size_t decodeBase64Ssse3(const char* src, std::size_t n, char* dst,
                                                               std::size_t& out) {
    const __m128i nibble = _mm_set1_epi8(0x0F), slash = _mm_set1_epi8('/');
    const __m128i lowMasks = _mm_setr_epi8(0x15, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x11, 0x13, 0x1A,
                                           0x1B, 0x1B, 0x1B, 0x1A);
    const __m128i highMasks = _mm_setr_epi8(0x10, 0x10, 0x01, 0x02, 0x04, 0x08, 0x04, 0x08, 0x10, 0x10, 0x10, 0x10,
                                            0x10, 0x10, 0x10, 0x10);
    const __m128i shifts = _mm_setr_epi8(0, 16, 19, 4, -65, -65, -71, -71, 0, 0, 0, 0, 0, 0, 0, 0);
    const __m128i pairs = _mm_set1_epi32(0x01400140), quads = _mm_set1_epi32(0x00011000);
    const __m128i order = _mm_setr_epi8(2, 1, 0, 6, 5, 4, 10, 9, 8, 14, 13, 12, -1, -1, -1, -1);
    std::size_t i = 0;
    for (; n - i >= 24; i += 16, out += 12) {
        const __m128i text = _mm_loadu_si128(reinterpret_cast<const __m128i*>(src + i));
        const __m128i high = _mm_and_si128(_mm_srli_epi32(text, 4), nibble);
        const __m128i bad = _mm_and_si128(_mm_shuffle_epi8(lowMasks, _mm_and_si128(text, nibble)),
                                          _mm_shuffle_epi8(highMasks, high));
        if (_mm_movemask_epi8(_mm_cmpeq_epi8(bad, _mm_setzero_si128())) != 0xFFFF)
            break;
        const __m128i values =
            _mm_add_epi8(text, _mm_shuffle_epi8(shifts, _mm_add_epi8(_mm_cmpeq_epi8(text, slash), high)));
        const __m128i packed = _mm_madd_epi16(_mm_maddubs_epi16(values, pairs), quads);
        _mm_storeu_si128(reinterpret_cast<__m128i*>(dst + out), _mm_shuffle_epi8(packed, order));
    }
    return i;
}
#endif

// Decodes the base64 text of the n characters at src into dst, which has room for n / 4 * 3 + 2
// bytes, and returns the bytes written. dst may be src: every byte is written after the characters
// at and beyond its place are read.
std::size_t decodeBase64(const char* src, std::size_t n, char* dst) {
    std::size_t i = 0, out = 0;
#ifdef VX_CPU_DISPATCH
    if (n >= 24 && detail::cpuHasSsse3())
        i = decodeBase64Ssse3(src, n, dst, out);
#endif
    // Whole groups of the alphabet, four and then two at a time, each pair stored as one
    // eight-byte word whose last two bytes the next store overwrites (within the room, since
    // eight characters remain). Groups that hold a stop go to the exact walk below, which begins
    // at the first of them.
    for (; n - i >= 16; i += 16, out += 12) {
        const std::uint64_t a = loadLittleEndian64(src + i), b = loadLittleEndian64(src + i + 8);
        const std::uint32_t g0 = base64Group(a), g1 = base64Group(a >> 32), g2 = base64Group(b), g3 = base64Group(b >> 32);
        if ((g0 | g1 | g2 | g3) & kBase64Stop)
            break;
        storeBigEndian64(dst + out, static_cast<std::uint64_t>(g0) << 40 | static_cast<std::uint64_t>(g1) << 16);
        storeBigEndian64(dst + out + 6, static_cast<std::uint64_t>(g2) << 40 | static_cast<std::uint64_t>(g3) << 16);
    }
    for (; n - i >= 8; i += 8, out += 6) {
        const std::uint64_t a = loadLittleEndian64(src + i);
        const std::uint32_t g0 = base64Group(a), g1 = base64Group(a >> 32);
        if ((g0 | g1) & kBase64Stop)
            break;
        storeBigEndian64(dst + out, static_cast<std::uint64_t>(g0) << 40 | static_cast<std::uint64_t>(g1) << 16);
    }
    std::uint32_t group = 0;
    int count = 0;
    for (; i < n; ++i) {
        // '=' and anything outside the alphabet end the text, silently.
        const int value = kBase64Values[static_cast<unsigned char>(src[i])];
        if (value < 0)
            break;
        group = group << 6 | static_cast<std::uint32_t>(value);
        if (++count == 4) {
            putGroup(dst + out, group);
            out += 3;
            group = 0;
            count = 0;
        }
    }
    // k characters left (2 or 3) give k - 1 bytes; a single one gives nothing.
    if (count >= 2) {
        group <<= 6 * (4 - count);
        dst[out++] = static_cast<char>(group >> 16);
        if (count == 3)
            dst[out++] = static_cast<char>(group >> 8);
    }
    return out;
}

// --- scrambling --------------------------------------------------------------------------------

// xorshift32: a cheap stream of bytes that follows from its seed alone.
std::uint32_t nextStreamWord(std::uint32_t& state) {
    state ^= state << 13;
    state ^= state >> 17;
    state ^= state << 5;
    return state;
}

} // namespace

// --- construction ------------------------------------------------------------------------------------

binaryBuffer::binaryBuffer(std::uint64_t size) : mData(nullptr), mLogicalLength(0), mPhysicalLength(0) {
    reAllocate(size);
}

binaryBuffer::binaryBuffer(char* data, std::uint64_t size)
    : mData(data), mLogicalLength(data ? size : 0), mPhysicalLength(data ? size : 0) {}

binaryBuffer::binaryBuffer(const binaryBuffer& other) : mData(nullptr), mLogicalLength(0), mPhysicalLength(0) {
    reAllocate(other.mLogicalLength);
    write(other.mData, other.mLogicalLength);
}

binaryBuffer::binaryBuffer(binaryBuffer&& other) noexcept
    : mData(other.mData), mLogicalLength(other.mLogicalLength), mPhysicalLength(other.mPhysicalLength) {
    other.mData = nullptr;
    other.mLogicalLength = other.mPhysicalLength = 0;
}

binaryBuffer& binaryBuffer::operator=(const binaryBuffer& other) {
    // Resetting first would empty a buffer assigned to itself.
    if (this == &other)
        return *this;
    reAllocate(other.mLogicalLength);
    mLogicalLength = 0;
    write(other.mData, other.mLogicalLength);
    return *this;
}

binaryBuffer& binaryBuffer::operator=(binaryBuffer&& other) noexcept {
    if (this != &other) {
        std::free(mData);
        mData = other.mData;
        mLogicalLength = other.mLogicalLength;
        mPhysicalLength = other.mPhysicalLength;
        other.mData = nullptr;
        other.mLogicalLength = other.mPhysicalLength = 0;
    }
    return *this;
}

binaryBuffer::~binaryBuffer() {
    std::free(mData);
}

bool binaryBuffer::operator==(const binaryBuffer& other) const {
    return mLogicalLength == other.mLogicalLength &&
           (mLogicalLength == 0 || std::memcmp(mData, other.mData, mLogicalLength) == 0);
}

// --- content -----------------------------------------------------------------------------------------

void binaryBuffer::reAllocate(std::uint64_t n) {
    if (n <= mPhysicalLength)
        return;
    if (n > std::numeric_limits<std::size_t>::max())
        throw outOfMemoryException();
    // Exactly n bytes; the old block is copied and freed (realloc may do both in place).
    void* grown = std::realloc(mData, static_cast<std::size_t>(n));
    if (!grown)
        throw outOfMemoryException();
    mData = static_cast<char*>(grown);
    mPhysicalLength = n;
}

void binaryBuffer::reserve(std::uint64_t n) {
    reAllocate(n);
}

bool binaryBuffer::setLogicalLength(std::uint64_t n) {
    if (n > mPhysicalLength)
        return false;
    mLogicalLength = n;
    return true;
}

void binaryBuffer::write(const void* src, std::uint64_t n) {
    if (n == 0 || src == nullptr)
        return;
    // A source inside the block moves with it when the block grows.
    const bool inside = pointsInto(src, mData, mPhysicalLength);
    // Addresses as numbers: the compiler cannot tell the source from the block it may free.
    const std::uint64_t offset =
        inside ? reinterpret_cast<std::uintptr_t>(src) - reinterpret_cast<std::uintptr_t>(mData) : 0;
    reAllocate(checkedSum(mLogicalLength, n));
    const void* from = inside ? mData + offset : src;
    std::memmove(mData + mLogicalLength, from, static_cast<std::size_t>(n));
    mLogicalLength += n;
}

void binaryBuffer::writeAtStart(const void* src, std::uint64_t n) {
    if (n == 0 || src == nullptr)
        return;
    // A source inside the block is taken aside: moving the content would change it.
    std::vector<char> aside;
    if (pointsInto(src, mData, mPhysicalLength)) {
        const char* p = static_cast<const char*>(src);
        aside.assign(p, p + n);
        src = aside.data();
    }
    reAllocate(checkedSum(mLogicalLength, n));
    std::memmove(mData + n, mData, static_cast<std::size_t>(mLogicalLength));
    std::memcpy(mData, src, static_cast<std::size_t>(n));
    mLogicalLength += n;
}

std::uint64_t binaryBuffer::read(void*& cursor, void* dest, std::uint64_t n) const {
    if (cursor == nullptr)
        cursor = mData;
    if (!isValidCursor(cursor) || dest == nullptr || n == 0)
        return 0;
    const std::uint64_t remaining =
        mLogicalLength - (reinterpret_cast<std::uintptr_t>(cursor) - reinterpret_cast<std::uintptr_t>(mData));
    const std::uint64_t count = n < remaining ? n : remaining;
    std::memcpy(dest, cursor, static_cast<std::size_t>(count));
    cursor = static_cast<char*>(cursor) + count;
    return count;
}

bool binaryBuffer::isValidCursor(const void* cursor) const {
    return pointsInto(cursor ? cursor : mData, mData, mLogicalLength);
}

void binaryBuffer::clear() {
    mLogicalLength = 0;
}

void binaryBuffer::shrink() {
    if (mLogicalLength >= mPhysicalLength)
        return;
    const std::uint64_t room = mLogicalLength > kMinimumRoom ? mLogicalLength : kMinimumRoom;
    if (room == mPhysicalLength)
        return;
    void* block = std::realloc(mData, static_cast<std::size_t>(room));
    if (!block)
        throw outOfMemoryException();
    mData = static_cast<char*>(block);
    mPhysicalLength = room;
}

char* binaryBuffer::unlinkBuffer() {
    char* block = mData;
    mData = nullptr;
    mLogicalLength = mPhysicalLength = 0;
    return block;
}

// --- files ---------------------------------------------------------------------------------------------

bool binaryBuffer::readFromFile(const file& f, const std::function<bool()>& cancel) {
    platform::fileHandle handle;
    if (f.fullName().empty() || !handle.open(f.fullName(), platform::fileHandle::openRead))
        return false;
    reAllocate(checkedSum(mLogicalLength, f.size()));
    char block[kBlockSize];
    for (;;) {
        std::size_t got = 0;
        // A read error ends the file as its end does.
        if (!handle.read(block, sizeof block, got) || got == 0)
            break;
        // The handle closes the file on this path too.
        if (cancel && cancel())
            return false;
        write(block, got);
    }
    return true;
}

namespace {

bool writeBlock(const file& f, platform::fileHandle::openMode mode, const char* data, std::uint64_t size) {
    platform::fileHandle handle;
    if (f.fullName().empty() || !handle.open(f.fullName(), mode))
        return false;
    const bool written = size == 0 || handle.write(data, static_cast<std::size_t>(size));
    const bool closed = handle.close();
    return written && closed;
}

} // namespace

bool binaryBuffer::writeToFile(const file& f, bool append) const {
    if (append || f.fullName().empty())
        return writeBlock(f, platform::fileHandle::openAppend, mData, mLogicalLength);
    // A file that is there must take writing as before: not read-only, not a directory or a
    // device (opened to append, which changes nothing).
    if (f.exists()) {
        platform::fileHandle probe;
        if (!probe.open(f.fullName(), platform::fileHandle::openAppend))
            return false;
    }
    // Written beside the file and put in its place when complete, so that a failed write leaves
    // the old file as it was. A folder that takes no new file leaves writing in place.
    return detail::writeBeside(
        f, [this](const file& out) { return writeBlock(out, platform::fileHandle::openWrite, mData, mLogicalLength); },
        true);
}

// --- base64 ---------------------------------------------------------------------------------------------

void base64_encode(const unsigned char* src, unsigned int n, std::string& out) {
    if (src == nullptr)
        return;
    const std::size_t start = out.size(), length = base64TextLength(n);
    out.reserve(start + std::max(static_cast<std::size_t>(n * 1.4), length));
    out.resize(start + length);
    encodeBase64(src, n, &out[start]);
}

void base64_decode(const std::string& src, std::string& out) {
    const std::size_t start = out.size();
    out.reserve(start + std::max(static_cast<std::size_t>(src.size() / 1.3), src.size() / 4 * 3 + 2));
    out.resize(start + src.size() / 4 * 3 + 2);
    out.resize(start + decodeBase64(src.data(), src.size(), &out[start]));
}

bool binaryBuffer::base64Encode() {
    const std::size_t length = base64TextLength(static_cast<unsigned int>(mLogicalLength));
    if (length == 0) {
        mLogicalLength = 0;
        return true;
    }
    // The text is longer than the bytes, so it is made aside. A block that is short is replaced
    // by the text's own, which has exactly the room the text needs; otherwise the text is copied in.
    char* text = static_cast<char*>(std::malloc(length));
    if (text == nullptr)
        return false;
    encodeBase64(reinterpret_cast<const unsigned char*>(mData), static_cast<unsigned int>(mLogicalLength), text);
    if (length > mPhysicalLength) {
        std::free(mData);
        mData = text;
        mPhysicalLength = length;
    } else {
        std::memcpy(mData, text, length);
        std::free(text);
    }
    mLogicalLength = length;
    return true;
}

bool binaryBuffer::base64Decode() {
    try {
        if (mLogicalLength == 0 || mData[mLogicalLength - 1] != 0) {
            const char terminator = 0;
            write(&terminator, 1);
        }
    } catch (const outOfMemoryException&) {
        return false;
    } catch (const std::bad_alloc&) {
        return false;
    }
    // In place: the bytes are never longer than their text.
    mLogicalLength = decodeBase64(mData, std::strlen(mData), mData);
    return true;
}

// --- gzip -----------------------------------------------------------------------------------------------

bool binaryBuffer::gzCompress() {
    try {
        binaryBuffer result;
        detail::gzipFile packer;
        if (!packer.openForWriting([&result](const void* data, std::size_t size) {
                appendGrowing(result, data, size);
                return true;
            }))
            return false;
        // zlib takes at most 4 GiB - 1 at a time.
        constexpr std::uint64_t kPiece = 1u << 30;
        for (std::uint64_t at = 0; at < mLogicalLength; at += kPiece) {
            const std::uint64_t piece = std::min(kPiece, mLogicalLength - at);
            if (!packer.write(mData + at, static_cast<unsigned>(piece)))
                return false;
        }
        if (!packer.close())
            return false;
        result.shrink(); // the room the gzip form needs, no more
        *this = std::move(result);
        return true;
    } catch (const outOfMemoryException&) {
    } catch (const std::bad_alloc&) {
    }
    return false;
}

bool binaryBuffer::gzUncompress(const std::function<bool()>& cancel) {
    return gzUncompress(cancel, std::numeric_limits<std::uint64_t>::max());
}

bool binaryBuffer::gzUncompress(const std::function<bool()>& cancel, std::uint64_t maxLength) {
    const std::lock_guard<std::recursive_mutex> lock(gzUncompressMutex());
    try {
        detail::gzipFile source;
        if (!source.openForReading(mData, mLogicalLength))
            return false;
        // Room for twice the compressed size to begin with, as far as the limit allows.
        binaryBuffer result(std::min(checkedSum(mLogicalLength, mLogicalLength), maxLength));
        char block[kBlockSize];
        for (;;) {
            const int got = source.read(block, sizeof block);
            if (got < 0)
                return false;
            if (got == 0)
                break;
            if (cancel && cancel())
                return false;
            if (static_cast<std::uint64_t>(got) > maxLength - result.mLogicalLength)
                return false;
            appendGrowing(result, block, static_cast<std::uint64_t>(got));
        }
        // Data cut short reads as a quiet end; zlib tells it at the close.
        if (!source.close())
            return false;
        *this = std::move(result);
        return true;
    } catch (const outOfMemoryException&) {
    } catch (const std::bad_alloc&) {
    }
    return false;
}

bool binaryBuffer::isGZCompressed() const {
    return mLogicalLength >= 3 && static_cast<unsigned char>(mData[0]) == 0x1F &&
           static_cast<unsigned char>(mData[1]) == 0x8B && static_cast<unsigned char>(mData[2]) == 0x08;
}

// --- text -------------------------------------------------------------------------------------------------

void binaryBuffer::mbcsToWideChar() {
    const std::wstring wide = platform::activeCodePageToWide(mData, static_cast<std::size_t>(mLogicalLength));
    std::string units;
    unicode::appendUtf16Le(units, wide.data(), wide.size());
    reAllocate(units.size());
    clear();
    write(units.data(), units.size());
}

// --- scrambling ------------------------------------------------------------------------------------------

void binaryBuffer::bitwiseXor(const string& key) {
    const std::string k = key.getMBCS();
    if (k.empty())
        return;
    for (std::uint64_t i = 0; i < mLogicalLength; ++i)
        mData[i] = static_cast<char>(mData[i] ^ k[i % k.size()]);
}

void binaryBuffer::xxor(const string& key) {
    const std::string k = key.getMBCS();
    if (k.empty())
        return;
    std::uint32_t state = ~detail::crc32Update(0xFFFFFFFFu, k.data(), k.size());
    if (state == 0)
        state = 0x9E3779B9u; // xorshift never leaves 0
    for (std::uint64_t i = 0; i < mLogicalLength; ++i)
        mData[i] = static_cast<char>(mData[i] ^ k[i % k.size()] ^ static_cast<char>(nextStreamWord(state) >> 24));
}

void binaryBuffer::xxorDontUseAnyLonger(const string& key) {
    const std::string k = key.getMBCS();
    if (k.empty())
        return;
    for (std::uint64_t i = 0; i < mLogicalLength; ++i)
        mData[i] = static_cast<char>(mData[i] ^ k[i % k.size()] ^ static_cast<char>(i & 0xFF));
}

// --- files as base64 text -------------------------------------------------------------------------------

void binaryBufferUtil::readFile(const file& target, const string& text, bool skipEmpty) {
    if (skipEmpty && text.empty())
        return;
    // Narrowed into the buffer and decoded there, in place.
    binaryBuffer buffer(text.size());
    char* bytes = buffer.data();
    for (std::size_t i = 0; i < text.size(); ++i)
        bytes[i] = static_cast<char>(static_cast<std::uint32_t>(text[i]) & 0xFF);
    buffer.setLogicalLength(decodeBase64(bytes, text.size(), bytes));
    buffer.writeToFile(target, false);
}

void binaryBufferUtil::writeFile(const file& source, string& text) {
    binaryBuffer buffer;
    if (!buffer.readFromFile(source) || !buffer.base64Encode())
        return;
    const std::size_t start = text.size(), length = static_cast<std::size_t>(buffer.logicalLength());
    text.resize(start + length);
    const char* chars = buffer.data();
    for (std::size_t i = 0; i < length; ++i)
        text[start + i] = static_cast<wchar_t>(static_cast<unsigned char>(chars[i]));
}

// --- CRC-32 ------------------------------------------------------------------------------------------------

calcCrc32::calcCrc32(unsigned long start) : mValue(start & 0xFFFFFFFFul) {}

void calcCrc32::crc(const void* data, std::uint64_t n) {
    if (data == nullptr)
        return;
    mValue = detail::crc32Update(static_cast<std::uint32_t>(mValue), data, static_cast<std::size_t>(n));
}

void calcCrc32::setValue(unsigned long value) {
    mValue = value & 0xFFFFFFFFul;
}

CCrc32Dynamic::CCrc32Dynamic() = default;

CCrc32Dynamic::~CCrc32Dynamic() = default;

unsigned long CCrc32Dynamic::tableEntry(unsigned char i) {
    return detail::crc32Table[i];
}

unsigned long CCrc32Dynamic::crc32(const void* data, std::uint64_t n) {
    if (data == nullptr)
        return 0;
    return ~detail::crc32Update(0xFFFFFFFFu, data, static_cast<std::size_t>(n)) & 0xFFFFFFFFul;
}

} // namespace vx
