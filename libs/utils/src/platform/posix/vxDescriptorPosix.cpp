// Descriptors given to other libraries, and the identity of files, on POSIX systems.
#include "platform/vxPlatform.h"

#include <cerrno>
#include <fcntl.h>
#include <string>
#include <sys/stat.h>
#include <unistd.h>

namespace vx::platform {

int duplicateDescriptor(const fileHandle& handle) {
    if (!handle.isOpen()) {
        errno = EBADF;
        return -1;
    }
    // Close-on-exec, like every descriptor of the library: a started process inherits none.
    return ::fcntl(handle.descriptor(), F_DUPFD_CLOEXEC, 0);
}

void discardDescriptor(int descriptor) {
    // Linux releases the descriptor even when close reports EINTR: never close twice.
    if (descriptor >= 0)
        ::close(descriptor);
}

bool sameFile(const std::wstring& first, const std::wstring& second) {
    std::string a, b;
    struct stat infoA, infoB;
    if (!toNativePath(first, a) || !toNativePath(second, b) || ::stat(a.c_str(), &infoA) != 0 ||
        ::stat(b.c_str(), &infoB) != 0)
        return false;
    return infoA.st_dev == infoB.st_dev && infoA.st_ino == infoB.st_ino;
}

} // namespace vx::platform
