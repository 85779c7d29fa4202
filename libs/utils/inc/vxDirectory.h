// directory: a directory that may or may not exist, and the iterators that walk one.
//
// A directory object is its path and nothing more, like a file: the name always ends in one '\'
// unless it is empty, and no handle stays open. Operations report failure by their result and
// never throw. The same header holds the well-known folders of the system and the temporary
// directory, which a thread may choose for itself.
//
// Walking a directory: directoryIterator gives its sub-directories, fileIterator its files and
// recursiveFileIterator every file below it. An iterator is itself the current entry; it is
// exhausted when its name is empty. Filters follow the rules of the Windows find functions:
// case is ignored, '*' stands for any run of characters and '?' for exactly one, and "*.*"
// matches every name, also one without a dot (see directoryIterator for the whole set).
// Entries come in the order of names compared without regard to case.
#pragma once

#include "vxExport.h"
#include "vxFile.h"
#include "vxFsEntry.h"
#include "vxFsEntryName.h"
#include "vxString.h"

#include <memory>
#include <vector>

namespace vx {

// Attributes of the entries a walk finds, with the values of the C find functions. As a mask
// they exclude: an entry that has any attribute in the mask is skipped, so the mask 0 lists
// everything and DI_HIDDEN | DI_SYSTEM is the usual way to leave such entries out.
constexpr int DI_RDONLY = 0x01; // may not be written
constexpr int DI_HIDDEN = 0x02; // hidden (here: the name starts with '.')
constexpr int DI_SYSTEM = 0x04; // a system entry (here: neither a regular file nor a directory)
constexpr int DI_SUBDIR = 0x10; // a directory
constexpr int DI_ARCH = 0x20;   // archive (here: a regular file)
// A symbolic link; the other attributes are those of what it points to, and a link that points
// nowhere is a system entry. Walks that descend never enter a directory through a link.
constexpr int DI_LINK = 0x400;

class directoryIterator;
class fileIterator;

class VX_API directory : public fsEntry {
public:
    // What getDiskSpace reports, and in which unit.
    enum eDSType {
        dsFreeToCaller = 0, // bytes the calling user may still write
        dsTotal = 1,        // size of the file system
        dsTotalFree = 2,    // free bytes, also those kept for the system
    };
    enum eDSBaseSize {
        dsBytes = 0,
        dsKilo = 1, // shifted right by 10
        dsMega = 2, // shifted right by 20
        dsGiga = 3, // shifted right by 30
    };

    // An empty name.
    directory();
    // text normalised by fsEntryName::setName, with one trailing '\': a relative text is taken
    // from the current directory, so directory(".") is the current directory.
    explicit directory(const string& text);
    // directoryText and name joined as fsEntryName(directoryText, name, true) does. An empty
    // directoryText gives an empty name, whatever name holds.
    directory(const string& directoryText, const string& name);
    // name joined to the directory base, as directory(base.fullName(), name).
    directory(const directory& base, const string& name);
    // name as it stands or, when extra is not empty, fsEntryName(name, extra, false); then the
    // trailing '\'.
    explicit directory(const fsEntryName& name, const string& extra = string());
    directory(const directory& other);
    directory& operator=(const directory& other);
    ~directory() override;

    // Takes the text of name as it stands, with one trailing '\'.
    directory& operator=(const fsEntryName& name);

    // Makes the directory; with recursive true its missing parents too. True if it exists
    // already; false for an empty name and for a missing root.
    bool create(bool recursive) const;
    // Removes the directory with its files and, with recursive true, its sub-directories.
    // Read-only, hidden and system entries are left alone, so a tree that holds any of them
    // stays (with what leads to them) and the result is false; so does a read-only directory.
    // A sub-directory that is a symbolic link loses the link only.
    bool remove(bool recursive) const;
    // Removes the files as remove does, and with recursive true those of the sub-directories
    // (never through a symbolic link), but no directory. Always true.
    bool clear(bool recursive) const;
    // Gives the directory the new name newName in the same parent; false when an entry of that
    // name exists. On success this object takes the new name.
    bool rename(const string& newName) override;

    // True when no sub-directory and no file is found, hidden and system entries left out; so
    // also for a directory that does not exist.
    bool isEmpty() const;
    // "C:\" and "\\server\" are roots, "\\server\share\" and "C:\a\" are not; an empty name is none.
    bool isRoot() const;
    // Whether this is the current directory (compared as operator== compares).
    bool isCurrent() const;
    // Makes this the current directory, and its drive the current drive. False for an empty
    // name or a missing directory; the current directory then stays as it was.
    bool makeCurrent() const;

    // The number of files fileIt(filter, mask) gives; a null filter matches nothing.
    unsigned long numberOfFiles(const wchar_t* filter, int mask) const;
    // Whether a file here (with recursive true, also below, links to directories left out) may
    // not be written.
    bool containsReadOnlyFiles(bool recursive) const;
    // Appends the names of the files that match filter and mask, as relativeNameTo this
    // directory gives them (".\y.txt", ".\a\x.txt", lower case), those of a directory before
    // those of its sub-directories. With recursive true it descends into every sub-directory
    // that is neither hidden nor system, whatever mask says, and no symbolic link.
    void listAllFiles(std::vector<string>& out, bool recursive, const wchar_t* filter, int mask) const;
    // The iterators of this directory's sub-directories and files.
    directoryIterator dirIt(const wchar_t* filter, int mask) const;
    fileIterator fileIt(const wchar_t* filter, int mask) const;

    // Writes the space of the file system that holds this directory, in the unit base asks
    // for; a value beyond 32 bits is written as 0xFFFFFFFF, an unknown type or base as 0. False,
    // with nothing written, when the directory cannot be examined or value is null.
    bool getDiskSpace(eDSType type, eDSBaseSize base, unsigned long* value) const;

    // Equal when the lower-cased names are equal; two empty names are not equal.
    bool operator==(const directory& other) const;
    bool operator!=(const directory& other) const { return !(*this == other); }

    // Well-known folders. With a sub-folder, the result lies below the folder; with create
    // true the result is made by create(false), so its parent must exist. When the folder
    // cannot be named, the result is "c:\" (without the sub-folder, and nothing is made).
    //   all users' application data  the first of $XDG_CONFIG_DIRS, else /etc/xdg
    //   user's application data       $XDG_CONFIG_HOME, else ~/.config
    //   user's local application data $XDG_DATA_HOME, else ~/.local/share
    //   common documents              the XDG public-share folder, else ~/Public
    //   desktop                       the XDG desktop folder, else ~/Desktop
    //   user's documents and home     $HOME
    static directory allUserAppdataDir(const wchar_t* subFolder, bool create);
    static directory userAppdataDir(const wchar_t* subFolder, bool create);
    static directory userLocalAppdataDir(const wchar_t* subFolder, bool create);
    static directory commonDocumentsDir(bool create);
    static directory desktopDir(bool create);
    static directory userDocumentsDir(bool create);
    static directory userHomeDir();

    // The temporary directory of the calling thread: the one set for it by setThreadTempDir,
    // else the one set by overwriteSystemTempDir while it exists, else $TMP, $TEMP, $TMPDIR
    // and /tmp in this order, and the current directory when none of them can be named.
    static directory systemTempDir();
    // Makes dir the temporary directory of every thread that has none of its own; only a
    // directory that exists is taken.
    static void overwriteSystemTempDir(const directory& dir);
    // Sets the temporary directory of one thread (an id of getCurrentThreadId); an empty dir
    // takes its entry away.
    static void setThreadTempDir(unsigned long threadId, const directory& dir);
    // Makes a new directory below base (the temporary directory when base's name is empty),
    // named by a counter that starts at the current time in seconds and counts past names in
    // use. Two callers never get the same directory. When it cannot be made, the name is still
    // given (as an existing parent that may not be written gives it); after a million names in
    // use the result has an empty name.
    static directory generateRandomDirectory(const directory& base);
};

// The state of one search of a directory (internal).
struct directorySearch;

namespace detail {
// One walk over the entries of a directory that match a filter and have no attribute of a mask;
// both iterators keep one (internal: used by the library's own code only).
class entryWalk {
public:
    entryWalk(const string& base, const string& filter, int mask);
    entryWalk(entryWalk&& other) noexcept;
    entryWalk& operator=(entryWalk&& other) noexcept;
    entryWalk(const entryWalk&) = delete;
    entryWalk& operator=(const entryWalk&) = delete;
    ~entryWalk();

    // The full name of the next entry (a sub-directory or a file); empty at the end, which
    // closes the search at once.
    fsEntryName next(bool wantDirectory);
    // The attributes of the entry last given.
    int attributes() const;
    const string& base() const { return mBase; }

private:
    string mBase;
    directorySearch* mpSearch;
    int mMask;
};
} // namespace detail

// The sub-directories of a directory, "." and ".." never among them. The iterator is the
// current sub-directory; its name is empty when the walk is over (also at once for a missing
// or unreadable base, an empty base name and a null or empty filter).
//
// The filter is appended to the base's text and split at its last '\' or '/': what stands
// before names the directory that is searched, what follows is the pattern, and the entries
// found are named below the base. A pattern matches a name when, with case ignored, '?' stands
// for exactly one character and '*' for any run of characters (dots included), with two rules
// of the Windows find functions: a pattern that ends in '.' followed by nothing but '*' may
// also end where the name ends (so "*.*" and "*" match every name, "x.*" matches "x"), and a
// pattern that ends in '.' matches a name that has no further dot there (so "*." matches the
// names without a dot, "abc." matches "abc"). There are no short 8.3 names to match.
class VX_API directoryIterator : public directory {
public:
    directoryIterator(const directory& base, const wchar_t* filter, int mask);
    // An iterator moves; the one moved from is exhausted.
    directoryIterator(directoryIterator&& other) noexcept;
    directoryIterator& operator=(directoryIterator&& other) noexcept;
    directoryIterator(const directoryIterator&) = delete;
    directoryIterator& operator=(const directoryIterator&) = delete;
    ~directoryIterator() override;

    // Moves on to the next sub-directory that matches; an empty name when there is none.
    void next();
    directoryIterator& operator++();
    void operator++(int);

    // The find attributes of the current sub-directory (DI_SUBDIR and others); 0 when exhausted.
    int attributes() const;

private:
    friend class recursiveFileIterator; // makes the files' iterator of the same base

    detail::entryWalk mWalk;
};

// The files of a directory (directories are never reported, whatever the mask says); the
// iterator is the current file. Filters as for directoryIterator.
class VX_API fileIterator : public file {
public:
    fileIterator(const directory& base, const string& filter, int mask);
    fileIterator(fileIterator&& other) noexcept;
    fileIterator& operator=(fileIterator&& other) noexcept;
    fileIterator(const fileIterator&) = delete;
    fileIterator& operator=(const fileIterator&) = delete;
    ~fileIterator() override;

    void next();
    fileIterator& operator++();
    void operator++(int);

    // The find attributes of the current file; 0 when exhausted.
    int attributes() const;

private:
    detail::entryWalk mWalk;
};

// Every file below a directory, depth first: the files of a sub-directory, and of everything
// below it, come before the files of the directory itself. The directory filter and mask decide
// which sub-directories are entered; the file filter and mask only which files are reported.
// Symbolic links to directories are not entered, so a link that leads back up ends nothing.
class VX_API recursiveFileIterator {
public:
    recursiveFileIterator(const directory& base, const string& fileFilter, int fileMask,
                          const string& dirFilter, int dirMask);
    recursiveFileIterator(recursiveFileIterator&& other) noexcept;
    recursiveFileIterator& operator=(recursiveFileIterator&& other) noexcept;
    recursiveFileIterator(const recursiveFileIterator&) = delete;
    recursiveFileIterator& operator=(const recursiveFileIterator&) = delete;
    ~recursiveFileIterator();

    // The current file; its name is empty when the walk is over.
    operator const file&() const;

    void next();
    recursiveFileIterator& operator++();
    void operator++(int);

private:
    // Steps 2 and 3 of a level: the first sub-directory with something to report, else this
    // level's files.
    void settle();
    bool finished() const { return !mpDirs && !mpChild && !mpFiles; }

    std::unique_ptr<directoryIterator> mpDirs;
    std::unique_ptr<recursiveFileIterator> mpChild;
    std::unique_ptr<fileIterator> mpFiles;
    string mDirFilter;
    int mDirMask;
    string mFileFilter;
    int mFileMask;
};

} // namespace vx
