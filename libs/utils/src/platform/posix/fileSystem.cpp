// File-system primitives on Windows-form paths for POSIX systems.
#include "platform/fileSystem.h"
#include "platform/paths.h"
#include "platform/posix/posixShared.h"

#include <cerrno>
#include <cstdio>
#include <fcntl.h>
#include <sys/stat.h>
#include <sys/statfs.h>
#include <unistd.h>

namespace vx::platform {

namespace {

constexpr mode_t kPermissionBits = 07777;
constexpr int kReadBit = 0x100;  // _S_IREAD
constexpr int kWriteBit = 0x80;  // _S_IWRITE

// Copies bytes, permission bits and times of source into a new or truncated regular file.
// The target is removed again when anything fails.
bool copyNative(const std::string& source, const std::string& target, bool exclusive) {
    const int in = posix::openRegular(source, O_RDONLY, 0);
    if (in < 0)
        return false;
    struct stat info;
    if (::fstat(in, &info) != 0) {
        posix::closeDescriptor(in);
        return false;
    }
    const int out = posix::openRegular(target, O_WRONLY | O_CREAT | (exclusive ? O_EXCL : O_TRUNC), 0600);
    if (out < 0) {
        const int error = errno;
        posix::closeDescriptor(in);
        errno = error;
        return false;
    }
    bool ok = true;
    char buffer[65536];
    for (;;) {
        std::size_t got = 0;
        if (!posix::readSome(in, buffer, sizeof buffer, got) || !posix::writeAll(out, buffer, got)) {
            ok = false;
            break;
        }
        if (got < sizeof buffer)
            break;
    }
    const timespec times[2] = {info.st_atim, info.st_mtim};
    ok = ok && ::fchmod(out, info.st_mode & kPermissionBits) == 0 && ::futimens(out, times) == 0;
    const int error = errno;
    posix::closeDescriptor(in);
    ok = posix::closeDescriptor(out) && ok;
    if (!ok) {
        ::unlink(target.c_str());
        errno = error;
    }
    return ok;
}

// Moves an entry without replacing one of the target name.
bool moveNative(const std::string& from, const std::string& to) {
    struct stat source;
    if (::lstat(from.c_str(), &source) != 0)
        return false;
    if (from == to)
        return true;
    int result = ::renameat2(AT_FDCWD, from.c_str(), AT_FDCWD, to.c_str(), RENAME_NOREPLACE);
    if (result != 0 && (errno == EINVAL || errno == ENOSYS)) {
        // A file system without the no-replace flag: test first, accepting the small window.
        struct stat existing;
        if (::lstat(to.c_str(), &existing) == 0) {
            errno = EEXIST;
            return false;
        }
        result = ::rename(from.c_str(), to.c_str());
    }
    if (result == 0)
        return true;
    if (errno != EXDEV || !S_ISREG(source.st_mode))
        return false;
    if (!copyNative(from, to, true))
        return false;
    if (::unlink(from.c_str()) != 0) {
        const int error = errno;
        ::unlink(to.c_str());
        errno = error;
        return false;
    }
    return true;
}

bool mapMove(const std::wstring& from, const std::wstring& to) {
    std::string source, target;
    if (!toNativePath(from, source) || !posix::mapWindowsPath(to, target, false))
        return false;
    if (source == target) {
        // The target names the source itself, perhaps in another case: take the name as given.
        if (!posix::mapWindowsPath(to, target, true))
            return false;
    }
    return moveNative(source, target);
}

} // namespace

bool accessPath(const std::wstring& path, int mode) {
    if (mode != 0 && mode != 2 && mode != 4 && mode != 6) {
        errno = EINVAL;
        return false;
    }
    std::string native;
    struct stat info;
    if (!toNativePath(path, native) || ::stat(native.c_str(), &info) != 0)
        return false;
    if ((mode & 2) && (posix::isReadOnly(info) || ::faccessat(AT_FDCWD, native.c_str(), W_OK, AT_EACCESS) != 0)) {
        errno = EACCES;
        return false;
    }
    if ((mode & 4) && ((info.st_mode & S_IRUSR) == 0 || ::faccessat(AT_FDCWD, native.c_str(), R_OK, AT_EACCESS) != 0)) {
        errno = EACCES;
        return false;
    }
    return true;
}

bool statPath(const std::wstring& path, fileStatus& status) {
    std::string native;
    struct stat info;
    if (!toNativePath(path, native) || ::stat(native.c_str(), &info) != 0)
        return false;
    fileStatus result;
    result.isDirectory = S_ISDIR(info.st_mode);
    result.size = S_ISREG(info.st_mode) ? static_cast<std::uint64_t>(info.st_size) : 0;
    result.modificationTime = info.st_mtim.tv_sec;
    result.creationTime = info.st_ctim.tv_sec;
    result.accessTime = info.st_atim.tv_sec;
    if (result.isDirectory)
        result.attributes |= kAttributeDirectory;
    else if (S_ISREG(info.st_mode))
        result.attributes |= kAttributeArchive;
    else
        result.attributes |= kAttributeSystem;
    if (posix::isReadOnly(info))
        result.attributes |= kAttributeReadOnly;
    const std::size_t slash = native.rfind('/');
    if (slash + 1 < native.size() && native[slash + 1] == '.')
        result.attributes |= kAttributeHidden;
    status = result;
    return true;
}

bool changeMode(const std::wstring& path, int mode) {
    std::string native;
    struct stat info;
    if (!toNativePath(path, native) || ::stat(native.c_str(), &info) != 0)
        return false;
    mode_t bits = info.st_mode & kPermissionBits;
    bits = (mode & kReadBit) ? (bits | S_IRUSR) : (bits & ~static_cast<mode_t>(S_IRUSR | S_IRGRP | S_IROTH));
    bits = (mode & kWriteBit) ? (bits | S_IWUSR) : (bits & ~static_cast<mode_t>(S_IWUSR | S_IWGRP | S_IWOTH));
    return ::chmod(native.c_str(), bits) == 0;
}

bool createNewFile(const std::wstring& path, int mode) {
    std::string native;
    if (!toNativePath(path, native))
        return false;
    const int fd = ::open(native.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, (mode & kWriteBit) ? 0666 : 0444);
    return fd >= 0 && posix::closeDescriptor(fd);
}

int createLockFile(const std::wstring& path) {
    std::string native;
    errno = 0;
    if (!toNativePath(path, native))
        return errno ? errno : ENOENT;
    const int fd = ::open(native.c_str(), O_WRONLY | O_CREAT | O_EXCL | O_CLOEXEC, 0444);
    if (fd < 0)
        return errno == EEXIST ? kLockFileExists : errno;
    posix::closeDescriptor(fd);
    return 0;
}

bool removeFile(const std::wstring& path) {
    std::string native;
    struct stat info;
    if (!toNativePath(path, native) || ::lstat(native.c_str(), &info) != 0)
        return false;
    if (S_ISDIR(info.st_mode) || (S_ISREG(info.st_mode) && posix::isReadOnly(info))) {
        errno = EACCES;
        return false;
    }
    return ::unlink(native.c_str()) == 0;
}

bool renamePath(const std::wstring& from, const std::wstring& to) {
    return mapMove(from, to);
}

bool movePath(const std::wstring& from, const std::wstring& to) {
    return mapMove(from, to);
}

bool copyFile(const std::wstring& from, const std::wstring& to, bool failIfExists) {
    std::string source, target;
    struct stat sourceInfo, targetInfo;
    if (!toNativePath(from, source) || !toNativePath(to, target) || ::stat(source.c_str(), &sourceInfo) != 0)
        return false;
    if (::stat(target.c_str(), &targetInfo) == 0) {
        if (failIfExists) {
            errno = EEXIST;
            return false;
        }
        if (S_ISDIR(targetInfo.st_mode) || posix::isReadOnly(targetInfo) ||
            (targetInfo.st_dev == sourceInfo.st_dev && targetInfo.st_ino == sourceInfo.st_ino)) {
            errno = EACCES; // truncating the source itself would destroy it
            return false;
        }
    }
    return copyNative(source, target, failIfExists);
}

bool setModificationTime(const std::wstring& path, std::int64_t seconds) {
    std::string native;
    struct stat info;
    if (!toNativePath(path, native) || ::stat(native.c_str(), &info) != 0)
        return false;
    if (posix::isReadOnly(info)) {
        errno = EACCES;
        return false;
    }
    timespec times[2];
    times[0].tv_sec = 0;
    times[0].tv_nsec = UTIME_OMIT;
    times[1].tv_sec = static_cast<time_t>(seconds);
    times[1].tv_nsec = 0;
    return ::utimensat(AT_FDCWD, native.c_str(), times, 0) == 0;
}

bool copyFileProperties(const std::wstring& from, const std::wstring& to) {
    std::string source, target;
    struct stat sourceInfo, targetInfo;
    if (!toNativePath(from, source) || !toNativePath(to, target) || ::stat(source.c_str(), &sourceInfo) != 0 ||
        ::stat(target.c_str(), &targetInfo) != 0)
        return false;
    bool ok = true;
    if (!posix::isReadOnly(targetInfo)) {
        const timespec times[2] = {sourceInfo.st_atim, sourceInfo.st_mtim};
        ok = ::utimensat(AT_FDCWD, target.c_str(), times, 0) == 0;
    }
    return ::chmod(target.c_str(), sourceInfo.st_mode & kPermissionBits) == 0 && ok;
}

bool isRemoteDrive(wchar_t letter) {
    std::string root;
    struct statfs info;
    if (!posix::driveRoot(letter, root) || ::statfs(root.c_str(), &info) != 0)
        return false;
    switch (static_cast<unsigned long>(info.f_type)) {
    case 0x6969UL:     // NFS
    case 0x517BUL:     // SMB
    case 0xFE534D42UL: // SMB2
    case 0xFF534D42UL: // CIFS
    case 0x5346414FUL: // AFS
    case 0x73757245UL: // Coda
    case 0x00C36400UL: // Ceph
        return true;
    default:
        return false;
    }
}

bool sameFile(const std::wstring& first, const std::wstring& second) {
    std::string a, b;
    struct stat infoA, infoB;
    if (!toNativePath(first, a) || !toNativePath(second, b) || ::stat(a.c_str(), &infoA) != 0 ||
        ::stat(b.c_str(), &infoB) != 0)
        return false;
    return infoA.st_dev == infoB.st_dev && infoA.st_ino == infoB.st_ino;
}

bool fileIdentity(const std::wstring& path, entryIdentity& id) {
    std::string native;
    struct stat info;
    if (!toNativePath(path, native) || ::stat(native.c_str(), &info) != 0)
        return false;
    id.volume = static_cast<std::uint64_t>(info.st_dev);
    id.index = static_cast<std::uint64_t>(info.st_ino);
    return true;
}

// rename(2) replaces the target atomically: readers see the old file or the new, never a part.
bool replaceFile(const std::wstring& source, const std::wstring& target) {
    std::string from, to;
    if (!toNativePath(source, from) || !toNativePath(target, to))
        return false;
    struct stat info;
    if (::stat(to.c_str(), &info) == 0) {
        if (S_ISDIR(info.st_mode)) {
            errno = EISDIR;
            return false;
        }
        if (::chmod(from.c_str(), info.st_mode & 07777) != 0)
            return false;
    }
    return std::rename(from.c_str(), to.c_str()) == 0;
}

} // namespace vx::platform
