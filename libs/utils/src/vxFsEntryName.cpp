#include "vxFsEntryName.h"

#include "vxEnvironment.h"

#include "platform/paths.h"

#include <string>

namespace vx {

namespace {

// Plain constants, so that names can be set from other static initialisers too.
constexpr wchar_t kDelimiter = L'\\';
// Both delimiters, for the readers that accept text which was never normalised.
constexpr const wchar_t* kAnyDelimiter = L"\\/";
constexpr const wchar_t* kBackslash = L"\\";
constexpr const wchar_t* kSlash = L"/";
constexpr const wchar_t* kBlank = L" ";
// The order is the one the library has always listed them in.
constexpr const wchar_t* kInvalidChars = L"\\/<>:*?|#\"";

// Expands the first %NAME% pair, and every occurrence of that same reference. A reference to an
// unset variable, an empty name ("%%") and a name holding a null (no variable can) stay as
// they are.
void expandFirstReference(string& text) {
    const string::size_type open = text.find(L'%');
    if (open == string::npos)
        return;
    const string::size_type close = text.find(L'%', open + 1);
    if (close == string::npos || close == open + 1)
        return;
    const string name(text.substr(open + 1, close - open - 1));
    if (name.find(L'\0') != string::npos)
        return;
    string value;
    if (!getEnvironmentVariable(name.c_str(), value))
        return;
    text.replace(string(L"%" + name + L"%"), value);
}

// A text that starts with '"' loses it, and everything from the last '"' on.
void stripQuotes(string& text) {
    if (text.empty() || text[0] != L'"')
        return;
    text.erase(0, 1);
    const string::size_type close = text.rfind(L'"');
    if (close != string::npos)
        text.erase(close);
}

// Puts the current drive or directory in front of a text that has neither a share, a drive
// nor a root. Without an answer from the system the text is lost: a name is never stored
// relative.
void makeAbsolute(string& text) {
    if (text.size() >= 2 && text[0] == kDelimiter && text[1] == kDelimiter)
        return; // a share
    if (!text.empty() && text[0] == kDelimiter) {
        const wchar_t letter = platform::currentDriveLetter();
        if (letter == 0)
            text.clear();
        else
            text.insert(0, string(letter) + L":");
        return;
    }
    if (text.size() >= 2 && text[1] == L':')
        return; // "C:x" too: it is not resolved against the drive's own directory
    std::wstring current;
    if (!platform::currentDirectory(current) || current.empty()) {
        text.clear();
        return;
    }
    string directory(current);
    directory.replace(L'/', kDelimiter);
    if (directory.back() != kDelimiter)
        directory += kDelimiter;
    text.insert(0, directory);
}

// Runs of delimiters become one; the search starts at 1 so that the two of a share survive.
void collapseDelimiters(string& text) {
    string::size_type at = 1;
    while ((at = text.find(L"\\\\", at)) != string::npos)
        text.erase(at, 1);
}

// Each "\..\" takes the component before it along; with none before it, it goes alone. Every
// round shortens the text, so the loop ends.
void resolveParents(string& text) {
    string::size_type at;
    while ((at = text.find(L"\\..\\")) != string::npos) {
        const string::size_type previous = at == 0 ? string::npos : text.rfind(kDelimiter, at - 1);
        if (previous != string::npos)
            text.erase(previous + 1, at - previous + 3);
        else
            text.erase(at, 3);
    }
}

// Runs after resolveParents and never goes back to it, so "\.\..\" loses the "." only.
void resolveCurrents(string& text) {
    string::size_type at;
    while ((at = text.find(L"\\.\\")) != string::npos)
        text.erase(at, 2);
}

string dotted(const string& extension) {
    return extension.empty() ? string() : string(L"." + extension);
}

} // namespace

// --- construction --------------------------------------------------------------------------------

fsEntryName::fsEntryName(const string& text) {
    setName(text, false);
}

fsEntryName::fsEntryName(const string& directory, const string& name, bool delimiter) {
    // The delimiter goes on first, so an empty directory never receives the name.
    string joined(directory);
    if (!joined.empty())
        joined += kDelimiter;
    if (!name.empty() && !joined.empty()) {
        if (joined.back() != kDelimiter && joined.back() != L'/')
            joined += kDelimiter;
        joined += name;
    }
    setName(joined, delimiter);
}

void fsEntryName::setName(const string& text, bool delimiter) {
    mText = text;
    if (text.empty())
        return;
    string work(text);
    expandFirstReference(work);
    stripQuotes(work);
    work.replace(L'/', kDelimiter);
    makeAbsolute(work);
    collapseDelimiters(work);
    // The patterns below then also match at the end.
    if (!work.empty() && work.back() != kDelimiter)
        work += kDelimiter;
    resolveParents(work);
    resolveCurrents(work);
    work.deleteTrailing(kBackslash);
    mText = work;
    if (delimiter)
        mText += kDelimiter;
}

void fsEntryName::assignText(const string& text) {
    mText = text;
}

// --- reading the parts ---------------------------------------------------------------------------

void fsEntryName::getComponents(string& drive, string& path, string& name, string& extension,
                                bool lastDot) const {
    drive.clear();
    path.clear();
    name.clear();
    extension.clear();
    if (mText.empty())
        return;
    // at() and not []: a text of one character has no second one, and that is a range error.
    if (mText.at(1) == L':') {
        drive = mText.substr(0, 2);
        drive.toUpper();
    } else if (mText[0] == kDelimiter && mText[1] == kDelimiter) {
        const string::size_type end = mText.find(kDelimiter, 2);
        drive = end == string::npos ? mText : string(mText.substr(0, end));
    }

    string rest(mText.substr(drive.size()));
    rest.deleteTrailing(kAnyDelimiter);
    const string::size_type last = rest.find_last_of(kAnyDelimiter);
    if (last != string::npos)
        path = rest.substr(0, last);
    path += kDelimiter;

    if (drive.size() + path.size() < mText.size())
        name = mText.substr(drive.size() + path.size());
    const string::size_type dot = lastDot ? name.rfind(L'.') : name.find(L'.');
    if (dot != string::npos) {
        extension = name.substr(dot + 1);
        name.erase(dot);
    }
    // A directory's trailing delimiter leaves them here.
    name.deleteTrailing(kAnyDelimiter);
    extension.deleteTrailing(kAnyDelimiter);
}

string fsEntryName::drive() const {
    string d, p, n, e;
    getComponents(d, p, n, e, true);
    return d;
}

wchar_t fsEntryName::driveLetter() const {
    const string d(drive());
    return d.size() == 2 && d[1] == L':' ? d[0] : L' ';
}

string fsEntryName::name(int parts) const {
    string d, p, n, e;
    getComponents(d, p, n, e, (parts & firstDot) == 0);
    string result(n);
    if ((parts & noExtension) == 0 || (parts & withExtension) != 0)
        result += dotted(e);
    if (parts & withPath) {
        result.insert(0, p);
        if (parts & withDrive)
            result.insert(0, d);
    }
    return result;
}

string fsEntryName::path(int parts) const {
    string d, p, n, e;
    getComponents(d, p, n, e, (parts & firstDot) == 0);
    string result(p);
    if ((parts & noDrive) == 0 || (parts & withDrive) != 0)
        result.insert(0, d);
    if (parts & withName) {
        result += n;
        if (parts & withExtension)
            result += dotted(e);
    }
    return result;
}

string fsEntryName::extension(int parts) const {
    string d, p, n, e;
    getComponents(d, p, n, e, (parts & firstDot) == 0);
    string result(e);
    if (parts & withName) {
        result = n + dotted(e);
        if (parts & withPath) {
            result.insert(0, p);
            if (parts & withDrive)
                result.insert(0, d);
        }
    }
    return result;
}

string fsEntryName::relativeNameTo(const fsEntryName& base) const {
    if (base.mText.empty())
        return string();
    if (drive().lower() != base.drive().lower())
        return mText;

    const string target(mText.lower());
    string anchor(base.mText.lower());
    int levels = 0;
    bool matched = false;
    while (!anchor.empty()) {
        if (target.find(anchor) == 0) {
            matched = true;
            break;
        }
        ++levels;
        fsEntryName current;
        current.assignText(anchor);
        fsEntryName parent;
        parent.setName(current.path(0), false);
        string next(parent.mText.lower());
        if (next.empty())
            break;
        next.deleteTrailing(kBackslash);
        if (next.empty())
            break;
        next += kDelimiter;
        // At a root the parent is the anchor itself, and a reference to a variable can make
        // it grow: only a shorter anchor can lead anywhere new.
        if (next.size() >= anchor.size())
            break;
        anchor = next;
    }
    if (!matched)
        return string();

    string rest(target.substr(anchor.size()));
    if (levels == 0)
        return L".\\" + rest;
    rest.deleteLeading(kBackslash);
    rest.deleteLeading(kSlash);
    string result;
    for (int i = 0; i < levels; ++i)
        result += L"..\\";
    return result + rest;
}

// --- changing the text ---------------------------------------------------------------------------

void fsEntryName::appendDelimiter() {
    mText.deleteTrailing(kBackslash);
    if (!mText.empty())
        mText += kDelimiter;
}

void fsEntryName::appendExtension(const string& extension) {
    mText.deleteTrailing(kBackslash);
    if (mText.empty())
        return;
    mText += L'.';
    mText += extension;
}

void fsEntryName::removeExtension(int parts) {
    string d, p, n, e;
    getComponents(d, p, n, e, (parts & firstDot) == 0);
    mText += d + p + n;
}

// --- raw text ------------------------------------------------------------------------------------

bool fsEntryName::isARelativePath(const string& text, int* const levels) {
    if (text.size() >= 2 && (text[0] == L'/' || text[0] == kDelimiter || text[1] == L':'))
        return false;
    if (levels == nullptr)
        return true;
    string work(text);
    work.replace(L'/', kDelimiter);
    work.deleteTrailing(kBackslash);
    *levels = 0;
    for (string::size_type i = 1; i < work.size(); ++i)
        if (work[i] == kDelimiter)
            ++*levels;
    return true;
}

bool fsEntryName::containsInvalidChars(const string& text) {
    return text.find_first_of(kInvalidChars) != string::npos;
}

string fsEntryName::replaceInvalidChars(const string& text, wchar_t /*replacement*/) {
    string result(string::makeMBCS(text));
    // A valid replacement is not written, and an invalid one would be found again by the next
    // search and never leave the loop: the blank is written for every replacement.
    string::size_type at;
    while ((at = result.find_first_of(kInvalidChars)) != string::npos)
        result[at] = L' ';
    result.deleteLeading(kBlank);
    result.deleteTrailing(kBlank);
    return result;
}

// The constants are defined here once as well, so that the library exports them: on Windows a
// caller that takes one by reference finds it in the DLL.
constexpr int fsEntryName::noDrive;
constexpr int fsEntryName::noExtension;
constexpr int fsEntryName::firstDot;
constexpr int fsEntryName::withDrive;
constexpr int fsEntryName::withPath;
constexpr int fsEntryName::withName;
constexpr int fsEntryName::withExtension;

} // namespace vx
