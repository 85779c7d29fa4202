// Text in the system's narrow encodings (internal).
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vx::platform {

// Wide text to the active narrow code page and back (UTF-8 on POSIX systems, the ANSI code page
// on Windows). Units that are not characters, and byte sequences that are not valid, become
// U+FFFD.
std::string wideToActiveCodePage(const wchar_t* text, std::size_t length);
void appendFromActiveCodePage(std::wstring& out, const char* text, std::size_t length);
inline std::wstring activeCodePageToWide(const char* text, std::size_t length) {
    std::wstring out;
    appendFromActiveCodePage(out, text, length);
    return out;
}
// The longest beginning of text in the active code page that does not end inside a character,
// so that text read in blocks converts, block by block, as the whole would.
std::size_t activeCodePageWholePrefix(const char* text, std::size_t length);

// The one case folding of every case-insensitive comparison of names and keys: the simple
// upper-case mapping of Unicode (as Windows file systems compare names), the same in every
// process locale. ASCII is answered here; other characters ask the system's Unicode tables.
wchar_t foldNonAsciiCase(wchar_t c);
inline wchar_t foldCase(wchar_t c) {
    if (static_cast<std::uint32_t>(c) < 0x80)
        return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - 0x20) : c;
    return foldNonAsciiCase(c);
}

// The folded form of a text, as a key under which its spellings in any case meet.
inline std::wstring foldedText(std::wstring text) {
    for (wchar_t& c : text)
        c = foldCase(c);
    return text;
}

// The value of a hexadecimal digit of either case; -1 for any other character.
inline int hexDigitValue(wchar_t c) {
    if (c >= L'0' && c <= L'9')
        return c - L'0';
    if (c >= L'a' && c <= L'f')
        return c - L'a' + 10;
    if (c >= L'A' && c <= L'F')
        return c - L'A' + 10;
    return -1;
}

} // namespace vx::platform
