// fsEntry: the common base of the things that have a path, files and directories.
//
// An entry is its name and nothing more: it holds no open handle, so it copies like text. The
// name is a normalised fsEntryName; a directory's name keeps exactly one trailing '\' through
// every assignment, which is what the directory flag is for.
#pragma once

#include "vxExport.h"
#include "vxFsEntryName.h"
#include "vxString.h"

#include <string>

namespace vx {

// A path as the system's own calls take it: UTF-16 text on Windows, bytes elsewhere.
#ifdef _WIN32
using nativePathText = std::wstring;
#else
using nativePathText = std::string;
#endif

class directory;

class VX_API fsEntry {
public:
    // The three operations come first among the virtual functions, in this order; the
    // destructor follows them.
    // Whether anything of this name exists, a directory included. False for an empty name.
    virtual bool exists() const;
    // True for a share ("\\server\..."), and for a name whose drive lies on a network file
    // system. False for an empty name.
    virtual bool isRemote() const;
    // Gives the entry a new name in the same directory.
    virtual bool rename(const string& newName) = 0;
    virtual ~fsEntry();

    // Takes the text of name as it stands (no normalisation); a directory then gets its one
    // trailing '\' (an empty name stays empty).
    fsEntry& operator=(const fsEntryName& name);

    // The name as seen from base (see fsEntryName::relativeNameTo).
    string relativeNameTo(const fsEntryName& base) const;

    // Drive, directory, name and extension of this entry: the directory is drive and path as a
    // directory name, the extension follows the last dot. The last argument has no effect. A
    // name of one character, which only fsEntryName::assignText can give, throws
    // std::out_of_range as the name's own readers do.
    void getParts(string& drive, directory& dir, string& name, string& extension,
                  bool unused = false) const;

    // The name object, and its text.
    const fsEntryName& entryName() const { return mName; }
    const string& fullName() const { return mName.text(); }
    // The parts of the name, as the name object gives them (see fsEntryName for the selectors).
    string drive() const { return mName.drive(); }
    wchar_t driveLetter() const { return mName.driveLetter(); }
    string name(int parts = 0) const { return mName.name(parts); }
    string path(int parts = 0) const { return mName.path(parts); }
    string extension(int parts = 0) const { return mName.extension(parts); }
    // True for a directory: its name keeps one trailing '\'.
    bool isDirectoryEntry() const { return mIsDirectory; }

    // The path by which this system knows the entry, for a library that takes native paths: on
    // Windows the text itself; elsewhere bytes (UTF-8, except that a native name which is not
    // keeps its bytes), with each component matched to an existing entry without regard to case,
    // as every operation does. False for an empty name and for a name that no native path can
    // hold (an unknown drive, a share that cannot be reached, a null character).
    bool nativePath(nativePathText& path) const;

protected:
    // The name is fsEntryName(directoryText, name, isDirectory): an empty directoryText gives
    // an empty name.
    fsEntry(const string& directoryText, const string& name, bool isDirectory);
    // The name is name as it stands or, when extra is not empty, fsEntryName(name, extra,
    // false); a directory then gets its trailing '\' unless the name is empty.
    fsEntry(const fsEntryName& name, string extra, bool isDirectory);
    fsEntry(const fsEntry& other) = default;
    fsEntry& operator=(const fsEntry& other) = default;

    fsEntryName mName;
    bool mIsDirectory;
};

} // namespace vx
