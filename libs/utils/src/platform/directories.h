// Directories, their listing, and the system's folders (internal).
//
// Paths are Windows form; failure is a false result.
#pragma once

#include <cstdint>
#include <string>

namespace vx::platform {

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

// The CSIDL numbers of the well-known folders the library asks for.
constexpr int csidlPersonal = 0x05;
constexpr int csidlDesktop = 0x10;
constexpr int csidlAppData = 0x1A;
constexpr int csidlLocalAppData = 0x1C;
constexpr int csidlCommonAppData = 0x23;
constexpr int csidlCommonDocuments = 0x2E;

// As SHGetFolderPathW for the CSIDL values above, in Windows form. Whether the folder exists is
// not asked. False for other values and for a folder the system cannot name.
bool knownFolder(int csidl, std::wstring& windowsForm);

// The system's own temporary directory in Windows form; false when there is none.
bool systemTemporaryDirectory(std::wstring& windowsForm);

// The entries of one directory, "." and ".." first, then the others in the order of their names
// compared without regard to case (names that differ only by case in ordinal order), as NTFS
// gives them. The names are read when the listing opens; an entry is examined only when asked,
// so a name can be passed over without that cost.
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
