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

    // The read interface of the vector of directories it is, in search order. Changes go through
    // the operations above, which keep the list free of duplicates.
    using value_type = directory;
    using size_type = std::vector<directory>::size_type;
    using difference_type = std::vector<directory>::difference_type;
    using const_reference = std::vector<directory>::const_reference;
    using reference = const_reference;
    using const_pointer = std::vector<directory>::const_pointer;
    using pointer = const_pointer;
    using const_iterator = std::vector<directory>::const_iterator;
    using iterator = const_iterator;
    using const_reverse_iterator = std::vector<directory>::const_reverse_iterator;
    using reverse_iterator = const_reverse_iterator;

    const std::vector<directory>& directories() const { return mDirectories; }
    operator const std::vector<directory>&() const { return mDirectories; }

    const_iterator begin() const noexcept { return mDirectories.begin(); }
    const_iterator end() const noexcept { return mDirectories.end(); }
    const_iterator cbegin() const noexcept { return mDirectories.cbegin(); }
    const_iterator cend() const noexcept { return mDirectories.cend(); }
    const_reverse_iterator rbegin() const noexcept { return mDirectories.rbegin(); }
    const_reverse_iterator rend() const noexcept { return mDirectories.rend(); }
    const_reverse_iterator crbegin() const noexcept { return mDirectories.crbegin(); }
    const_reverse_iterator crend() const noexcept { return mDirectories.crend(); }

    size_type size() const noexcept { return mDirectories.size(); }
    size_type max_size() const noexcept { return mDirectories.max_size(); }
    size_type capacity() const noexcept { return mDirectories.capacity(); }
    bool empty() const noexcept { return mDirectories.empty(); }

    const_reference operator[](size_type i) const { return mDirectories[i]; }
    const_reference at(size_type i) const { return mDirectories.at(i); }
    const_reference front() const { return mDirectories.front(); }
    const_reference back() const { return mDirectories.back(); }
    const directory* data() const noexcept { return mDirectories.data(); }

    // The same directories in the same order.
    friend bool operator==(const searchPath& a, const searchPath& b) { return a.mDirectories == b.mDirectories; }
    friend bool operator!=(const searchPath& a, const searchPath& b) { return !(a == b); }

private:
    std::vector<directory> mDirectories;
};

} // namespace vx
