// Open files on POSIX systems: a descriptor, with lseek, fstat and ftruncate for positions.
#include "platform/files.h"
#include "platform/paths.h"
#include "platform/posix/posixShared.h"

#include <cerrno>
#include <cstdint>
#include <fcntl.h>
#include <limits>
#include <sys/stat.h>
#include <sys/types.h>
#include <unistd.h>

namespace vx::platform {

namespace {

// off_t is signed: an offset above its maximum has no position.
bool representable(std::uint64_t offset) {
    if (offset > static_cast<std::uint64_t>(std::numeric_limits<off_t>::max())) {
        errno = EOVERFLOW;
        return false;
    }
    return true;
}

} // namespace

// Opens a regular file and nothing else: O_NONBLOCK keeps a FIFO from waiting for its peer, and
// is cleared again once the descriptor is known to be a regular file.
int posix::openRegular(const std::string& native, int flags, mode_t mode) {
    const int fd = ::open(native.c_str(), flags | O_CLOEXEC | O_NONBLOCK, mode);
    if (fd < 0)
        return -1;
    struct stat info{};
    if (::fstat(fd, &info) != 0 || !S_ISREG(info.st_mode)) {
        const int error = S_ISDIR(info.st_mode) ? EISDIR : EINVAL;
        ::close(fd);
        errno = error;
        return -1;
    }
    ::fcntl(fd, F_SETFL, ::fcntl(fd, F_GETFL) & ~O_NONBLOCK);
    return fd;
}

bool posix::writeAll(int fd, const void* data, std::size_t size) {
    const char* p = static_cast<const char*>(data);
    while (size > 0) {
        const ssize_t n = ::write(fd, p, size);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        p += n;
        size -= static_cast<std::size_t>(n);
    }
    return true;
}

bool posix::readSome(int fd, void* buffer, std::size_t size, std::size_t& done) {
    done = 0;
    char* p = static_cast<char*>(buffer);
    while (done < size) {
        const ssize_t n = ::read(fd, p + done, size - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n < 0)
            return false;
        if (n == 0)
            break;
        done += static_cast<std::size_t>(n);
    }
    return true;
}

bool posix::closeDescriptor(int fd) {
    // Linux releases the descriptor even when close reports EINTR: never close twice.
    return ::close(fd) == 0 || errno == EINTR;
}


bool fileHandle::seek(std::uint64_t offset) {
    if (!isOpen()) {
        errno = EBADF;
        return false;
    }
    if (!representable(offset))
        return false;
    return ::lseek(static_cast<int>(mHandle), static_cast<off_t>(offset), SEEK_SET) != static_cast<off_t>(-1);
}

bool fileHandle::length(std::uint64_t& bytes) const {
    bool removed = false;
    return lengthAndRemoved(bytes, removed);
}

bool fileHandle::lengthAndRemoved(std::uint64_t& bytes, bool& removed) const {
    if (!isOpen()) {
        errno = EBADF;
        return false;
    }
    struct stat info;
    if (::fstat(static_cast<int>(mHandle), &info) != 0)
        return false;
    bytes = static_cast<std::uint64_t>(info.st_size);
    removed = info.st_nlink == 0;
    return true;
}

bool fileHandle::truncate(std::uint64_t bytes) {
    if (!isOpen()) {
        errno = EBADF;
        return false;
    }
    if (!representable(bytes))
        return false;
    for (;;) {
        if (::ftruncate(static_cast<int>(mHandle), static_cast<off_t>(bytes)) == 0)
            return true;
        if (errno != EINTR)
            return false;
    }
}

bool fileHandle::open(const std::wstring& path, openMode mode) {
    close();
    std::string native;
    if (!toNativePath(path, native))
        return false;
    struct stat info;
    const bool exists = ::stat(native.c_str(), &info) == 0;
    int flags = O_RDONLY;
    if (mode == openRead) {
        if (exists && (info.st_mode & S_IRUSR) == 0) {
            errno = EACCES;
            return false;
        }
    } else {
        if (exists && S_ISREG(info.st_mode) && posix::isReadOnly(info)) {
            errno = EACCES;
            return false;
        }
        flags = O_WRONLY | O_CREAT | (mode == openWrite ? O_TRUNC : O_APPEND);
    }
    mHandle = posix::openRegular(native, flags, 0666);
    return mHandle != kClosed;
}

bool fileHandle::read(void* buffer, std::size_t size, std::size_t& done) {
    done = 0;
    if (mHandle == kClosed) {
        errno = EBADF;
        return false;
    }
    return posix::readSome(static_cast<int>(mHandle), buffer, size, done);
}

bool fileHandle::write(const void* data, std::size_t size) {
    if (mHandle == kClosed) {
        errno = EBADF;
        return false;
    }
    return posix::writeAll(static_cast<int>(mHandle), data, size);
}

bool fileHandle::close() {
    if (mHandle == kClosed)
        return true;
    const int fd = static_cast<int>(mHandle);
    mHandle = kClosed;
    return posix::closeDescriptor(fd);
}

} // namespace vx::platform
