// Thread identity, sleeping and the recursive timed mutex on Windows.
#include "platform/threads.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <new>

namespace vx::platform {

std::uint64_t currentThreadId() {
    return GetCurrentThreadId();
}

void yieldThread() {
    SwitchToThread();
}

void sleepMilliseconds(unsigned int milliseconds) {
    // INFINITE is a value of its own: a wait that long goes in two steps.
    if (milliseconds == INFINITE) {
        Sleep(INFINITE - 1);
        milliseconds = 1;
    }
    Sleep(milliseconds);
}

// A system mutex: recursive and with a timed wait by nature, and ReleaseMutex itself refuses a
// thread that does not hold it.
struct recursiveMutex {
    HANDLE handle;
};

recursiveMutex* createRecursiveMutex() {
    HANDLE handle = CreateMutexW(nullptr, FALSE, nullptr);
    if (!handle)
        return nullptr;
    auto* m = new (std::nothrow) recursiveMutex{handle};
    if (!m)
        CloseHandle(handle);
    return m;
}

void destroyRecursiveMutex(recursiveMutex* m) {
    if (!m)
        return;
    CloseHandle(m->handle);
    delete m;
}

bool lockRecursiveMutex(recursiveMutex* m) {
    // A mutex abandoned by a thread that ended while holding it passes to the waiter.
    const DWORD result = WaitForSingleObject(m->handle, INFINITE);
    return result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
}

bool lockRecursiveMutexFor(recursiveMutex* m, unsigned int milliseconds) {
    if (milliseconds == INFINITE)
        --milliseconds; // a bounded wait stays bounded
    const DWORD result = WaitForSingleObject(m->handle, milliseconds);
    return result == WAIT_OBJECT_0 || result == WAIT_ABANDONED;
}

bool unlockRecursiveMutex(recursiveMutex* m) {
    return ReleaseMutex(m->handle) != FALSE;
}

} // namespace vx::platform
