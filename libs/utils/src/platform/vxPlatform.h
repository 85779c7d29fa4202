// The library's only door to the operating system.
//
// Library logic calls these functions and nothing of the system directly; posix/ implements
// them for Linux and other POSIX systems. Everything here is internal to libvxUtils.
#pragma once


#include <cstddef>
#include <cstdint>
#include <string>
#include <utility>
#include <vector>

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

// The drive table: "C:" is "/" unless VX_DRIVES names another root for it, and VX_DRIVES adds
// letters: "D=/mnt/data;E=/media/usb" (items "L=/absolute/root", separated by ';'; malformed
// items are ignored; a later item for a letter wins). The variable is read at every call and
// parsed again when its text changed, so a change takes effect at once.
// A share "\\server\share\rest" lies at $VX_UNC_ROOT/server/share/rest; without VX_UNC_ROOT
// a share cannot be reached and fails like a missing file.
//
// Native names are bytes and Windows-form text is wide: names are read as UTF-8, and each byte
// of a sequence that is not valid UTF-8 stands as U+DC80 + byte, so every native name survives
// the trip to wide text and back.

// These functions carry so that the library's own tests can reach them; they stay out of
// the public headers.

// The native root of a drive letter (either case); false when the table has no such letter.
bool driveRoot(wchar_t letter, std::string& root);

// The letters of the drive table in ascending order.
std::wstring driveLetters();

// Windows-form text to a native path. Both delimiters count; "." and ".." are resolved as text
// and never climb above a drive's root or a share; "\\?\" prefixes are accepted. Relative
// forms resolve as Windows does: "\x" on the current drive, "x" in the current directory, "D:x"
// in the current directory when that lies on D, else at the root of D. Where the exact native
// path does not exist, each component that does not exist as given is matched against its
// directory's entries without regard to case (the smallest name in byte order when several
// match); from the first component that matches nothing, names stay as given, so a new entry
// is made under the resolved parent with the name as given. False, with errno set, for an
// unknown drive, an unreachable share, and text no native name can hold (a null character,
// a surrogate outside U+DC80..U+DCFF, a value above U+10FFFF).
bool toNativePath(const std::wstring& windowsForm, std::string& native);

// A native absolute path to Windows form: the drive whose root is the longest prefix of the
// path (at a component boundary; among equal roots the first letter) gives the letter, or
// $VX_UNC_ROOT when it is longer still and the path names at least a server and a share.
// Repeated '/' collapse, "." and ".." resolve as text, a trailing '/' goes; a drive's root itself
// is "X:\". False for a relative path and for one under no root.
bool fromNativePath(const std::string& native, std::wstring& windowsForm);

} // namespace vx::platform

// --- environment and identity ----------------------------------------------------------------------
//
// Names and values cross to the system as native text (see the name mapping above). Every access
// of the library to the environment goes through one lock; an application that calls setenv or
// putenv itself bypasses it.

namespace vx::platform {

// False when the name is null, empty, holds '=' or the variable is not set.
bool environmentVariable(const wchar_t* name, std::wstring& value);

// Takes "name=value" as _wputenv does: the name ends at the first '='; nothing behind it removes
// the variable. False when there is no '=', the name is empty, or the text cannot be stored.
bool putEnvironment(const std::wstring& assignment);

// Every variable of the process as name and value, in the order of the environment block.
void environmentVariables(std::vector<std::pair<std::wstring, std::wstring>>& variables);

// The host name as the system gives it; false when it has none.
bool computerName(std::wstring& name);

// The account name of the effective user, else $USER; false when neither is known.
bool userName(std::wstring& name);

// Whether the process runs in a 32-bit emulation layer of a 64-bit system.
bool processRunsEmulated();

// Sleeps at least the given time; interruptions by signals do not shorten it.
void sleepMilliseconds(unsigned int milliseconds);

} // namespace vx::platform

// --- file system on Windows-form paths ---------------------------------------------------------------
//
// Each function maps its path(s) with toNativePath and acts on the native entry; failure is a
// false result with errno set, never an exception. Symbolic links are followed, except by
// removeFile, which removes the link. The read-only attribute (the owner may not write) is
// honoured as Windows honours it, for every user including the superuser: a read-only file is not
// writeable by accessPath, cannot be opened for writing, removed, overwritten by copyFile or have
// its time set. These functions carry so that the library's own tests can reach them.

namespace vx::platform {

// Attribute bits, as the find functions of Windows report them.
enum : std::uint32_t {
    kAttributeReadOnly = 0x01,  // the owner may not write
    kAttributeHidden = 0x02,    // the name starts with '.'
    kAttributeSystem = 0x04,    // neither a regular file nor a directory
    kAttributeDirectory = 0x10,
    kAttributeArchive = 0x20,   // a regular file
};

struct fileStatus {
    bool isDirectory = false;
    std::uint64_t size = 0;            // bytes of a regular file, 0 for anything else
    std::int64_t modificationTime = 0; // seconds since 1970
    std::int64_t creationTime = 0;     // the status-change time, which stands in for creation
    std::int64_t accessTime = 0;
    std::uint32_t attributes = 0;
};

// As _waccess: mode 0 tests existence, 2 writing, 4 reading, 6 both; any other mode is false.
// Writing also needs the owner's write bit, reading the owner's read bit.
bool accessPath(const std::wstring& path, int mode);

bool statPath(const std::wstring& path, fileStatus& status);

// As _wchmod: 0x100 is the owner's read bit, 0x80 the owner's write bit; each is set or cleared.
// Clearing one also clears it for group and others (a read-only file is read-only for all);
// setting it leaves group and others as they were. The execute bits do not change.
bool changeMode(const std::wstring& path, int mode);

// As _wcreat followed by close, but exclusive: false when any entry of that name exists. The new
// file is empty and readable; without 0x80 in mode it is read-only (no write bits), with it
// writeable as the process's umask allows.
bool createNewFile(const std::wstring& path, int mode);

// As _wremove: false for a directory and for a read-only file.
bool removeFile(const std::wstring& path);

// As _wrename and MoveFileW: false when an entry of the target name exists (the target may name
// the same entry in another case, which changes the case of its name). A file moves across file
// systems by copy and removal; a directory does not.
bool renamePath(const std::wstring& from, const std::wstring& to);
bool movePath(const std::wstring& from, const std::wstring& to);

// As CopyFileW: copies the bytes of a regular file, its permission bits and its access and
// modification times. With failIfExists an existing target gives false; otherwise it is
// replaced unless it is read-only, a directory or the source itself. A failed copy leaves no
// target behind.
bool copyFile(const std::wstring& from, const std::wstring& to, bool failIfExists);

// Sets the modification time (seconds since 1970) and keeps the access time.
bool setModificationTime(const std::wstring& path, std::int64_t seconds);

// Gives to the access and modification times of from (unless to is read-only, as the target
// of a write) and then its permission bits.
bool copyFileProperties(const std::wstring& from, const std::wstring& to);

// Whether the drive's root lies on a network file system (NFS, SMB/CIFS, AFS, Coda, Ceph).
// False for an unknown letter or a root that cannot be examined.
bool isRemoteDrive(wchar_t letter);

// An open regular file; closed when the object ends. Only regular files open: a directory,
// a FIFO or a device gives false, without waiting for a peer.
class fileHandle {
public:
    enum openMode {
        openRead,   // existing file, from its start
        openWrite,  // created or truncated
        openAppend, // created or appended to
    };

    fileHandle() = default;
    ~fileHandle();
    fileHandle(fileHandle&& other) noexcept;
    fileHandle& operator=(fileHandle&& other) noexcept;
    fileHandle(const fileHandle&) = delete;
    fileHandle& operator=(const fileHandle&) = delete;

    bool open(const std::wstring& path, openMode mode);
    bool isOpen() const { return mDescriptor >= 0; }
    // Reads up to size bytes; fewer only at the end of the file. False on a read error.
    bool read(void* buffer, std::size_t size, std::size_t& done);
    // Writes all size bytes or answers false.
    bool write(const void* data, std::size_t size);
    // False when closing reports an error (written data may be lost).
    bool close();
    // The system's descriptor, for libraries that take one (zlib's gzdopen); -1 when closed.
    int descriptor() const { return mDescriptor; }

private:
    int mDescriptor = -1;
};

} // namespace vx::platform

// --- version resources of executables (files) ---------------------------------------------------------

namespace vx::platform {

// The fixed version numbers of an executable's version resource, each as its most and least
// significant 32-bit halves: fileVersion of the file, productVersion of the product. False when
// the file has no such resource; the executables of POSIX systems never have one.
bool fixedVersionInfo(const std::wstring& path, std::uint32_t (&fileVersion)[2],
                      std::uint32_t (&productVersion)[2]);

} // namespace vx::platform

// --- directories, their listing, and the system's folders ------------------------------------------
//
// Paths are Windows form, mapped with toNativePath; failure is a false result with errno set.

namespace vx::platform {

// The bit a find function gives an entry that is a symbolic link, beside the attributes of what
// it points to (Windows gives its reparse points, links and junctions, the same bit). A link
// that points nowhere is a system entry.
constexpr std::uint32_t kAttributeLink = 0x400;

// As _wmkdir: makes one directory. False when an entry of that name exists or the parent is
// missing, so two callers never both make the same directory.
bool createDirectory(const std::wstring& path);

// As _wrmdir: removes an empty directory; false for a read-only one, as Windows refuses it. A
// symbolic link to a directory is removed itself, never what it points to.
bool removeDirectory(const std::wstring& path);

// As _wchdir: makes the directory the current one, and so its drive the current drive. A
// failure leaves the current directory as it was.
bool changeCurrentDirectory(const std::wstring& path);

// As GetDiskFreeSpaceExW: the bytes free to the calling user, the size and the free bytes in
// all of the file system that holds path.
bool diskSpace(const std::wstring& path, std::uint64_t& freeToCaller, std::uint64_t& total,
               std::uint64_t& totalFree);

// As SHGetFolderPathW for the CSIDL values 0x05 (documents: $HOME), 0x10 (desktop: the XDG
// desktop folder, else ~/Desktop), 0x1A (application data: $XDG_CONFIG_HOME, else ~/.config),
// 0x1C (local application data: $XDG_DATA_HOME, else ~/.local/share), 0x23 (application data
// of all users: the first absolute entry of $XDG_CONFIG_DIRS, else /etc/xdg) and 0x2E (common
// documents: the XDG public-share folder, else ~/Public), in Windows form. Relative values
// count as unset, as the XDG rules say. Whether the folder exists is not asked. False for other values, without a
// home, and for a folder that lies under no drive.
// The CSIDL numbers of the well-known folders the library asks for.
constexpr int csidlPersonal = 0x05;
constexpr int csidlDesktop = 0x10;
constexpr int csidlAppData = 0x1A;
constexpr int csidlLocalAppData = 0x1C;
constexpr int csidlCommonAppData = 0x23;
constexpr int csidlCommonDocuments = 0x2E;

bool knownFolder(int csidl, std::wstring& windowsForm);

// The system's own temporary directory in Windows form: $TMPDIR when it holds an absolute path
// that lies under a drive, else /tmp. False when /tmp lies under no drive either.
bool systemTemporaryDirectory(std::wstring& windowsForm);

// The entries of one directory, "." and ".." first, then the others in the order of their names
// compared without regard to case (names that differ only by case in byte order), as NTFS
// gives them. The names are read when the listing opens; an entry is examined only when asked,
// so a name can be passed over without that cost. Names holding '\', which no Windows-form
// path can name, are left out.
class directoryListing {
public:
    // What the listing knows of an entry without examining it.
    enum entryKind {
        kindUnknown,   // anything, a symbolic link included
        kindDirectory, // a directory, not a link
        kindOther,     // neither a directory nor a link
    };

    directoryListing();
    ~directoryListing();
    directoryListing(const directoryListing&) = delete;
    directoryListing& operator=(const directoryListing&) = delete;

    // False, with nothing to list, for a directory that is missing or cannot be read.
    bool open(const std::wstring& path);
    // Moves to the next name; false at the end.
    bool next(std::wstring& name, entryKind& kind);
    // The attributes of the current entry (kAttribute...) as the find functions give them, read
    // now; false when it vanished since the names were read, or cannot be examined.
    bool examine(std::uint32_t& attributes);

private:
    struct state;
    state* mpState;
};

} // namespace vx::platform

// --- processes and modules ------------------------------------------------------------------------

namespace vx::platform {

// Whether a process of that id exists and has not ended (a zombie has ended).
bool processExists(unsigned long id);

// The handle of a module loaded into this process, found by its file name (either case; the
// system's "lib" prefix and ".so" suffix with its version may be left out); null when no loaded
// module has that name. The empty name gives the handle of the executable.
void* loadedModule(const std::wstring& name);

// The full Windows-form file name of a loaded module; null stands for the executable. False for a
// handle that is not a module of this process.
bool moduleFileName(void* module, std::wstring& windowsForm);

} // namespace vx::platform

// --- positions in open files (compound documents) --------------------------------------------------
//
// A compound document is written block after block and read from its end backwards, so its
// handle moves to explicit positions. Offsets count bytes from the start of the file.

namespace vx::platform {

// Moves the position to offset. A position beyond the end is allowed, as fseek allows it: a read
// there gives nothing and a write extends the file. False for a closed handle and for an offset
// the system cannot represent.
bool seekFile(fileHandle& handle, std::uint64_t offset);

// The current length of the open file, whatever the position.
bool openFileLength(const fileHandle& handle, std::uint64_t& length);

// Cuts the open file to length bytes (or extends it with zero bytes); the position stays.
bool truncateFile(fileHandle& handle, std::uint64_t length);

} // namespace vx::platform

// --- descriptors handed to other libraries (gzip files through zlib) -----------------------------
//
// zlib takes a descriptor (gzdopen) and closes it itself (gzclose). The file is opened through
// fileHandle, so that path mapping and its rules apply, and a duplicate is given away, so that the
// handle and zlib never close one descriptor twice.

namespace vx::platform {

// A new descriptor for the open file of handle, owned by the caller; -1 on failure.
int duplicateDescriptor(const fileHandle& handle);

// Closes a descriptor that nothing took over (zlib refused it).
void discardDescriptor(int descriptor);

// Whether two paths name one and the same existing file (links and case followed).
bool sameFile(const std::wstring& first, const std::wstring& second);

} // namespace vx::platform
