// Spin-lock building blocks shared by the lock families (internal).
#pragma once

#include "platform/threads.h"

#include <cstdint>

namespace vx::detail {

inline void cpuRelax() {
#if defined(__x86_64__) || defined(__i386__)
    __builtin_ia32_pause();
#endif
}

// Waits politely: a short busy phase, then the scheduler gets the core, so that a holder that
// lost its time slice can finish on a machine with few cores. The outcome is the same as a pure
// busy loop.
inline void spinPause(unsigned& spins) {
    if (++spins < 64)
        cpuRelax();
    else
        platform::yieldThread();
}

// A process-wide, non-recursive lock in one 32-bit word. It remembers its holder so that a
// second acquisition by the same thread is reported instead of waiting for ever.
class processSpinLock {
public:
    constexpr processSpinLock() = default;

    // False if the calling thread holds the lock already (it is then left as it was).
    bool acquire() {
        const std::uint64_t self = platform::currentThreadId();
        if (__atomic_exchange_n(&mWord, 1u, __ATOMIC_ACQUIRE) != 0) {
            // Only the holder itself can have stored its own id here.
            if (__atomic_load_n(&mOwner, __ATOMIC_RELAXED) == self)
                return false;
            unsigned spins = 0;
            do {
                spinPause(spins);
            } while (__atomic_load_n(&mWord, __ATOMIC_RELAXED) != 0 ||
                     __atomic_exchange_n(&mWord, 1u, __ATOMIC_ACQUIRE) != 0);
        }
        __atomic_store_n(&mOwner, self, __ATOMIC_RELAXED);
        return true;
    }

    void release() {
        __atomic_store_n(&mOwner, std::uint64_t{0}, __ATOMIC_RELAXED);
        __atomic_store_n(&mWord, 0u, __ATOMIC_RELEASE);
    }

    // For a hold that can never be taken again before it ends (nothing in it calls out): the
    // holder is not remembered, so the uncontended case is one exchange. A thread that holds the
    // lock through acquire() is still told apart while it waits: false, as acquire() answers.
    bool acquireBrief() {
        if (__atomic_exchange_n(&mWord, 1u, __ATOMIC_ACQUIRE) == 0)
            return true;
        const std::uint64_t self = platform::currentThreadId();
        unsigned spins = 0;
        do {
            if (__atomic_load_n(&mOwner, __ATOMIC_RELAXED) == self)
                return false;
            spinPause(spins);
        } while (__atomic_load_n(&mWord, __ATOMIC_RELAXED) != 0 ||
                 __atomic_exchange_n(&mWord, 1u, __ATOMIC_ACQUIRE) != 0);
        return true;
    }

    // Ends a hold of acquireBrief().
    void releaseBrief() { __atomic_store_n(&mWord, 0u, __ATOMIC_RELEASE); }

private:
    std::uint32_t mWord = 0;
    std::uint64_t mOwner = 0;
};

} // namespace vx::detail
