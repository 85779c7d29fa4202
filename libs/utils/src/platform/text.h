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
std::wstring activeCodePageToWide(const char* text, std::size_t length);

// The one case folding of every case-insensitive comparison of names and keys: the simple
// upper-case mapping of Unicode (as Windows file systems compare names), the same in every
// process locale. ASCII is answered here; other characters ask the system's Unicode tables.
wchar_t foldNonAsciiCase(wchar_t c);
inline wchar_t foldCase(wchar_t c) {
    if (static_cast<std::uint32_t>(c) < 0x80)
        return c >= L'a' && c <= L'z' ? static_cast<wchar_t>(c - 0x20) : c;
    return foldNonAsciiCase(c);
}

} // namespace vx::platform
