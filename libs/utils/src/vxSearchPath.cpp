#include "vxSearchPath.h"

#include "vxEnvironment.h"

#include <algorithm>

namespace vx {

namespace {

// Hidden and system sub-directories are never walked.
constexpr int kSkippedDirectories = DI_HIDDEN | DI_SYSTEM;
const wchar_t kEveryName[] = L"*.*";

// A sub-directory reached through a symbolic link is listed but not descended into, so a link
// that leads back up cannot make a walk endless.
bool mayDescend(const directoryIterator& sub) {
    return (sub.attributes() & DI_LINK) == 0;
}

bool findBelow(const directory& dir, const string& name, directory& found) {
    for (directoryIterator sub = dir.dirIt(kEveryName, kSkippedDirectories); !sub.fullName().empty();
         ++sub) {
        if (file(sub, name).exists()) {
            found = sub;
            return true;
        }
        if (mayDescend(sub) && findBelow(sub, name, found))
            return true;
    }
    return false;
}

void fromPieces(const string& text, searchPath& out, const directory* base, wchar_t separator) {
    std::vector<string> pieces;
    text.splitAt(string(separator), pieces, false);
    for (string& piece : pieces) {
        piece.deleteLeading(L" \t").deleteTrailing(L" \t");
        if (piece.empty())
            continue;
        const directory dir = base && piece[0] == L'.' ? directory(*base, piece)
                                                       : directory(piece);
        if (dir.exists() && !out.containsDirectory(dir))
            out.appendDirectory(dir);
    }
}

} // namespace

searchPath::searchPath() = default;

void searchPath::appendDirectory(const directory& dir) {
    if (!containsDirectory(dir))
        mDirectories.push_back(dir);
}

bool searchPath::containsDirectory(const directory& dir) const {
    return std::find(mDirectories.begin(), mDirectories.end(), dir) != mDirectories.end();
}

void searchPath::removeDirectory(const directory& dir) {
    const auto it = std::find(mDirectories.begin(), mDirectories.end(), dir);
    if (it != mDirectories.end())
        mDirectories.erase(it);
}

void searchPath::collectSubdirectories(const directory& dir, bool recursive) {
    for (directoryIterator sub = dir.dirIt(kEveryName, kSkippedDirectories); !sub.fullName().empty();
         ++sub) {
        appendDirectory(sub);
        // Also a sub-directory that was listed before is walked.
        if (recursive && mayDescend(sub))
            collectSubdirectories(sub, true);
    }
}

void searchPath::collectSubdirectories(bool recursive) {
    const std::vector<directory> entries = mDirectories;
    for (const directory& entry : entries)
        collectSubdirectories(entry, recursive);
}

bool searchPath::findContainingDir(const string& name, directory& found, bool recursive) const {
    for (const directory& entry : mDirectories) {
        if (file(entry, name).exists()) {
            found = entry;
            return true;
        }
        if (recursive && findBelow(entry, name, found))
            return true;
    }
    return false;
}

bool searchPath::findFile(const string& name, file& found, bool recursive) const {
    directory holder;
    if (!findContainingDir(name, holder, recursive))
        return false;
    found = file(holder, name);
    return true;
}

void searchPath::findFiles(const wchar_t* filter, std::vector<file>& out, bool recursive) const {
    for (const directory& entry : mDirectories)
        findFiles(entry, filter, out, recursive);
}

void searchPath::findFiles(const directory& dir, const wchar_t* filter, std::vector<file>& out,
                           bool recursive) const {
    for (fileIterator f = dir.fileIt(filter, kSkippedDirectories); !f.fullName().empty(); ++f)
        out.push_back(f);
    if (!recursive)
        return;
    for (directoryIterator sub = dir.dirIt(kEveryName, kSkippedDirectories); !sub.fullName().empty();
         ++sub) {
        if (mayDescend(sub))
            findFiles(sub, filter, out, true);
    }
}

void searchPath::fromString(const string& text, searchPath& out, wchar_t separator) {
    fromPieces(text, out, nullptr, separator);
}

void searchPath::fromString(const string& text, searchPath& out, const directory& base,
                            wchar_t separator) {
    fromPieces(text, out, &base, separator);
}

void searchPath::fromDollarPath(searchPath& out) {
    string path;
    if (getEnvironmentVariable(L"PATH", path))
        fromString(path, out, pathSeparator);
}

// The constants are defined here once as well, so that the library exports them: on Windows a
// caller that takes one by reference finds it in the DLL.
constexpr wchar_t searchPath::pathSeparator;

} // namespace vx
