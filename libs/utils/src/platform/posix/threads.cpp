// Thread identity and the recursive timed mutex on POSIX systems.
#include "platform/threads.h"

#include <atomic>
#include <cerrno>
#include <ctime>
#include <new>
#include <pthread.h>
#include <sched.h>
#include <sys/syscall.h>
#include <unistd.h>

namespace vx::platform {

namespace {

// The kernel's thread id, asked once per thread: spin locks read it on every acquisition.
thread_local std::uint64_t tCachedThreadId = 0;

void forgetThreadIdInChild() {
    // The child of fork is a new process whose only thread has a new id.
    tCachedThreadId = 0;
}

struct forkHandlerInstaller {
    forkHandlerInstaller() { pthread_atfork(nullptr, nullptr, &forgetThreadIdInChild); }
};
const forkHandlerInstaller installForkHandler;

} // namespace

std::uint64_t currentThreadId() {
    if (tCachedThreadId == 0)
        tCachedThreadId = static_cast<std::uint64_t>(::syscall(SYS_gettid));
    return tCachedThreadId;
}

void yieldThread() {
    ::sched_yield();
}

// The holder is remembered so that a release by any other thread is refused before it reaches
// pthread_mutex_unlock, which must only be called by the holder.
struct recursiveMutex {
    pthread_mutex_t handle;
    std::atomic<std::uint64_t> holder{0}; // written by the holder only
    unsigned long depth = 0;               // touched by the holder only
};

namespace {
bool taken(recursiveMutex* m, int rc) {
    if (rc != 0)
        return false;
    if (m->depth++ == 0)
        m->holder.store(currentThreadId(), std::memory_order_relaxed);
    return true;
}
} // namespace

recursiveMutex* createRecursiveMutex() {
    auto* m = new recursiveMutex;
    pthread_mutexattr_t attributes;
    pthread_mutexattr_init(&attributes);
    pthread_mutexattr_settype(&attributes, PTHREAD_MUTEX_RECURSIVE);
    const int rc = pthread_mutex_init(&m->handle, &attributes);
    pthread_mutexattr_destroy(&attributes);
    if (rc != 0) {
        delete m;
        throw std::bad_alloc();
    }
    return m;
}

void destroyRecursiveMutex(recursiveMutex* m) {
    if (!m)
        return;
    pthread_mutex_destroy(&m->handle);
    delete m;
}

bool lockRecursiveMutex(recursiveMutex* m) {
    return taken(m, pthread_mutex_lock(&m->handle));
}

bool lockRecursiveMutexFor(recursiveMutex* m, unsigned int milliseconds) {
    if (milliseconds == 0)
        return taken(m, pthread_mutex_trylock(&m->handle));
    // pthread_mutex_timedlock measures against the real-time clock; the deadline is computed
    // once, so a wait interrupted by a signal resumes towards the same end.
    timespec deadline{};
    clock_gettime(CLOCK_REALTIME, &deadline);
    deadline.tv_sec += static_cast<time_t>(milliseconds / 1000);
    deadline.tv_nsec += static_cast<long>(milliseconds % 1000) * 1000000L;
    if (deadline.tv_nsec >= 1000000000L) {
        deadline.tv_sec += 1;
        deadline.tv_nsec -= 1000000000L;
    }
    int rc;
    do {
        rc = pthread_mutex_timedlock(&m->handle, &deadline);
    } while (rc == EINTR);
    return taken(m, rc);
}

bool unlockRecursiveMutex(recursiveMutex* m) {
    // Only the holder can have stored its own id, and it clears it before it lets go.
    if (m->holder.load(std::memory_order_relaxed) != currentThreadId())
        return false;
    if (--m->depth == 0)
        m->holder.store(0, std::memory_order_relaxed);
    return pthread_mutex_unlock(&m->handle) == 0;
}

void sleepMilliseconds(unsigned int milliseconds) {
    timespec remaining{static_cast<time_t>(milliseconds / 1000),
                       static_cast<long>(milliseconds % 1000) * 1000000L};
    // A signal handler interrupts nanosleep; the rest of the time is still slept.
    while (::nanosleep(&remaining, &remaining) != 0 && errno == EINTR) {
    }
}

} // namespace vx::platform
