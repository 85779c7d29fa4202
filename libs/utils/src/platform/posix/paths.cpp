// The drive table and the mapping between Windows path text and native paths on POSIX systems.
#include "platform/paths.h"
#include "platform/posix/posixShared.h"
#include "platform/text.h"

#include <algorithm>
#include <cstdint>
#include <cerrno>
#include <cwctype>
#include <dirent.h>
#include <locale.h>
#include <mutex>
#include <sys/stat.h>
#include <unistd.h>
#include <vector>

namespace vx::platform {

namespace {

struct drive {
    wchar_t letter; // 'A'..'Z'
    std::string root; // absolute, without trailing '/' unless it is "/"
};

// Collapses runs of '/', resolves "." and ".." as text (".." stops at "/") and drops a trailing
// '/'. False for a path that is not absolute.
bool normaliseNative(const std::string& path, std::string& out) {
    if (path.empty() || path[0] != '/')
        return false;
    std::vector<std::string> parts;
    std::size_t i = 0;
    while (i < path.size()) {
        while (i < path.size() && path[i] == '/')
            ++i;
        const std::size_t end = std::min(path.find('/', i), path.size());
        const std::string part = path.substr(i, end - i);
        i = end;
        if (part.empty() || part == ".")
            continue;
        if (part == "..") {
            if (!parts.empty())
                parts.pop_back();
            continue;
        }
        parts.push_back(part);
    }
    out.clear();
    for (const std::string& part : parts)
        out += "/" + part;
    if (out.empty())
        out = "/";
    return true;
}

// The table as VX_DRIVES last said, parsed again only when its text changes.
std::vector<drive> parseDrives(const std::string& text) {
    std::vector<drive> drives{{L'C', "/"}};
    std::size_t start = 0;
    while (start <= text.size()) {
        const std::size_t end = std::min(text.find(';', start), text.size());
        const std::string item = text.substr(start, end - start);
        start = end + 1;
        // "L=/root"; anything else is ignored. A later item for a letter replaces an earlier one.
        if (item.size() < 3 || item[1] != '=')
            continue;
        const wchar_t letter = upperDriveLetter(static_cast<unsigned char>(item[0]));
        std::string root;
        if (!letter || !normaliseNative(item.substr(2), root))
            continue;
        auto it = std::find_if(drives.begin(), drives.end(), [&](const drive& d) { return d.letter == letter; });
        if (it != drives.end())
            it->root = root;
        else
            drives.push_back({letter, root});
    }
    std::sort(drives.begin(), drives.end(), [](const drive& a, const drive& b) { return a.letter < b.letter; });
    return drives;
}

std::vector<drive> currentDrives() {
    static std::mutex lock;
    static bool parsed = false;
    static bool lastSet = false;
    static std::string lastText;
    static std::vector<drive> table;

    std::string text;
    const bool set = posix::readEnvironment("VX_DRIVES", text);
    std::lock_guard<std::mutex> guard(lock);
    if (!parsed || set != lastSet || text != lastText) {
        table = parseDrives(set ? text : std::string());
        lastSet = set;
        lastText = text;
        parsed = true;
    }
    return table;
}

// The native directory that stands for "\\": $VX_UNC_ROOT, normalised; false when unset or not absolute.
bool uncRoot(std::string& root) {
    std::string text;
    return posix::readEnvironment("VX_UNC_ROOT", text) && normaliseNative(text, root);
}

// True when path is root or lies below it.
bool isBelow(const std::string& path, const std::string& root) {
    if (root == "/")
        return true;
    return path.compare(0, root.size(), root) == 0 && (path.size() == root.size() || path[root.size()] == '/');
}


bool equalsIgnoringCase(const std::wstring& a, const std::wstring& b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (a[i] != b[i] && foldCase(a[i]) != foldCase(b[i]))
            return false;
    return true;
}

bool entryExists(const std::string& path) {
    struct stat info;
    return ::lstat(path.c_str(), &info) == 0;
}

// The entry of directory whose name equals name but for case; the smallest in byte order when
// several do. False when none does.
bool findIgnoringCase(const std::string& directory, const std::string& name, std::string& found) {
    DIR* dir = ::opendir(directory.c_str());
    if (!dir)
        return false;
    const std::wstring wanted = posix::nativeToWide(name);
    bool any = false;
    while (const dirent* entry = ::readdir(dir)) {
        const std::string candidate = entry->d_name;
        if (candidate == "." || candidate == "..")
            continue;
        if (equalsIgnoringCase(posix::nativeToWide(candidate), wanted) && (!any || candidate < found)) {
            found = candidate;
            any = true;
        }
    }
    ::closedir(dir);
    return any;
}

// Joins the components to base, matching each one that does not exist as given against its
// directory's entries without regard to case. From the first component that matches nothing on,
// the names stay as given.
std::string resolveComponents(const std::string& base, const std::vector<std::string>& components, bool lastAsGiven) {
    std::string exact = base;
    for (const std::string& c : components)
        exact += (exact == "/" ? "" : "/") + c;
    if (components.empty() || entryExists(exact))
        return exact;

    std::string path = base;
    bool resolving = true;
    for (std::size_t index = 0; index < components.size(); ++index) {
        const std::string& c = components[index];
        if (lastAsGiven && index + 1 == components.size())
            resolving = false;
        const std::string parent = path;
        const std::string given = parent + (parent == "/" ? "" : "/") + c;
        std::string match;
        if (resolving && !entryExists(given)) {
            if (findIgnoringCase(parent, c, match)) {
                path = parent + (parent == "/" ? "" : "/") + match;
                continue;
            }
            resolving = false;
        }
        path = given;
    }
    return path;
}

// An absolute Windows-form text taken apart: the native directory its root stands for and the
// components behind it, "." and ".." resolved (".." stops at the root).
bool splitWindowsForm(const std::wstring& text, std::string& base, std::vector<std::string>& components) {
    const std::wstring path = withoutLongPrefix(text);

    std::vector<std::wstring> parts;
    std::size_t i = 0;
    std::size_t fixed = 0; // parts that ".." may not remove: server and share
    if (path.size() >= 2 && isPathDelimiter(path[0]) && isPathDelimiter(path[1])) {
        if (!uncRoot(base)) {
            errno = ENOENT; // a share without a place for shares fails as a missing file
            return false;
        }
        i = 2;
        fixed = 2;
    } else if (path.size() >= 3 && path[1] == L':' && isPathDelimiter(path[2])) {
        const wchar_t letter = upperDriveLetter(path[0]);
        if (!letter || !posix::driveRoot(letter, base)) {
            errno = ENOENT;
            return false;
        }
        i = 3;
    } else {
        errno = EINVAL;
        return false;
    }

    if (!splitComponents(path, i, fixed, parts)) {
        errno = ENOENT;
        return false;
    }

    components.clear();
    for (const std::wstring& part : parts) {
        std::string native;
        if (!posix::wideToNative(part, native)) {
            errno = EINVAL;
            return false;
        }
        components.push_back(native);
    }
    return true;
}

} // namespace

bool posix::driveRoot(wchar_t letter, std::string& root) {
    letter = upperDriveLetter(letter);
    for (const drive& d : currentDrives()) {
        if (d.letter == letter) {
            root = d.root;
            return true;
        }
    }
    return false;
}

std::wstring posix::driveLetters() {
    std::wstring letters;
    for (const drive& d : currentDrives())
        letters.push_back(d.letter);
    return letters;
}

bool posix::fromNativePath(const std::string& native, std::wstring& windowsForm) {
    std::string path;
    if (!normaliseNative(native, path))
        return false;

    // The longest root that holds the path; among equal roots the first letter.
    const drive* best = nullptr;
    const std::vector<drive> drives = currentDrives();
    for (const drive& d : drives)
        if (isBelow(path, d.root) && (!best || d.root.size() > best->root.size()))
            best = &d;

    // Below $VX_UNC_ROOT, with room for server and share, lies a share when that root is longer.
    std::string shares;
    if (uncRoot(shares) && isBelow(path, shares) && (!best || shares.size() > best->root.size())) {
        const std::size_t skip = shares == "/" ? 1 : shares.size() + 1;
        const std::string rest = path.size() > skip ? path.substr(skip) : std::string();
        const std::size_t slash = rest.find('/'); // between server and share
        if (slash != std::string::npos && slash > 0 && slash + 1 < rest.size()) {
            std::wstring text = L"\\\\" + posix::nativeToWide(rest);
            std::replace(text.begin(), text.end(), L'/', L'\\');
            windowsForm = text;
            return true;
        }
    }
    if (!best)
        return false;

    std::wstring text{best->letter, L':', L'\\'};
    if (path.size() > best->root.size()) {
        const std::size_t skip = best->root == "/" ? 1 : best->root.size() + 1;
        std::wstring rest = posix::nativeToWide(path.substr(skip));
        std::replace(rest.begin(), rest.end(), L'/', L'\\');
        text += rest;
    }
    windowsForm = text;
    return true;
}

bool toNativePath(const std::wstring& windowsForm, std::string& native) {
    return posix::mapWindowsPath(windowsForm, native, false);
}

bool posix::mapWindowsPath(const std::wstring& windowsForm, std::string& native, bool lastAsGiven) {
    if (windowsForm.empty() || windowsForm.find(L'\0') != std::wstring::npos) {
        errno = ENOENT;
        return false;
    }
    std::wstring absolute;
    if (!makeAbsolute(windowsForm, absolute))
        return false;

    std::string base;
    std::vector<std::string> components;
    if (!splitWindowsForm(absolute, base, components))
        return false;
    native = resolveComponents(base, components, lastAsGiven);
    return true;
}

bool currentDirectory(std::wstring& windowsForm) {
    std::vector<char> buffer(256);
    for (;;) {
        if (::getcwd(buffer.data(), buffer.size()))
            break;
        if (errno != ERANGE || buffer.size() >= (1u << 20))
            return false;
        buffer.resize(buffer.size() * 2);
    }
    return posix::fromNativePath(buffer.data(), windowsForm);
}

wchar_t currentDriveLetter() {
    std::wstring current;
    if (!currentDirectory(current) || current.size() < 2 || current[1] != L':')
        return 0;
    return current[0];
}

bool driveExists(wchar_t letter) {
    std::string root;
    return posix::driveRoot(letter, root);
}

} // namespace vx::platform

// --- the reversible mapping between native byte names and wide text ---------------------------

namespace vx::platform::posix {

namespace {

constexpr wchar_t kEscapeBase = 0xDC00; // an invalid byte b (always >= 0x80) becomes kEscapeBase + b

// Length of the valid UTF-8 sequence at p (at most n bytes), 0 if there is none; the code point
// goes to cp. Follows the table of well-formed byte sequences: no overlong forms, no
// surrogates, nothing above U+10FFFF.
std::size_t decodeOne(const unsigned char* p, std::size_t n, char32_t& cp) {
    const unsigned char b = p[0];
    std::size_t length = 0;
    unsigned char low = 0x80, high = 0xBF; // allowed range of the second byte
    if (b >= 0xC2 && b <= 0xDF) {
        length = 2;
        cp = b & 0x1F;
    } else if (b >= 0xE0 && b <= 0xEF) {
        length = 3;
        cp = b & 0x0F;
        if (b == 0xE0) low = 0xA0;
        if (b == 0xED) high = 0x9F;
    } else if (b >= 0xF0 && b <= 0xF4) {
        length = 4;
        cp = b & 0x07;
        if (b == 0xF0) low = 0x90;
        if (b == 0xF4) high = 0x8F;
    } else {
        return 0;
    }
    if (n < length || p[1] < low || p[1] > high)
        return 0;
    for (std::size_t i = 1; i < length; ++i) {
        if (i > 1 && (p[i] < 0x80 || p[i] > 0xBF))
            return 0;
        cp = (cp << 6) | (p[i] & 0x3F);
    }
    return length;
}

} // namespace

std::wstring nativeToWide(const char* text, std::size_t length) {
    std::wstring out;
    out.reserve(length);
    const auto* p = reinterpret_cast<const unsigned char*>(text);
    std::size_t i = 0;
    while (i < length) {
        if (p[i] < 0x80) {
            out.push_back(static_cast<wchar_t>(p[i++]));
            continue;
        }
        char32_t cp = 0;
        const std::size_t n = decodeOne(p + i, length - i, cp);
        if (n == 0) {
            // One byte at a time, so the bytes that follow get their own chance to start a character.
            out.push_back(static_cast<wchar_t>(kEscapeBase + p[i++]));
            continue;
        }
        out.push_back(static_cast<wchar_t>(cp));
        i += n;
    }
    return out;
}

bool wideToNative(const wchar_t* text, std::size_t length, std::string& out) {
    std::string result;
    result.reserve(length);
    for (std::size_t i = 0; i < length; ++i) {
        const auto cp = static_cast<std::uint32_t>(text[i]);
        if (cp == 0 || cp > 0x10FFFF)
            return false;
        if (cp < 0x80) {
            result.push_back(static_cast<char>(cp));
        } else if (cp >= 0xDC80 && cp <= 0xDCFF) {
            result.push_back(static_cast<char>(cp - kEscapeBase));
        } else if (cp >= 0xD800 && cp <= 0xDFFF) {
            return false;
        } else if (cp < 0x800) {
            result.push_back(static_cast<char>(0xC0 | (cp >> 6)));
            result.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else if (cp < 0x10000) {
            result.push_back(static_cast<char>(0xE0 | (cp >> 12)));
            result.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            result.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        } else {
            result.push_back(static_cast<char>(0xF0 | (cp >> 18)));
            result.push_back(static_cast<char>(0x80 | ((cp >> 12) & 0x3F)));
            result.push_back(static_cast<char>(0x80 | ((cp >> 6) & 0x3F)));
            result.push_back(static_cast<char>(0x80 | (cp & 0x3F)));
        }
    }
    out.swap(result);
    return true;
}

} // namespace vx::platform::posix
