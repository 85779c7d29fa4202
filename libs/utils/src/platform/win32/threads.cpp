// Thread identity, sleeping and the recursive timed mutex on Windows.
#include "platform/threads.h"

#include "platform/events.h"
#include "platform/win32/win32Shared.h"

#include <atomic>
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

// Threads: the system's own suspension, termination and priorities.
namespace {
// What the new thread needs to begin; the thread and its handle each hold one reference.
struct threadStart {
    std::atomic<int> references{2};
    std::atomic<bool> claimed{false}; // by the thread that runs it, or by a close that discards it
    int (*entry)(void*);
    void* argument;
    void (*discard)(void*);
};

void releaseStart(threadStart* start) {
    if (--start->references == 0)
        delete start;
}

DWORD WINAPI threadMain(LPVOID raw) {
    auto* start = static_cast<threadStart*>(raw);
    if (start->claimed.exchange(true)) {
        releaseStart(start);
        return 1;
    }
    int (*entry)(void*) = start->entry;
    void* argument = start->argument;
    releaseStart(start);
    return static_cast<DWORD>(entry(argument));
}
} // namespace

struct systemThread {
    event ended; // the thread's handle, set once it has ended
    threadStart* start;
};

systemThread* createHeldThread(int (*entry)(void*), void* argument, void (*discard)(void*), std::uint32_t& id) {
    auto* start = new (std::nothrow) threadStart;
    auto* t = new (std::nothrow) systemThread;
    if (!start || !t) {
        delete start;
        delete t;
        return nullptr;
    }
    start->entry = entry;
    start->argument = argument;
    start->discard = discard;
    DWORD threadId = 0;
    HANDLE handle = CreateThread(nullptr, 0, &threadMain, start, CREATE_SUSPENDED, &threadId);
    if (!handle) {
        delete start;
        delete t;
        return nullptr;
    }
    t->ended = event{handle, false};
    t->start = start;
    id = threadId;
    return t;
}

void honourSuspension(systemThread*) {
    // The system suspends a thread wherever it is.
}

std::uint32_t suspendThread(systemThread* t) {
    return SuspendThread(t->ended.handle);
}

std::uint32_t resumeThread(systemThread* t) {
    return ResumeThread(t->ended.handle);
}

bool terminateThread(systemThread* t, std::uint32_t exitCode) {
    if (!TerminateThread(t->ended.handle, exitCode))
        return false;
    // The system ends the thread after the call has returned. Waiting for it (a second at most)
    // lets the next look at the handle see the end, and lets a close find a thread that never
    // began ended, so that it frees what the thread would have taken.
    WaitForSingleObject(t->ended.handle, 1000);
    return true;
}

bool wasTerminated(systemThread*) {
    return false; // a terminated thread runs no more of its code
}

bool threadExitCode(systemThread* t, std::uint32_t& exitCode) {
    DWORD code = 0;
    if (!GetExitCodeThread(t->ended.handle, &code))
        return false;
    exitCode = code;
    return true;
}

bool setThreadLevel(systemThread* t, int level) {
    return SetThreadPriority(t->ended.handle, level) != FALSE;
}

int threadLevel(systemThread* t) {
    return GetThreadPriority(t->ended.handle);
}

event* threadEndEvent(systemThread* t) {
    return &t->ended;
}

bool waitThreadReturned(systemThread* t, unsigned int milliseconds) {
    const DWORD limit = milliseconds == kWaitForever ? INFINITE : milliseconds;
    return WaitForSingleObject(t->ended.handle, limit) == WAIT_OBJECT_0;
}

void closeThread(systemThread* t) {
    threadStart* start = t->start;
    // A thread ended before it began leaves its argument to the close.
    if (WaitForSingleObject(t->ended.handle, 0) == WAIT_OBJECT_0 && !start->claimed.exchange(true)) {
        if (start->discard)
            start->discard(start->argument);
        releaseStart(start); // the thread's own reference: it never ran
    }
    releaseStart(start);
    CloseHandle(t->ended.handle);
    delete t;
}

std::uint32_t lastSystemError() {
    return GetLastError();
}

} // namespace vx::platform
