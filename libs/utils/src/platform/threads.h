// Threads, sleeping and the recursive timed mutex (internal).
//
// A system thread is made held: its entry runs once the suspension count has come down to 0.
// Where the system cannot suspend or end a thread from outside, the count holds the thread only
// before its entry runs and after it returns, and ending it from outside publishes the exit code
// at once while the thread runs on to its own end; the thread can ask wasTerminated to skip what
// remains (see docs/platform.md).
#pragma once

#include <algorithm>
#include <chrono>
#include <cstdint>

namespace vx::platform {

// The system's id of the calling thread.
std::uint64_t currentThreadId();

// Lets other threads run; used by spin loops that wait long.
void yieldThread();

// Looks at a condition, letting other threads run between looks, until it holds, the deadline
// passes, or 50 microseconds are over; answers whether it held. A waiter calls it before
// it sleeps: a thread woken from sleep runs only after tens of microseconds on a virtual machine,
// which a worker given jobs one after another would otherwise pay for each.
template <class Condition>
bool spinBriefly(Condition holds, std::chrono::steady_clock::time_point deadline =
                                      std::chrono::steady_clock::time_point::max()) {
    using clock = std::chrono::steady_clock;
    const auto end = std::min(deadline, clock::now() + std::chrono::microseconds(50));
    while (!holds()) {
        if (clock::now() >= end)
            return false;
        yieldThread();
    }
    return true;
}

// Sleeps at least the given time; interruptions by signals do not shorten it.
void sleepMilliseconds(unsigned int milliseconds);

struct recursiveMutex;

recursiveMutex* createRecursiveMutex();
void destroyRecursiveMutex(recursiveMutex* m);
bool lockRecursiveMutex(recursiveMutex* m);
// Waits at most the given time; 0 only tries.
bool lockRecursiveMutexFor(recursiveMutex* m, unsigned int milliseconds);
// False when the calling thread does not hold the mutex.
bool unlockRecursiveMutex(recursiveMutex* m);

struct event;
struct systemThread;

// The exit code of a thread that still runs.
constexpr std::uint32_t kStillActive = 259;
// The answer of suspendThread and resumeThread on failure.
constexpr std::uint32_t kThreadCallFailed = 0xFFFFFFFFu;

// Makes a held thread (suspension count 1) that will call entry(argument); null on failure.
// id receives the system's id of the new thread. A thread ended before its entry ran calls
// discard(argument) instead, where it gets the chance.
systemThread* createHeldThread(int (*entry)(void*), void* argument, void (*discard)(void*), std::uint32_t& id);
// Called by a thread on itself between pieces of work: where suspension holds a thread only at
// such points (POSIX), it waits here while suspended and not ended.
void honourSuspension(systemThread* t);
// Raise and lower the suspension count; both answer the previous count. Lowering a count of 0
// answers 0 and changes nothing.
std::uint32_t suspendThread(systemThread* t);
std::uint32_t resumeThread(systemThread* t);
// Ends the thread with that code: no more of its entry counts. False on failure.
bool terminateThread(systemThread* t, std::uint32_t exitCode);
// True when the thread was ended from outside and is still running towards its end.
bool wasTerminated(systemThread* t);
// kStillActive while the thread runs; false on failure.
bool threadExitCode(systemThread* t, std::uint32_t& exitCode);
// The system level (-15, -2 .. 2, 15) of the thread; the change of its scheduling may be refused
// without failing.
bool setThreadLevel(systemThread* t, int level);
int threadLevel(systemThread* t);
// Set for ever once the thread has ended (or was ended); owned by the thread.
event* threadEndEvent(systemThread* t);
// Waits until the thread's own code has returned; false on time-out.
bool waitThreadReturned(systemThread* t, unsigned int milliseconds);
// Gives up the handle; the thread itself runs on.
void closeThread(systemThread* t);
// The calling thread's last system error.
std::uint32_t lastSystemError();

} // namespace vx::platform
