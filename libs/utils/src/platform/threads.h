// Threads, sleeping and the recursive timed mutex (internal).
#pragma once

#include <cstdint>

namespace vx::platform {

// The system's id of the calling thread.
std::uint64_t currentThreadId();

// Lets other threads run; used by spin loops that wait long.
void yieldThread();

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

} // namespace vx::platform
