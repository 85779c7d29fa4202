// Positions in open files for POSIX systems: lseek, fstat and ftruncate on the handle's descriptor.
#include "platform/vxPlatform.h"

#include <cerrno>
#include <cstdint>
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

bool seekFile(fileHandle& handle, std::uint64_t offset) {
    if (!handle.isOpen()) {
        errno = EBADF;
        return false;
    }
    if (!representable(offset))
        return false;
    return ::lseek(handle.descriptor(), static_cast<off_t>(offset), SEEK_SET) != static_cast<off_t>(-1);
}

bool openFileLength(const fileHandle& handle, std::uint64_t& length) {
    if (!handle.isOpen()) {
        errno = EBADF;
        return false;
    }
    struct stat info;
    if (::fstat(handle.descriptor(), &info) != 0)
        return false;
    length = static_cast<std::uint64_t>(info.st_size);
    return true;
}

bool truncateFile(fileHandle& handle, std::uint64_t length) {
    if (!handle.isOpen()) {
        errno = EBADF;
        return false;
    }
    if (!representable(length))
        return false;
    for (;;) {
        if (::ftruncate(handle.descriptor(), static_cast<off_t>(length)) == 0)
            return true;
        if (errno != EINTR)
            return false;
    }
}

} // namespace vx::platform
