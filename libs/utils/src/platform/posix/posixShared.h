// Helpers shared by the POSIX implementations (internal to the platform layer).
#pragma once

#include <cstddef>
#include <string>
#include <sys/stat.h>
#include <sys/types.h>

namespace vx::platform::posix {

// Native names and texts are bytes. They are read as UTF-8; each byte of a sequence that is not
// valid UTF-8 becomes the code point U+DC80 + byte (those code points never come from valid
// UTF-8), so every byte string survives the trip to wide text and back unchanged.
std::wstring nativeToWide(const char* text, std::size_t length);
inline std::wstring nativeToWide(const std::string& text) { return nativeToWide(text.data(), text.size()); }

// The way back: U+DC80..U+DCFF become their byte again, everything else UTF-8. False for text
// that no native name can hold: a null character, another surrogate, or a value above U+10FFFF.
bool wideToNative(const wchar_t* text, std::size_t length, std::string& out);
inline bool wideToNative(const std::wstring& text, std::string& out) {
    return wideToNative(text.data(), text.size(), out);
}

// toNativePath; with lastAsGiven the last component keeps its name as given even where an entry
// differs from it only by case (the new name of a rename that changes case).
bool mapWindowsPath(const std::wstring& windowsForm, std::string& native, bool lastAsGiven);

// The drive table: "C:" is "/" unless VX_DRIVES names another root for it, and VX_DRIVES adds
// letters: "D=/mnt/data;E=/media/usb" (items "L=/absolute/root", separated by ';'; malformed
// items are ignored; a later item for a letter wins). The variable is read at every call and
// parsed again when its text changed, so a change takes effect at once.
// A share "\\server\share\rest" lies at $VX_UNC_ROOT/server/share/rest; without VX_UNC_ROOT
// a share cannot be reached and fails like a missing file.
//
// toNativePath (paths.h) maps Windows-form text through this table: "\\?\" prefixes are
// accepted; relative forms resolve as Windows does ("\x" on the current drive, "x" in the
// current directory, "D:x" in the current directory when that lies on D, else at the root of D).
// Where the exact native path does not exist, each component that does not exist as given is
// matched against its directory's entries without regard to case (the smallest name in byte
// order when several match); from the first component that matches nothing, names stay as
// given, so a new entry is made under the resolved parent with the name as given. It fails,
// with errno set, also for a surrogate outside U+DC80..U+DCFF and a value above U+10FFFF.

// The native root of a drive letter (either case); false when the table has no such letter.
bool driveRoot(wchar_t letter, std::string& root);

// The letters of the drive table in ascending order.
std::wstring driveLetters();

// A native absolute path to Windows form: the drive whose root is the longest prefix of the
// path (at a component boundary; among equal roots the first letter) gives the letter, or
// $VX_UNC_ROOT when it is longer still and the path names at least a server and a share.
// Repeated '/' collapse, "." and ".." resolve as text, a trailing '/' goes; a drive's root itself
// is "X:\". False for a relative path and for one under no root.
bool fromNativePath(const std::string& native, std::wstring& windowsForm);

// The read-only attribute of Windows: the owner may not write.
inline bool isReadOnly(const struct stat& info) { return (info.st_mode & S_IWUSR) == 0; }

// Descriptors: a regular file only (O_NONBLOCK keeps a FIFO from waiting for its peer); every
// byte written or false; reads that stop early only at the end; a close that never closes twice.
int openRegular(const std::string& native, int flags, mode_t mode);
bool writeAll(int fd, const void* data, std::size_t size);
bool readSome(int fd, void* buffer, std::size_t size, std::size_t& done);
bool closeDescriptor(int fd);

// The value of a variable of the process environment, read under the library's environment
// lock (glibc's getenv races with setenv). False when it is not set.
bool readEnvironment(const char* name, std::string& value);

} // namespace vx::platform::posix
