#include "vxMutex.h"

#include "platform/threads.h"

namespace vx {

namespace {
platform::recursiveMutex* handleOf(void* handle) {
    return static_cast<platform::recursiveMutex*>(handle);
}
} // namespace

mutex::mutex() : mHandle(platform::createRecursiveMutex()) {}

mutex::~mutex() {
    platform::destroyRecursiveMutex(handleOf(mHandle));
}

bool mutex::lock() {
    return platform::lockRecursiveMutex(handleOf(mHandle));
}

bool mutex::lock(unsigned int milliseconds) {
    if (milliseconds == infinite)
        return lock();
    return platform::lockRecursiveMutexFor(handleOf(mHandle), milliseconds);
}

void mutex::release() {
    platform::unlockRecursiveMutex(handleOf(mHandle));
}

} // namespace vx
