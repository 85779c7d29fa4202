// Windows-form paths and the system's own paths (internal).
//
// The library speaks Windows path text everywhere ("C:\dir\name", "\\server\share\name"). On
// Windows the system takes that text as it is. Elsewhere the text is mapped to a native path
// here, and only here (see posix/posixShared.h for how).
#pragma once

#include <string>
#include <vector>

namespace vx::platform {

// A path as the system's own calls take it: UTF-16 on Windows, bytes elsewhere.
#ifdef _WIN32
using nativePath = std::wstring;
#else
using nativePath = std::string;
#endif

// The current directory in Windows form ("C:\home\u"); false when it cannot be read or lies under
// no drive.
bool currentDirectory(std::wstring& windowsForm);

// The letter ('A' to 'Z') of the drive that holds the current directory; 0 when there is none.
wchar_t currentDriveLetter();

// Whether a drive of that letter (either case) exists.
bool driveExists(wchar_t letter);

// Windows-form text to the path by which the system knows the entry. Both delimiters count; "."
// and ".." are resolved as text and never climb above a drive's root or a share. False for an
// unknown drive, an unreachable share, and text no native path can hold (a null character).
bool toNativePath(const std::wstring& windowsForm, nativePath& native);

// --- path text, alike on every system --------------------------------------------------------

bool isPathDelimiter(wchar_t c); // '\\' or '/'
// The upper-case drive letter of c; 0 for anything but 'A' to 'Z' in either case.
wchar_t upperDriveLetter(wchar_t c);

// "\\?\C:\x" and "\\?\UNC\server\share\x" are the long forms of "C:\x" and
// "\\server\share\x"; any other text comes back as it is.
std::wstring withoutLongPrefix(const std::wstring& path);

// Windows-form text made absolute as Windows does it: "\x" on the current directory's drive or
// share, "x" in the current directory, "D:x" in the current directory when D is its drive and at
// the root of D otherwise (the per-drive directories of the command shell play no part). False
// when the current directory is needed and cannot be read.
bool makeAbsolute(const std::wstring& text, std::wstring& absolute);

// The components of path from position start on, "." and empty ones dropped and ".." removing the
// one before it. The first `fixed` components (server and share) are kept as they are and ".."
// never removes them. False when one of them is missing, empty, "." or "..": such a server or
// share is none, so that the device namespace ("\\.\") stays closed.
bool splitComponents(const std::wstring& path, std::size_t start, std::size_t fixed,
                       std::vector<std::wstring>& parts);

} // namespace vx::platform
