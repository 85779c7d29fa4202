// Directories, their listing and the system's folders on POSIX systems.
#include "platform/directories.h"
#include "platform/fileSystem.h"
#include "platform/paths.h"
#include "platform/posix/posixShared.h"
#include "platform/text.h"

#include <algorithm>
#include <atomic>
#include <cerrno>
#include <cwctype>
#include <dirent.h>
#include <fcntl.h>
#include <fstream>
#include <locale.h>
#include <sys/stat.h>
#include <sys/statvfs.h>
#include <unistd.h>
#include <vector>

namespace vx::platform {

namespace {


// An absolute native path from the environment; XDG counts a relative one as unset.
bool absoluteVariable(const char* name, std::string& value) {
    std::string text;
    if (!posix::readEnvironment(name, text) || text.empty() || text[0] != '/')
        return false;
    value = text;
    return true;
}

bool home(std::string& path) {
    return absoluteVariable("HOME", path);
}

// A folder of the XDG user directories (XDG_DESKTOP_DIR and the like) from user-dirs.dirs: a
// line NAME="$HOME/rest" or NAME="/absolute", shell-escaped within the quotes. False when the
// file or the line is missing or holds anything else.
bool xdgUserDir(const std::string& homePath, const char* name, std::string& path) {
    std::string config;
    if (!absoluteVariable("XDG_CONFIG_HOME", config))
        config = homePath + "/.config";
    std::ifstream in(config + "/user-dirs.dirs");
    const std::string key = std::string(name) + "=\"";
    std::string line, found;
    bool any = false;
    while (std::getline(in, line)) {
        const std::size_t start = line.find_first_not_of(" \t");
        if (start == std::string::npos || line.compare(start, key.size(), key) != 0)
            continue;
        std::string value;
        bool closed = false;
        for (std::size_t i = start + key.size(); i < line.size(); ++i) {
            if (line[i] == '\\' && i + 1 < line.size()) {
                value += line[++i];
            } else if (line[i] == '"') {
                closed = true;
                break;
            } else {
                value += line[i];
            }
        }
        if (!closed)
            continue;
        // A later line wins, as when the file is sourced by a shell.
        if (value == "$HOME" || value.compare(0, 6, "$HOME/") == 0) {
            found = homePath + value.substr(5);
            any = true;
        } else if (!value.empty() && value[0] == '/') {
            found = value;
            any = true;
        }
    }
    if (any)
        path = found;
    return any;
}

bool nativeFolder(int csidl, std::string& path) {
    std::string homePath;
    const bool haveHome = home(homePath);
    switch (csidl) {
    case csidlPersonal:
        path = homePath;
        return haveHome;
    case csidlDesktop:
        if (!haveHome)
            return false;
        if (!xdgUserDir(homePath, "XDG_DESKTOP_DIR", path))
            path = homePath + "/Desktop";
        return true;
    case csidlCommonDocuments:
        if (!haveHome)
            return false;
        if (!xdgUserDir(homePath, "XDG_PUBLICSHARE_DIR", path))
            path = homePath + "/Public";
        return true;
    case csidlAppData:
        if (absoluteVariable("XDG_CONFIG_HOME", path))
            return true;
        path = homePath + "/.config";
        return haveHome;
    case csidlLocalAppData:
        if (absoluteVariable("XDG_DATA_HOME", path))
            return true;
        path = homePath + "/.local/share";
        return haveHome;
    case csidlCommonAppData: {
        // The first absolute entry of the list, else the default of the XDG rules.
        std::string list;
        if (posix::readEnvironment("XDG_CONFIG_DIRS", list)) {
            std::size_t begin = 0;
            while (begin <= list.size()) {
                const std::size_t end = std::min(list.find(':', begin), list.size());
                if (end > begin && list[begin] == '/') {
                    path = list.substr(begin, end - begin);
                    return true;
                }
                begin = end + 1;
            }
        }
        path = "/etc/xdg";
        return true;
    }
    default:
        errno = EINVAL;
        return false;
    }
}

} // namespace

bool createDirectory(const std::wstring& path) {
    std::string native;
    return toNativePath(path, native) && ::mkdir(native.c_str(), 0777) == 0;
}

bool removeDirectory(const std::wstring& path) {
    std::string native;
    struct stat info;
    if (!toNativePath(path, native) || ::lstat(native.c_str(), &info) != 0)
        return false;
    if (S_ISLNK(info.st_mode)) {
        struct stat target;
        if (::stat(native.c_str(), &target) != 0 || !S_ISDIR(target.st_mode)) {
            errno = ENOTDIR;
            return false;
        }
        return ::unlink(native.c_str()) == 0;
    }
    if (S_ISDIR(info.st_mode) && posix::isReadOnly(info)) {
        errno = EACCES;
        return false;
    }
    return ::rmdir(native.c_str()) == 0;
}

bool changeCurrentDirectory(const std::wstring& path) {
    std::string native;
    return toNativePath(path, native) && ::chdir(native.c_str()) == 0;
}

bool diskSpace(const std::wstring& path, std::uint64_t& freeToCaller, std::uint64_t& total, std::uint64_t& totalFree) {
    std::string native;
    struct statvfs info;
    if (!toNativePath(path, native) || ::statvfs(native.c_str(), &info) != 0)
        return false;
    const std::uint64_t unit = info.f_frsize ? info.f_frsize : info.f_bsize;
    freeToCaller = static_cast<std::uint64_t>(info.f_bavail) * unit;
    total = static_cast<std::uint64_t>(info.f_blocks) * unit;
    totalFree = static_cast<std::uint64_t>(info.f_bfree) * unit;
    return true;
}

bool knownFolder(int csidl, std::wstring& windowsForm) {
    std::string native;
    return nativeFolder(csidl, native) && posix::fromNativePath(native, windowsForm);
}

bool systemTemporaryDirectory(std::wstring& windowsForm) {
    std::string native;
    if (absoluteVariable("TMPDIR", native) && posix::fromNativePath(native, windowsForm))
        return true;
    return posix::fromNativePath("/tmp", windowsForm);
}

// --- listing ----------------------------------------------------------------------------------------

namespace {

// Listings examine their entries relative to their directory's descriptor, which spares the
// walk along the whole path. A walk keeps one listing open per level, so only this many keep a
// descriptor at a time; the others examine by path and a deep tree never runs the process out
// of descriptors.
constexpr int kMaxHeldDescriptors = 64;
std::atomic<int> heldDescriptors{0};

} // namespace

struct directoryListing::state {
    struct name {
        std::string native;
        std::wstring wide;
        std::wstring folded;
        entryKind kind;
        bool dots; // "." or ".."
    };
    int descriptor = -1;
    std::string directory; // native, with a trailing '/'
    std::vector<name> names;
    std::size_t position = 0;

    ~state() {
        if (descriptor >= 0) {
            ::close(descriptor);
            --heldDescriptors;
        }
    }

    int stat(const std::string& entry, struct stat& info, bool follow) const {
        if (descriptor >= 0)
            return ::fstatat(descriptor, entry.c_str(), &info, follow ? 0 : AT_SYMLINK_NOFOLLOW);
        const std::string path = directory + entry;
        return follow ? ::stat(path.c_str(), &info) : ::lstat(path.c_str(), &info);
    }
};

directoryListing::directoryListing() : mpState(nullptr) {}

directoryListing::~directoryListing() {
    delete mpState;
}

bool directoryListing::open(const std::wstring& path) {
    delete mpState;
    mpState = nullptr;
    std::string native;
    if (!toNativePath(path, native))
        return false;
    const int fd = ::open(native.c_str(), O_RDONLY | O_DIRECTORY | O_CLOEXEC);
    if (fd < 0)
        return false;
    // The names are read at once, so removing entries while the listing goes on skips nothing.
    const int listed = ::dup(fd);
    DIR* dir = listed >= 0 ? ::fdopendir(listed) : nullptr;
    if (!dir) {
        if (listed >= 0)
            ::close(listed);
        ::close(fd);
        return false;
    }
    auto* s = new state;
    s->directory = native == "/" ? native : native + "/";
    while (const dirent* entry = ::readdir(dir)) {
        const std::string name = entry->d_name;
        if (name.find('\\') != std::string::npos)
            continue;
        entryKind kind = kindUnknown;
        if (entry->d_type == DT_DIR)
            kind = kindDirectory;
        else if (entry->d_type != DT_UNKNOWN && entry->d_type != DT_LNK)
            kind = kindOther;
        state::name n{name, posix::nativeToWide(name), {}, kind, name == "." || name == ".."};
        n.folded = n.wide;
        for (wchar_t& c : n.folded)
            c = foldCase(c);
        s->names.push_back(std::move(n));
    }
    ::closedir(dir);
    if (++heldDescriptors <= kMaxHeldDescriptors) {
        s->descriptor = fd;
    } else {
        --heldDescriptors;
        ::close(fd);
    }
    std::sort(s->names.begin(), s->names.end(), [](const state::name& a, const state::name& b) {
        // "." and ".." first, as the find functions give them.
        if (a.dots != b.dots)
            return a.dots;
        if (a.folded != b.folded)
            return a.folded < b.folded;
        return a.native < b.native;
    });
    mpState = s;
    return true;
}

bool directoryListing::next(std::wstring& name, entryKind& kind) {
    if (!mpState || mpState->position >= mpState->names.size())
        return false;
    const state::name& n = mpState->names[mpState->position++];
    name = n.wide;
    kind = n.kind;
    return true;
}

bool directoryListing::examine(std::uint32_t& attributes) {
    if (!mpState || mpState->position == 0)
        return false;
    const std::string& name = mpState->names[mpState->position - 1].native;
    struct stat own, info;
    if (mpState->stat(name, own, false) != 0)
        return false;
    std::uint32_t found = 0;
    bool resolved = true;
    if (S_ISLNK(own.st_mode)) {
        found |= kAttributeLink;
        resolved = mpState->stat(name, info, true) == 0;
    } else {
        info = own;
    }
    if (!resolved)
        found |= kAttributeSystem; // a link that points nowhere
    else if (S_ISDIR(info.st_mode))
        found |= kAttributeDirectory;
    else if (S_ISREG(info.st_mode))
        found |= kAttributeArchive;
    else
        found |= kAttributeSystem;
    if (resolved && posix::isReadOnly(info))
        found |= kAttributeReadOnly;
    if (!name.empty() && name[0] == '.')
        found |= kAttributeHidden;
    attributes = found;
    return true;
}

} // namespace vx::platform
