// The library's only door to the operating system.
//
// Library logic calls these functions and nothing of the system directly; posix/ implements
// them for Linux and other POSIX systems. Everything here is internal to libvxUtils.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>

namespace vx::platform {

// --- text -----------------------------------------------------------------------------------

// Wide text to the active narrow code page and back (UTF-8 on POSIX systems). Units that are
// not characters, and byte sequences that are not valid, become U+FFFD.
std::string wideToActiveCodePage(const wchar_t* text, std::size_t length);
std::wstring activeCodePageToWide(const char* text, std::size_t length);

// Narrow text in the encoding of the C locale's LC_CTYPE to wide text, as mbstowcs does. A byte
// that does not start a valid character is taken as the character of the same value.
std::wstring localeMultiByteToWide(const char* text);

// --- threads ----------------------------------------------------------------------------------

// The system's id of the calling thread.
std::uint64_t currentThreadId();

// Lets other threads run; used by spin loops that wait long.
void yieldThread();

// --- recursive timed mutex --------------------------------------------------------------------

struct recursiveMutex;

recursiveMutex* createRecursiveMutex();
void destroyRecursiveMutex(recursiveMutex* m);
bool lockRecursiveMutex(recursiveMutex* m);
// Waits at most the given time; 0 only tries.
bool lockRecursiveMutexFor(recursiveMutex* m, unsigned int milliseconds);
// False when the calling thread does not hold the mutex.
bool unlockRecursiveMutex(recursiveMutex* m);

// --- presentation -------------------------------------------------------------------------------

// Presents an assertion text to a person: here, on standard error.
void presentAssertion(const wchar_t* caption, const wchar_t* text);

} // namespace vx::platform

// --- identity of this process and computer (guid creation) --------------------------------------

namespace vx::platform {

// The system's id of the calling process; it changes in the child of a fork.
std::uint32_t currentProcessId();

// The 6-byte hardware address of a network card of this computer, for time-based guids. The
// loopback device and addresses that are zero or multicast do not count. Among several cards
// the choice is stable: a globally assigned address before a locally assigned one, a card
// that is up before one that is down, then the smaller device name. False when there is none.
bool networkCardAddress(std::uint8_t (&address)[6]);

} // namespace vx::platform

// --- numeric locale (type conversions) ------------------------------------------------------------

namespace vx::platform {

// Switches the number conventions of the calling thread, until the scope ends, to those of the
// "C" locale or to those of the user's locale (as the environment names it, read once on first
// use; "C" if it cannot be loaded). Only the calling thread is affected.
class scopedNumericLocale {
public:
    explicit scopedNumericLocale(bool userLocale);
    ~scopedNumericLocale();
    scopedNumericLocale(const scopedNumericLocale&) = delete;
    scopedNumericLocale& operator=(const scopedNumericLocale&) = delete;

private:
    void* mpPrevious; // the thread's locale before the switch; null when nothing was switched
};

// The decimal separator of the user's locale, at most 16 characters; "." if it is unknown.
std::wstring systemDecimalSeparator();

} // namespace vx::platform

// --- paths: the drive table and the current directory ----------------------------------------------
//
// The library speaks Windows path text everywhere; these functions and the native-path mapping
// below are the only place where that text meets the system's own paths.

namespace vx::platform {

// The current directory in Windows form ("C:\home\u"); false when it cannot be read or lies under
// no drive root.
bool currentDirectory(std::wstring& windowsForm);

// The letter ('A' to 'Z') of the drive that holds the current directory; 0 when there is none.
wchar_t currentDriveLetter();

} // namespace vx::platform
