// The registry as a store of one registry file per hive.
//
// Readers take the file as it stands: a file is only ever replaced whole, by rename, so a reader
// sees the old hive or the new one. A writer takes the hive's lock (flock on "<hive>.reg.lock",
// which the system releases when its holder dies), reads the hive again under it, changes it and
// writes the new file beside the old one before renaming it into place, so two processes writing
// at once lose nothing and a crash never leaves half a file.
#include "platform/registry.h"

#include "platform/text.h"
#include "platform/posix/posixShared.h"

#include <algorithm>
#include <cerrno>
#include <chrono>
#include <cstdio>
#include <fcntl.h>
#include <sys/file.h>
#include <sys/stat.h>
#include <thread>
#include <unistd.h>

namespace vx::platform {

namespace {

// A hive file larger than this is not read: the store refuses it rather than fill memory.
constexpr off_t kHiveFileMax = 64 * 1024 * 1024;
// How long a writer waits for another one that holds the hive's lock.
constexpr auto kLockWait = std::chrono::seconds(10);

bool storeFolder(std::string& folder) {
    std::string value;
    if (posix::readEnvironment("VX_REGISTRY_DIR", value) && !value.empty()) {
        folder = value;
        return true;
    }
    if (posix::readEnvironment("XDG_CONFIG_HOME", value) && !value.empty() && value[0] == '/') {
        folder = value + "/vxUtils/registry";
        return true;
    }
    if (posix::readEnvironment("HOME", value) && !value.empty()) {
        folder = value + "/.config/vxUtils/registry";
        return true;
    }
    return false;
}

// The hive's file; the hive names are ASCII.
bool hiveFile(const std::wstring& hive, std::string& path) {
    if (!isRegistryHive(hive) || !storeFolder(path))
        return false;
    path += '/';
    for (const wchar_t c : hive)
        path += static_cast<char>(c);
    path += ".reg";
    return true;
}

bool makeFolders(const std::string& folder) {
    for (std::size_t slash = folder.find('/', 1);; slash = folder.find('/', slash + 1)) {
        const std::string part = folder.substr(0, slash);
        if (!part.empty() && ::mkdir(part.c_str(), 0700) != 0 && errno != EEXIST)
            return false;
        if (slash == std::string::npos)
            break;
    }
    struct stat info{};
    return ::stat(folder.c_str(), &info) == 0 && S_ISDIR(info.st_mode);
}

// The hive as its file holds it. A missing file is an empty hive. usable is false for a file
// that is there but cannot be read as a registry file: it reads as empty, and no write replaces
// it.
bool loadHive(const std::string& path, registryTree& tree, bool& usable) {
    usable = false;
    const int fd = posix::openRegular(path, O_RDONLY, 0);
    if (fd < 0) {
        usable = errno == ENOENT;
        return usable;
    }
    struct stat info{};
    std::string bytes;
    bool ok = ::fstat(fd, &info) == 0 && info.st_size <= kHiveFileMax;
    if (ok) {
        bytes.resize(static_cast<std::size_t>(info.st_size));
        std::size_t done = 0;
        ok = posix::readSome(fd, &bytes[0], bytes.size(), done) && done == bytes.size();
    }
    posix::closeDescriptor(fd);
    std::vector<registrySection> sections;
    if (!ok || !parseRegistryFile(bytes, sections))
        return false;
    tree.apply(sections);
    usable = true;
    return true;
}

bool saveHive(const std::string& path, const registryTree& tree) {
    struct stat old{};
    const bool replacing = ::stat(path.c_str(), &old) == 0;
    const std::string temporary = path + ".new";
    const int fd = ::open(temporary.c_str(), O_WRONLY | O_CREAT | O_TRUNC | O_CLOEXEC | O_NOFOLLOW, 0600);
    if (fd < 0)
        return false;
    const std::string bytes = formatRegistryFile(tree.hive(), {}, tree.root());
    bool ok = posix::writeAll(fd, bytes.data(), bytes.size()) && ::fsync(fd) == 0;
    if (ok && replacing)
        ok = ::fchmod(fd, old.st_mode & 07777) == 0;
    ok = posix::closeDescriptor(fd) && ok;
    ok = ok && std::rename(temporary.c_str(), path.c_str()) == 0;
    if (!ok)
        ::unlink(temporary.c_str());
    return ok;
}

// The exclusive lock of one hive, held while the object lives.
class hiveLock {
public:
    explicit hiveLock(const std::string& hivePath) {
        std::string folder = hivePath.substr(0, hivePath.rfind('/'));
        if (!makeFolders(folder))
            return;
        mFd = ::open((hivePath + ".lock").c_str(), O_RDWR | O_CREAT | O_CLOEXEC | O_NOFOLLOW, 0600);
        if (mFd < 0)
            return;
        const auto deadline = std::chrono::steady_clock::now() + kLockWait;
        while (::flock(mFd, LOCK_EX | LOCK_NB) != 0) {
            if ((errno != EWOULDBLOCK && errno != EINTR) || std::chrono::steady_clock::now() > deadline) {
                ::close(mFd);
                mFd = -1;
                return;
            }
            std::this_thread::sleep_for(std::chrono::milliseconds(2));
        }
    }
    ~hiveLock() {
        if (mFd >= 0)
            ::close(mFd); // releases the lock
    }
    hiveLock(const hiveLock&) = delete;
    hiveLock& operator=(const hiveLock&) = delete;
    bool held() const { return mFd >= 0; }

private:
    int mFd = -1;
};

// Runs change on the hive under its lock and writes the hive when change answers true.
template <class Change>
bool changeHive(const std::wstring& hive, Change change) {
    std::string path;
    if (!hiveFile(hive, path))
        return false;
    hiveLock lock(path);
    registryTree tree(hive);
    bool usable = false;
    return lock.held() && loadHive(path, tree, usable) && change(tree) && saveHive(path, tree);
}

// The key at path of the hive as its file stands now; null when it is missing.
registryKey* readKey(const std::wstring& hive, const std::vector<std::wstring>& path, registryTree& tree) {
    std::string file;
    bool usable = false;
    if (!hiveFile(hive, file) || !loadHive(file, tree, usable))
        return nullptr;
    return tree.find(path);
}

} // namespace

bool registryQueryValue(const std::wstring& hive, const std::vector<std::wstring>& path,
                        const std::wstring& name, registryValue& value) {
    registryTree tree(hive);
    const registryKey* key = readKey(hive, path, tree);
    const registryValue* found = key ? key->findValue(name) : nullptr;
    if (found)
        value = *found;
    return found != nullptr;
}

bool registrySubKeyNames(const std::wstring& hive, const std::vector<std::wstring>& path,
                         std::vector<std::wstring>& names) {
    registryTree tree(hive);
    const registryKey* key = readKey(hive, path, tree);
    if (!key)
        return false;
    for (const auto& entry : key->keys)
        names.push_back(entry.second->name);
    return true;
}

bool registryValueNames(const std::wstring& hive, const std::vector<std::wstring>& path,
                        std::vector<std::wstring>& names) {
    registryTree tree(hive);
    const registryKey* key = readKey(hive, path, tree);
    if (!key)
        return false;
    for (const registryValue* value : key->orderedValues())
        names.push_back(value->name);
    return true;
}

bool registryReadTree(const std::wstring& hive, const std::vector<std::wstring>& path, registryKey& key) {
    registryTree tree(hive);
    registryKey* found = readKey(hive, path, tree);
    if (!found)
        return false;
    key = std::move(*found);
    return true;
}

bool registryApply(const std::vector<registrySection>& sections) {
    // Hive by hive, in the order of their first section; each hive in one step.
    std::vector<std::wstring> hives;
    for (const registrySection& section : sections)
        if (std::find(hives.begin(), hives.end(), section.hive) == hives.end())
            hives.push_back(section.hive);
    bool ok = true;
    for (const std::wstring& hive : hives)
        ok = changeHive(hive, [&](registryTree& tree) { return tree.apply(sections); }) && ok;
    return ok;
}

bool registryRemove(const std::wstring& hive, const std::vector<std::wstring>& path, const std::wstring& name) {
    return changeHive(hive, [&](registryTree& tree) {
        registryKey* key = tree.find(path);
        if (!key)
            return false;
        if (key->removeValue(name))
            return true;
        // A key goes only when it has no sub-keys, as the registry deletes keys.
        const registryKey* sub = key->findKey(name);
        return sub && sub->keys.empty() && key->keys.erase(foldedText(name)) > 0;
    });
}

} // namespace vx::platform
