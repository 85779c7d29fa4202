// Text in the system's narrow encodings (internal).
#pragma once

#include <cstddef>
#include <string>

namespace vx::platform {

// Wide text to the active narrow code page and back (UTF-8 on POSIX systems, the ANSI code page
// on Windows). Units that are not characters, and byte sequences that are not valid, become
// U+FFFD.
std::string wideToActiveCodePage(const wchar_t* text, std::size_t length);
std::wstring activeCodePageToWide(const char* text, std::size_t length);

} // namespace vx::platform
