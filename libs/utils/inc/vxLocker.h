// Atomic counters and spin locks shared by the ownership types and the generic values.
#pragma once

#include "vxExport.h"

#include <cstdint>

namespace vx {

// Atomic +1 and -1 with full ordering; each returns the new value.
VX_API long interlockedIncrement(long volatile* value);
VX_API long interlockedDecrement(long volatile* value);
VX_API unsigned long interlockedIncrement(unsigned long volatile* value);
VX_API unsigned long interlockedDecrement(unsigned long volatile* value);
// Atomic read with full ordering, for a counter that other threads may be changing.
VX_API unsigned long interlockedRead(const unsigned long volatile* value);

// A lock that the owning thread may take again; it is free once every acquisition is released.
// Layout: the flag (0 or 1), the owner value of the holding thread, the recursion depth.
// Threads spin while they wait, so it suits short critical sections only.
struct VX_API spinLockerRecursive {
    std::uint8_t flag;
    std::uint64_t owner;
    std::uint64_t depth;

    void acquire();
    void release();

    // The owner value of a thread: FNV-1a over the four low bytes of its id, with offset basis
    // 14695981039346656037 and prime 1099511628211.
    static std::uint64_t ownerValueOf(std::uint64_t threadId);
    // The owner value of the calling thread.
    static std::uint64_t currentOwnerValue();
};

// Scope guard on a spinLockerRecursive; a null lock makes it a no-op. Copies and assignments
// take over the pointer but never touch a lock: a guard releases exactly the acquisition its
// own constructor made, so no lock is released twice or left held.
class VX_API genericValueHolderLocker {
public:
    explicit genericValueHolderLocker(spinLockerRecursive* lock);
    genericValueHolderLocker(const genericValueHolderLocker& other);
    genericValueHolderLocker& operator=(const genericValueHolderLocker& other);
    ~genericValueHolderLocker();

    // A new lock with every field zero, and its disposal.
    static spinLockerRecursive* createLocker();
    static void destroyLocker(spinLockerRecursive* lock);

    spinLockerRecursive* locker() const { return mpLock; }

private:
    spinLockerRecursive* mpLock;     // the lock this guard refers to
    spinLockerRecursive* mpAcquired; // the lock its constructor acquired, released at the end
};

} // namespace vx
