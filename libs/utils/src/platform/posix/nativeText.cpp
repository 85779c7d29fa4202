// The reversible mapping between native byte names and wide text.
#include "platform/posix/posixShared.h"

#include <cstdint>

namespace vx::platform::posix {

namespace {

constexpr wchar_t kEscapeBase = 0xDC00; // an invalid byte b (always >= 0x80) becomes kEscapeBase + b

// Length of the valid UTF-8 sequence at p (at most n bytes), 0 if there is none; the code point
// goes to cp. Follows the table of well-formed byte sequences: no overlong forms, no
// surrogates, nothing above U+10FFFF.
std::size_t decodeOne(const unsigned char* p, std::size_t n, char32_t& cp) {
    const unsigned char b = p[0];
    std::size_t length = 0;
    unsigned char low = 0x80, high = 0xBF; // allowed range of the second byte
    if (b >= 0xC2 && b <= 0xDF) {
        length = 2;
        cp = b & 0x1F;
    } else if (b >= 0xE0 && b <= 0xEF) {
        length = 3;
        cp = b & 0x0F;
        if (b == 0xE0) low = 0xA0;
        if (b == 0xED) high = 0x9F;
    } else if (b >= 0xF0 && b <= 0xF4) {
        length = 4;
        cp = b & 0x07;
        if (b == 0xF0) low = 0x90;
        if (b == 0xF4) high = 0x8F;
    } else {
        return 0;
    }
    if (n < length || p[1] < low || p[1] > high)
        return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if (i > 1 && (p[i] < 0x80 || p[i] > 0xBF))
            return 0;
        cp = (cp << 6) | (p[i] & 0x3F);
    }
    return length;
}

} // namespace

std::wstring nativeToWide(const char* text, std::size_t length) {
    std::wstring out;
    out.reserve(length);
    const auto* p = reinterpret_cast<const unsigned char*>(text);
    std::size_t i = 0;
    while (i < length) {
        if (p[i] < 0x80) {
            out.push_back(static_cast<wchar_t>(p[i++]));
            continue;
        }
        char32_t cp = 0;
        const std::size_t n = decodeOne(p + i, length - i, cp);
        if (n == 0) {
            // One byte at a time, so the bytes that follow get their own chance to start a character.
            out.push_back(static_cast<wchar_t>(kEscapeBase + p[i++]));
            continue;
        }
        out.push_back(static_cast<wchar_t>(cp));
        i += n;
    }
    return out;
}

bool wideToNative(const wchar_t* text, std::size_t length, std::string& out) {
    std::string result;
    result.reserve(length);
    for (std::size_t i = 0; i < length; ++i) {
        const auto cp = static_cast<std::uint32_t>(text[i]);
        if (cp == 0 || cp > 0x10FFFF)
            return false;
        if (cp < 0x80) {
            result.push_back(static_cast<char>(cp));
        } else if (cp >= 0xDC80 && cp <= 0xDCFF) {
            result.push_back(static_cast<char>(cp - kEscapeBase));
        } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            return false;
        } else if (cp < 0x800) {
            result.push_back(static_cast<char>(0xC0 | (cp >> 6)));
            result.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else if (cp < 0x10000) {
            result.push_back(static_cast<char>(0xE0 | (cp >> 12)));
            result.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            result.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else {
            result.push_back(static_cast<char>(0xF0 | (cp >> 18)));
            result.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
            result.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            result.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        }
    }
    out.swap(result);
    return true;
}

} // namespace vx::platform::posix
