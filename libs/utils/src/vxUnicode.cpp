#include "vxUnicode.h"

#include "detail/cpuFeatures.h"

#include <algorithm>
#include <cstdint>
#include <cstring>

#ifdef VX_HAVE_SSE2
#include <emmintrin.h>
#endif

namespace vx::unicode {

namespace {

bool isCharacter(std::uint32_t c) {
    return c <= 0x10FFFF && (c < 0xD800 || c > 0xDFFF);
}
bool isHighSurrogate(std::uint32_t u) {
    return u >= 0xD800 && u <= 0xDBFF;
}
bool isLowSurrogate(std::uint32_t u) {
    return u >= 0xDC00 && u <= 0xDFFF;
}

// The code point at text[i] (a surrogate pair where wide text is UTF-16, then i moves past its
// first half); U+FFFD for a unit that is no character.
std::uint32_t codePointAt(const wchar_t* text, std::size_t length, std::size_t& i) {
    std::uint32_t c = static_cast<std::uint32_t>(text[i]);
    if (kWideIsUtf16) {
        c &= 0xFFFF;
        if (isHighSurrogate(c) && i + 1 < length && isLowSurrogate(static_cast<std::uint32_t>(text[i + 1]) & 0xFFFF)) {
            ++i;
            return 0x10000 + ((c - 0xD800) << 10) + ((static_cast<std::uint32_t>(text[i]) & 0xFFFF) - 0xDC00);
        }
    }
    return isCharacter(c) ? c : replacementCharacter;
}


// The range the byte after a lead byte may take (the later ones are always 0x80 to 0xBF).
struct leadInfo {
    int length; // 0: not a lead byte
    unsigned char secondLow, secondHigh;
};

leadInfo infoOf(unsigned char lead) {
    if (lead < 0x80) return {1, 0, 0};
    if (lead < 0xC2) return {0, 0, 0};
    if (lead < 0xE0) return {2, 0x80, 0xBF};
    if (lead == 0xE0) return {3, 0xA0, 0xBF};
    if (lead == 0xED) return {3, 0x80, 0x9F};
    if (lead < 0xF0) return {3, 0x80, 0xBF};
    if (lead == 0xF0) return {4, 0x90, 0xBF};
    if (lead < 0xF4) return {4, 0x80, 0xBF};
    if (lead == 0xF4) return {4, 0x80, 0x8F};
    return {0, 0, 0};
}

// Most text is mostly ASCII, so it is measured and narrowed a block of units at a time (SSE2
// where the processor has it, as every x86-64 does): 16 bytes of wide units.
constexpr std::size_t kAsciiBlock = 16 / sizeof(wchar_t);

// Whether the kAsciiBlock units at text are all ASCII; if so, and out is given, they are written
// there as bytes.
inline bool asciiBlock(const wchar_t* text, char* out) {
#ifdef VX_HAVE_SSE2
    const __m128i units = _mm_loadu_si128(reinterpret_cast<const __m128i*>(text));
    const __m128i zero = _mm_setzero_si128();
    if constexpr (sizeof(wchar_t) == 4) {
        if (_mm_movemask_epi8(_mm_cmpeq_epi32(_mm_and_si128(units, _mm_set1_epi32(~0x7F)), zero)) != 0xFFFF)
            return false;
        if (out) {
            const __m128i halves = _mm_packs_epi32(units, units);
            const int bytes = _mm_cvtsi128_si32(_mm_packus_epi16(halves, halves));
            std::memcpy(out, &bytes, 4);
        }
    } else {
        if (_mm_movemask_epi8(_mm_cmpeq_epi16(_mm_and_si128(units, _mm_set1_epi16(~0x7F)), zero)) != 0xFFFF)
            return false;
        if (out)
            _mm_storel_epi64(reinterpret_cast<__m128i*>(out), _mm_packus_epi16(units, units));
    }
    return true;
#else
    std::uint32_t any = 0;
    for (std::size_t k = 0; k < kAsciiBlock; ++k)
        any |= static_cast<std::uint32_t>(text[k]);
    if (any >= 0x80)
        return false;
    for (std::size_t k = 0; out && k < kAsciiBlock; ++k)
        out[k] = static_cast<char>(text[k]);
    return true;
#endif
}

// The UTF-8 bytes of the code point at text[i] (moving i past the first half of a pair).
std::size_t utf8LengthAt(const wchar_t* text, std::size_t length, std::size_t& i) {
    if (static_cast<std::uint32_t>(text[i]) < 0x80)
        return 1;
    const std::uint32_t c = codePointAt(text, length, i);
    return c < 0x800 ? 2 : c < 0x10000 ? 3 : 4;
}

// Writes the code point at text[i] as UTF-8 at out, as utf8LengthAt measures it.
char* writeUtf8At(char* out, const wchar_t* text, std::size_t length, std::size_t& i) {
    if (static_cast<std::uint32_t>(text[i]) < 0x80) {
        *out++ = static_cast<char>(text[i]);
        return out;
    }
    const std::uint32_t c = codePointAt(text, length, i);
    if (c < 0x800) {
        *out++ = static_cast<char>(0xC0 | (c >> 6));
        *out++ = static_cast<char>(0x80 | (c & 0x3F));
    } else if (c < 0x10000) {
        *out++ = static_cast<char>(0xE0 | (c >> 12));
        *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        *out++ = static_cast<char>(0x80 | (c & 0x3F));
    } else {
        *out++ = static_cast<char>(0xF0 | (c >> 18));
        *out++ = static_cast<char>(0x80 | ((c >> 12) & 0x3F));
        *out++ = static_cast<char>(0x80 | ((c >> 6) & 0x3F));
        *out++ = static_cast<char>(0x80 | (c & 0x3F));
    }
    return out;
}

} // namespace

std::size_t putCodePoint(wchar_t* out, std::uint32_t c) {
    if (kWideIsUtf16 && c > 0xFFFF) {
        out[0] = static_cast<wchar_t>(0xD800 + ((c - 0x10000) >> 10));
        out[1] = static_cast<wchar_t>(0xDC00 + ((c - 0x10000) & 0x3FF));
        return 2;
    }
    out[0] = static_cast<wchar_t>(c);
    return 1;
}

std::size_t utf8Length(const wchar_t* text, std::size_t length) {
    std::size_t bytes = 0, i = 0;
    // A block that is not all ASCII is taken unit by unit (a pair may end behind it).
    while (i + kAsciiBlock <= length) {
        if (asciiBlock(text + i, nullptr)) {
            bytes += kAsciiBlock;
            i += kAsciiBlock;
            continue;
        }
        for (const std::size_t end = i + kAsciiBlock; i < end; ++i)
            bytes += utf8LengthAt(text, length, i);
    }
    for (; i < length; ++i)
        bytes += utf8LengthAt(text, length, i);
    return bytes;
}

char* writeUtf8(char* out, const wchar_t* text, std::size_t length) {
    std::size_t i = 0;
    while (i + kAsciiBlock <= length) {
        if (asciiBlock(text + i, out)) {
            out += kAsciiBlock;
            i += kAsciiBlock;
            continue;
        }
        for (const std::size_t end = i + kAsciiBlock; i < end; ++i)
            out = writeUtf8At(out, text, length, i);
    }
    for (; i < length; ++i)
        out = writeUtf8At(out, text, length, i);
    return out;
}

void appendUtf8(std::string& out, const wchar_t* text, std::size_t length) {
    const std::size_t start = out.size();
    out.resize(start + utf8Length(text, length));
    writeUtf8(&out[0] + start, text, length);
}

void appendFromUtf8(std::wstring& out, const char* text, std::size_t length) {
    // Never more units than bytes (a pair comes from four bytes), so the room is made once and
    // filled through a pointer; that is what keeps long documents fast.
    const std::size_t start = out.size();
    out.resize(start + length);
    wchar_t* const first = &out[0] + start;
    out.resize(start + static_cast<std::size_t>(writeFromUtf8(first, text, length) - first));
}

std::uint32_t decodeUtf8At(const char* text, std::size_t length, std::size_t& taken) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    const unsigned char lead = bytes[0];
    const leadInfo info = infoOf(lead);
    taken = 1;
    if (info.length == 0)
        return replacementCharacter;
    std::uint32_t c = lead & (0xFF >> (info.length + 1));
    for (int k = 1; k < info.length; ++k) {
        if (taken >= length)
            return replacementCharacter;
        const unsigned char b = bytes[taken];
        const unsigned char low = k == 1 ? info.secondLow : 0x80;
        const unsigned char high = k == 1 ? info.secondHigh : 0xBF;
        // A broken sequence is replaced as a whole, and decoding resumes at the byte that broke it.
        if (b < low || b > high)
            return replacementCharacter;
        c = (c << 6) | (b & 0x3F);
        ++taken;
    }
    return c;
}

std::size_t utf8WholePrefix(const char* text, std::size_t length) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    // A lead byte never continues an earlier sequence, so a cut before one is always safe; only
    // a lead among the last three bytes can begin a sequence that the end cuts.
    for (std::size_t k = length < 3 ? length : 3; k > 0; --k)
        if (static_cast<std::size_t>(infoOf(bytes[length - k]).length) > k)
            return length - k;
    return length;
}

wchar_t* writeFromUtf8(wchar_t* to, const char* text, std::size_t length) {
    const auto* bytes = reinterpret_cast<const unsigned char*>(text);
    std::size_t i = 0;
    while (i < length) {
        // ASCII, the common case, sixteen bytes at a time, tested and widened in one pass by a
        // loop the compiler vectorises.
        if (length - i >= 16) {
            std::uint64_t low, high;
            std::memcpy(&low, bytes + i, 8);
            std::memcpy(&high, bytes + i + 8, 8);
            if (((low | high) & 0x8080808080808080ull) == 0) {
                for (std::size_t k = 0; k < 16; ++k)
                    to[k] = static_cast<wchar_t>(bytes[i + k]);
                to += 16;
                i += 16;
                continue;
            }
        }
        // A block with another byte, and the end: sequence by sequence (the last may reach
        // behind the block).
        for (const std::size_t end = std::min(length, i + 16); i < end;) {
            if (bytes[i] < 0x80) {
                *to++ = static_cast<wchar_t>(bytes[i++]);
                continue;
            }
            std::size_t taken = 0;
            to += putCodePoint(to, decodeUtf8At(text + i, length - i, taken));
            i += taken;
        }
    }
    return to;
}


std::size_t utf16LeLength(const wchar_t* text, std::size_t length) {
    std::size_t bytes = 0;
    for (std::size_t i = 0; i < length; ++i)
        bytes += codePointAt(text, length, i) > 0xFFFF ? 4 : 2;
    return bytes;
}

char* writeUtf16Le(char* out, const wchar_t* text, std::size_t length) {
    const auto unit = [&out](std::uint32_t u) {
        *out++ = static_cast<char>(u & 0xFF);
        *out++ = static_cast<char>(u >> 8);
    };
    for (std::size_t i = 0; i < length; ++i) {
        const std::uint32_t c = codePointAt(text, length, i);
        if (c > 0xFFFF) {
            unit(0xD800 + ((c - 0x10000) >> 10));
            unit(0xDC00 + ((c - 0x10000) & 0x3FF));
        } else {
            unit(c);
        }
    }
    return out;
}

void appendUtf16Le(std::string& out, const wchar_t* text, std::size_t length) {
    const std::size_t start = out.size();
    out.resize(start + utf16LeLength(text, length));
    writeUtf16Le(&out[0] + start, text, length);
}

void appendFromUtf16Le(std::wstring& out, const unsigned char* bytes, std::size_t length) {
    const std::size_t units = length / 2;
    const std::size_t start = out.size();
    out.resize(start + units + 1);
    wchar_t* const first = &out[0] + start;
    wchar_t* to = first;
    const auto unitAt = [bytes](std::size_t i) {
        return static_cast<std::uint32_t>(bytes[2 * i]) | static_cast<std::uint32_t>(bytes[2 * i + 1]) << 8;
    };
    for (std::size_t i = 0; i < units; ++i) {
        const std::uint32_t unit = unitAt(i);
        if (unit < 0xD800 || unit > 0xDFFF) {
            *to++ = static_cast<wchar_t>(unit);
        } else if (isHighSurrogate(unit) && i + 1 < units && isLowSurrogate(unitAt(i + 1))) {
            to += putCodePoint(to, 0x10000 + ((unit - 0xD800) << 10) + (unitAt(i + 1) - 0xDC00));
            ++i;
        } else {
            *to++ = replacementCharacter;
        }
    }
    if (length % 2 != 0)
        *to++ = replacementCharacter;
    out.resize(start + static_cast<std::size_t>(to - first));
}

std::size_t utf16LeWholePrefix(const unsigned char* bytes, std::size_t length) {
    std::size_t whole = length - length % 2;
    if (whole >= 2 && isHighSurrogate(static_cast<std::uint32_t>(bytes[whole - 2]) | static_cast<std::uint32_t>(bytes[whole - 1]) << 8))
        whole -= 2;
    return whole;
}

} // namespace vx::unicode
