// Entries of the file system on Windows-form paths (internal).
//
// Failure is a false result, never an exception. Symbolic links are followed, except by
// removeFile, which removes the link. The read-only attribute is honoured as Windows honours
// it, for every user: a read-only file is not writeable by accessPath, cannot be opened for
// writing, removed, overwritten by copyFile or have its time set.
#pragma once

#include <cstdint>
#include <string>

namespace vx::platform {

// Attribute bits, as the find functions of Windows report them.
enum : std::uint32_t {
    kAttributeReadOnly = 0x01,
    kAttributeHidden = 0x02,
    kAttributeSystem = 0x04,
    kAttributeDirectory = 0x10,
    kAttributeArchive = 0x20,
    // An entry that is a symbolic link (Windows: a reparse point, link or junction), beside the
    // attributes of what it points to. A link that points nowhere is a system entry.
    kAttributeLink = 0x400,
};

struct fileStatus {
    bool isDirectory = false;
    std::uint64_t size = 0;            // bytes of a regular file, 0 for anything else
    std::int64_t modificationTime = 0; // seconds since 1970
    std::int64_t creationTime = 0;     // seconds since 1970
    std::int64_t accessTime = 0;
    std::uint32_t attributes = 0;
};

// As _waccess: mode 0 tests existence, 2 writing, 4 reading, 6 both; any other mode is false.
bool accessPath(const std::wstring& path, int mode);

bool statPath(const std::wstring& path, fileStatus& status);

// As _wchmod: 0x80 set makes the entry writeable, cleared read-only. Elsewhere 0x100 is the
// owner's read bit, 0x80 the owner's write bit; clearing one also clears it for group and
// others, setting it leaves group and others as they were.
bool changeMode(const std::wstring& path, int mode);

// As _wcreat followed by close, but exclusive: false when any entry of that name exists. The new
// file is empty and readable; without 0x80 in mode it is read-only.
bool createNewFile(const std::wstring& path, int mode);

// Makes a lock file: as createNewFile, read-only (and hidden on Windows), closed at once. The
// answer is 0 when the file was made, kLockFileExists when an entry of that name exists, else
// the system's error number (errno, GetLastError).
constexpr int kLockFileExists = -1;
int createLockFile(const std::wstring& path);
// As _wremove: false for a directory and for a read-only file.
bool removeFile(const std::wstring& path);

// As _wrename and MoveFileW: false when an entry of the target name exists (the target may name
// the same entry in another case, which changes the case of its name). A file moves across file
// systems by copy and removal; a directory does not.
bool renamePath(const std::wstring& from, const std::wstring& to);
bool movePath(const std::wstring& from, const std::wstring& to);

// As CopyFileW: copies the bytes of a regular file, its attributes and its times. With
// failIfExists an existing target gives false; otherwise it is replaced unless it is read-only,
// a directory or the source itself. A failed copy leaves no target behind.
bool copyFile(const std::wstring& from, const std::wstring& to, bool failIfExists);

// Sets the modification time (seconds since 1970) and keeps the access time.
bool setModificationTime(const std::wstring& path, std::int64_t seconds);

// Gives to the access and modification times of from (unless to is read-only, as the target
// of a write) and then its read-only state.
bool copyFileProperties(const std::wstring& from, const std::wstring& to);

// Whether the drive lies on a network file system. False for an unknown letter.
bool isRemoteDrive(wchar_t letter);

// Puts the completely written file source in the place of target, in one step, replacing a file
// of that name; the two lie in the same directory. A replaced file passes its permission bits
// (Windows: its attributes) on. False, with both files as they were, when that cannot be done
// (target is a directory, say).
bool replaceFile(const std::wstring& source, const std::wstring& target);

// Whether two paths name one and the same existing file (links and case followed).
bool sameFile(const std::wstring& first, const std::wstring& second);

// The identity of the existing entry behind a path, links and case followed: the device (the
// volume's serial number) and the file's number on it. Equal for two paths exactly when
// sameFile is true. False when the entry cannot be reached.
struct entryIdentity {
    std::uint64_t volume = 0;
    std::uint64_t index = 0;
    bool operator<(const entryIdentity& other) const {
        return volume != other.volume ? volume < other.volume : index < other.index;
    }
};
bool fileIdentity(const std::wstring& path, entryIdentity& id);

} // namespace vx::platform
