// searchPath: an ordered list of directories in which files are looked for; the first directory
// that holds a file wins.
#pragma once

#include "vxDirectory.h"
#include "vxExport.h"
#include "vxFile.h"
#include "vxString.h"

#include <cstddef>
#include <vector>

namespace vx {

// The list never holds the same directory twice: two directories are the same when their
// lower-cased names are equal. Walks below an entry skip hidden and system directories and never
// enter a directory through a symbolic link.
class VX_API searchPath {
public:
    searchPath();

    // Appends unless the list holds the directory already; whether it exists is not asked.
    void appendDirectory(const directory& dir);
    bool containsDirectory(const directory& dir) const;
    // Removes the first entry equal to dir; the others keep their order.
    void removeDirectory(const directory& dir);

    // Appends the sub-directories of dir (depth first, a parent before its children, when
    // recursive); dir itself is not added.
    void collectSubdirectories(const directory& dir, bool recursive);
    // The same for every entry the list holds now.
    void collectSubdirectories(bool recursive);

    // The first entry (or, when recursive, the first of its sub-directories, depth first, before
    // the next entry) that holds name; name may be a relative path. found is left as it was when
    // nothing holds it.
    bool findContainingDir(const string& name, directory& found, bool recursive) const;
    bool findFile(const string& name, file& found, bool recursive) const;

    // Appends the files matching filter of every entry (and of their sub-directories when
    // recursive) to out, neither cleared nor checked for duplicates. Hidden and system files are
    // not reported.
    void findFiles(const wchar_t* filter, std::vector<file>& out, bool recursive) const;
    void findFiles(const directory& dir, const wchar_t* filter, std::vector<file>& out,
                   bool recursive) const;

    // Appends the directories of a separated text that exist and are not yet listed. Pieces are
    // trimmed of blanks and tabs; empty pieces are skipped; a relative piece is resolved against
    // the current directory, one %NAME% reference is expanded and quotes are removed. out is not
    // cleared. With base, a piece starting with '.' is taken below base instead.
    static void fromString(const string& text, searchPath& out, wchar_t separator);
    static void fromString(const string& text, searchPath& out, const directory& base,
                           wchar_t separator);
    // fromString of the environment variable PATH, with the separator of this system (':').
    static void fromDollarPath(searchPath& out);

    // The separator of PATH on this system.
#ifdef _WIN32
    static constexpr wchar_t pathSeparator = L';';
#else
    static constexpr wchar_t pathSeparator = L':';
#endif

    const std::vector<directory>& directories() const { return mDirectories; }
    std::size_t size() const { return mDirectories.size(); }
    bool empty() const { return mDirectories.empty(); }

private:
    std::vector<directory> mDirectories;
};

} // namespace vx
