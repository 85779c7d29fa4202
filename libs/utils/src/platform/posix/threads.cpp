// Thread identity and the recursive timed mutex on POSIX systems.
#include "platform/threads.h"

#include "platform/events.h"

#include <atomic>
#include <cerrno>
#include <chrono>
#include <condition_variable>
#include <ctime>
#include <limits>
#include <memory>
#include <mutex>
#include <new>
#include <pthread.h>
#include <sched.h>
#include <sys/resource.h>
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

// Threads. POSIX offers no way to stop or end another thread safely at an arbitrary point, so
// the suspension count holds a thread only at its two gates (before its entry runs, after it
// has returned), and terminateThread publishes the exit code at once; the thread runs on, learns
// through wasTerminated that it was ended, and its own result is dropped.
struct systemThreadState {
    std::mutex lock;
    std::condition_variable changed;
    std::uint32_t suspensions = 1;
    bool terminated = false;
    bool returned = false;
    std::uint32_t exitCode = kStillActive;
    std::uint32_t id = 0;
    int level = 0;
    // The level whose nice value the thread has, once set: a repeated level (a reusable thread
    // gets one with every job) needs no system call.
    int applied = std::numeric_limits<int>::min();
    event* ended = nullptr;
    int (*entry)(void*) = nullptr;
    void (*discard)(void*) = nullptr;
    void* argument = nullptr;

    ~systemThreadState() { destroyEvent(ended); }

    // Waits while the thread is held; false when it was ended meanwhile.
    bool passGate(std::unique_lock<std::mutex>& hold) {
        changed.wait(hold, [this] { return suspensions == 0 || terminated; });
        return !terminated;
    }
};

struct systemThread {
    std::shared_ptr<systemThreadState> state;
};

namespace {
void* threadMain(void* raw) {
    // The thread shares its state with the handle; whichever lets go last frees it.
    std::shared_ptr<systemThreadState> state(std::move(*static_cast<std::shared_ptr<systemThreadState>*>(raw)));
    delete static_cast<std::shared_ptr<systemThreadState>*>(raw);
    std::unique_lock<std::mutex> hold(state->lock);
    state->id = static_cast<std::uint32_t>(currentThreadId());
    state->changed.notify_all();
    if (state->passGate(hold)) {
        hold.unlock();
        const int result = state->entry(state->argument);
        hold.lock();
        if (state->passGate(hold)) {
            state->exitCode = static_cast<std::uint32_t>(result);
            setEvent(state->ended);
        }
    } else if (state->discard) {
        state->discard(state->argument);
    }
    state->returned = true;
    state->changed.notify_all();
    return nullptr;
}

// Nice values for the system levels; lowering a thread's nice value may need privileges.
int niceOf(int level) {
    if (level >= 15)
        return -10;
    if (level <= -15)
        return 19;
    return -2 * level;
}
} // namespace

systemThread* createHeldThread(int (*entry)(void*), void* argument, void (*discard)(void*), std::uint32_t& id) {
    auto* handle = new (std::nothrow) systemThread;
    if (!handle)
        return nullptr;
    try {
        handle->state = std::make_shared<systemThreadState>();
    } catch (const std::bad_alloc&) {
        delete handle;
        return nullptr;
    }
    systemThreadState& state = *handle->state;
    state.entry = entry;
    state.argument = argument;
    state.discard = discard;
    state.ended = createEvent(true, false);
    auto* shared = new (std::nothrow) std::shared_ptr<systemThreadState>(handle->state);
    pthread_t thread;
    if (!state.ended || !shared || pthread_create(&thread, nullptr, &threadMain, shared) != 0) {
        delete shared;
        delete handle;
        return nullptr;
    }
    pthread_detach(thread);
    // The id is the thread's own to find out; it does so before its first gate.
    std::unique_lock<std::mutex> hold(state.lock);
    state.changed.wait(hold, [&] { return state.id != 0; });
    id = state.id;
    return handle;
}

std::uint32_t suspendThread(systemThread* t) {
    systemThreadState& state = *t->state;
    std::lock_guard<std::mutex> hold(state.lock);
    return state.suspensions++;
}

std::uint32_t resumeThread(systemThread* t) {
    systemThreadState& state = *t->state;
    std::lock_guard<std::mutex> hold(state.lock);
    const std::uint32_t previous = state.suspensions;
    if (previous > 0 && --state.suspensions == 0)
        state.changed.notify_all();
    return previous;
}

void honourSuspension(systemThread* t) {
    systemThreadState& state = *t->state;
    std::unique_lock<std::mutex> hold(state.lock);
    state.passGate(hold);
}

bool terminateThread(systemThread* t, std::uint32_t exitCode) {
    systemThreadState& state = *t->state;
    std::lock_guard<std::mutex> hold(state.lock);
    if (state.exitCode == kStillActive) {
        state.exitCode = exitCode;
        state.terminated = true;
        setEvent(state.ended);
        state.changed.notify_all();
    }
    return true;
}

bool wasTerminated(systemThread* t) {
    systemThreadState& state = *t->state;
    std::lock_guard<std::mutex> hold(state.lock);
    return state.terminated;
}

bool threadExitCode(systemThread* t, std::uint32_t& exitCode) {
    systemThreadState& state = *t->state;
    std::lock_guard<std::mutex> hold(state.lock);
    exitCode = state.exitCode;
    return true;
}

bool setThreadLevel(systemThread* t, int level) {
    systemThreadState& state = *t->state;
    std::lock_guard<std::mutex> hold(state.lock);
    state.level = level;
    // Linux schedules each thread by its own nice value; a refused change keeps the level. The
    // id of a thread that has returned may already name another thread.
    if (!state.returned && level != state.applied &&
        ::setpriority(PRIO_PROCESS, static_cast<id_t>(state.id), niceOf(level)) == 0)
        state.applied = level;
    return true;
}

int threadLevel(systemThread* t) {
    systemThreadState& state = *t->state;
    std::lock_guard<std::mutex> hold(state.lock);
    return state.level;
}

event* threadEndEvent(systemThread* t) {
    return t->state->ended;
}

bool waitThreadReturned(systemThread* t, unsigned int milliseconds) {
    systemThreadState& state = *t->state;
    std::unique_lock<std::mutex> hold(state.lock);
    if (milliseconds == kWaitForever) {
        state.changed.wait(hold, [&] { return state.returned; });
        return true;
    }
    return state.changed.wait_for(hold, std::chrono::milliseconds(milliseconds), [&] { return state.returned; });
}

void closeThread(systemThread* t) {
    delete t;
}

std::uint32_t lastSystemError() {
    return static_cast<std::uint32_t>(errno);
}

} // namespace vx::platform
