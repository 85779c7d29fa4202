// Windows-form paths and the system's own paths (internal).
//
// The library speaks Windows path text everywhere ("C:\dir\name", "\\server\share\name"). On
// Windows the system takes that text as it is. Elsewhere the text is mapped to a native path
// here, and only here (see posix/posixShared.h for how).
#pragma once

#include <string>

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

} // namespace vx::platform
