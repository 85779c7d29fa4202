#include "vxLocker.h"

#include "platform/threads.h"
#include "vxSpinLock.h"

namespace vx {

long interlockedIncrement(long volatile* value) {
    return __atomic_add_fetch(value, 1L, __ATOMIC_SEQ_CST);
}

long interlockedDecrement(long volatile* value) {
    return __atomic_sub_fetch(value, 1L, __ATOMIC_SEQ_CST);
}

unsigned long interlockedIncrement(unsigned long volatile* value) {
    return __atomic_add_fetch(value, 1UL, __ATOMIC_SEQ_CST);
}

unsigned long interlockedDecrement(unsigned long volatile* value) {
    return __atomic_sub_fetch(value, 1UL, __ATOMIC_SEQ_CST);
}

unsigned long interlockedRead(const unsigned long volatile* value) {
    return __atomic_load_n(value, __ATOMIC_SEQ_CST);
}

// --- spinLockerRecursive -------------------------------------------------------------------------

std::uint64_t spinLockerRecursive::ownerValueOf(std::uint64_t threadId) {
    std::uint64_t hash = 14695981039346656037ULL;
    for (int i = 0; i < 4; ++i) {
        hash ^= (threadId >> (8 * i)) & 0xFF;
        hash *= 1099511628211ULL;
    }
    return hash;
}

std::uint64_t spinLockerRecursive::currentOwnerValue() {
    return ownerValueOf(platform::currentThreadId());
}

void spinLockerRecursive::acquire() {
    const std::uint64_t me = currentOwnerValue();
    if (__atomic_exchange_n(&flag, std::uint8_t{1}, __ATOMIC_ACQUIRE) != 0) {
        unsigned spins = 0;
        for (;;) {
            if (__atomic_load_n(&owner, __ATOMIC_RELAXED) == me) {
                ++depth; // a nested acquisition by the holder
                return;
            }
            if (__atomic_exchange_n(&flag, std::uint8_t{1}, __ATOMIC_ACQUIRE) == 0)
                break;
            detail::spinPause(spins);
        }
    }
    __atomic_store_n(&owner, me, __ATOMIC_RELAXED);
    ++depth;
}

void spinLockerRecursive::release() {
    // Only the holder may release; from any other thread a release changes nothing.
    if (__atomic_load_n(&owner, __ATOMIC_RELAXED) != currentOwnerValue() || depth == 0)
        return;
    if (--depth == 0) {
        __atomic_store_n(&owner, std::uint64_t{0}, __ATOMIC_RELAXED);
        __atomic_store_n(&flag, std::uint8_t{0}, __ATOMIC_RELEASE);
    }
}

// --- genericValueHolderLocker ----------------------------------------------------------------------

genericValueHolderLocker::genericValueHolderLocker(spinLockerRecursive* lock)
    : mpLock(lock), mpAcquired(lock) {
    if (mpAcquired)
        mpAcquired->acquire();
}

genericValueHolderLocker::genericValueHolderLocker(const genericValueHolderLocker& other)
    : mpLock(other.mpLock), mpAcquired(nullptr) {}

genericValueHolderLocker& genericValueHolderLocker::operator=(const genericValueHolderLocker& other) {
    mpLock = other.mpLock;
    return *this;
}

genericValueHolderLocker::~genericValueHolderLocker() {
    if (mpAcquired)
        mpAcquired->release();
}

spinLockerRecursive* genericValueHolderLocker::createLocker() {
    return new spinLockerRecursive{0, 0, 0};
}

void genericValueHolderLocker::destroyLocker(spinLockerRecursive* lock) {
    delete lock;
}

} // namespace vx
