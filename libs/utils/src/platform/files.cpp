// What an open file handle does alike on every system: it owns its system handle alone.
#include "platform/files.h"

namespace vx::platform {

fileHandle::~fileHandle() {
    close();
}

fileHandle::fileHandle(fileHandle&& other) noexcept : mHandle(other.mHandle) {
    other.mHandle = kClosed;
}

fileHandle& fileHandle::operator=(fileHandle&& other) noexcept {
    if (this != &other) {
        close();
        mHandle = other.mHandle;
        other.mHandle = kClosed;
    }
    return *this;
}

} // namespace vx::platform
