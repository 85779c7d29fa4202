// Text conversions on Windows: the active code page through the system's converters.
#include "platform/text.h"
#include "vxUnicode.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <climits>

namespace vx::platform {

namespace {

// The converters take int lengths: longer text goes in pieces that never split a pair.
constexpr std::size_t kPiece = INT_MAX / 4;

} // namespace

std::string wideToActiveCodePage(const wchar_t* text, std::size_t length) {
    std::string out;
    const UINT codePage = GetACP();
    if (codePage == CP_UTF8) {
        unicode::appendUtf8(out, text, length);
        return out;
    }
    while (length > 0) {
        std::size_t n = length < kPiece ? length : kPiece;
        if (n < length && text[n - 1] >= 0xD800 && text[n - 1] <= 0xDBFF)
            --n;
        const int size = WideCharToMultiByte(codePage, 0, text, static_cast<int>(n), nullptr, 0, nullptr, nullptr);
        if (size > 0) {
            const std::size_t at = out.size();
            out.resize(at + static_cast<std::size_t>(size));
            WideCharToMultiByte(codePage, 0, text, static_cast<int>(n), &out[at], size, nullptr, nullptr);
        }
        text += n;
        length -= n;
    }
    return out;
}

void appendFromActiveCodePage(std::wstring& out, const char* text, std::size_t length) {
    const UINT codePage = GetACP();
    if (codePage == CP_UTF8) {
        unicode::appendFromUtf8(out, text, length);
        return;
    }
    while (length > 0) {
        // Single- and double-byte code pages: a piece ends before a lead byte that would be cut.
        std::size_t n = length < kPiece ? length : kPiece;
        if (n < length)
            n = activeCodePageWholePrefix(text, n);
        const int size = MultiByteToWideChar(codePage, 0, text, static_cast<int>(n), nullptr, 0);
        if (size > 0) {
            const std::size_t at = out.size();
            out.resize(at + static_cast<std::size_t>(size));
            MultiByteToWideChar(codePage, 0, text, static_cast<int>(n), &out[at], size);
        }
        text += n;
        length -= n;
    }
}

std::size_t activeCodePageWholePrefix(const char* text, std::size_t length) {
    const UINT codePage = GetACP();
    if (codePage == CP_UTF8)
        return unicode::utf8WholePrefix(text, length);
    CPINFO info;
    if (!GetCPInfo(codePage, &info) || info.MaxCharSize < 2)
        return length;
    // A trail byte may look like a lead byte, so the pairs are followed from the start.
    std::size_t i = 0;
    while (i < length) {
        const std::size_t width = IsDBCSLeadByteEx(codePage, static_cast<BYTE>(text[i])) ? 2 : 1;
        if (i + width > length)
            break;
        i += width;
    }
    return i;
}

wchar_t foldNonAsciiCase(wchar_t c) {
    // The invariant locale's simple mapping; a unit it cannot map (a lone surrogate) stays.
    wchar_t upper = c;
    if (::LCMapStringEx(LOCALE_NAME_INVARIANT, LCMAP_UPPERCASE, &c, 1, &upper, 1, nullptr, nullptr, 0) != 1)
        return c;
    return upper;
}

} // namespace vx::platform
