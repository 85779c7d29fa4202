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

// The constants are defined here once as well, so that the library exports them: on Windows a
// caller that takes one by reference finds it in the DLL.
constexpr unsigned int mutex::infinite;

} // namespace vx
