#include "vxSharedPtr.h"

#include "vxSpinLock.h"

#include <cstdint>

namespace vx {

namespace {

// The locks of sharedPtr variables, each on a cache line of its own, so that two threads copying
// different variables neither wait for each other nor pass a line back and forth.
constexpr unsigned kStripes = 16;
struct alignas(64) stripe {
    detail::processSpinLock lock;
};
stripe gStripes[kStripes];

unsigned stripeOf(const void* variable) {
    // Fibonacci hashing of the address: neighbouring variables get different locks.
    const auto address = static_cast<std::uint64_t>(reinterpret_cast<std::uintptr_t>(variable));
    return static_cast<unsigned>(((address >> 3) * 0x9E3779B97F4A7C15ull) >> 60);
}
static_assert(kStripes == 16, "stripeOf keeps the top four bits");

const wchar_t* const kNotHeld = L"sharedPtrLocker not held by the calling thread";

// Takes every lock in ascending order, remembering the holder; when the calling thread holds
// them already (a guard inside a guard), releases what it took and reports the assertion.
void acquireAllStripes() {
    for (unsigned i = 0; i < kStripes; ++i) {
        if (!gStripes[i].lock.acquire()) {
            while (i-- > 0)
                gStripes[i].lock.release();
            assertionFailed(kNotHeld, __FILE__, __LINE__);
        }
    }
}

// Takes one lock for a copy or an assignment, under which nothing runs that could take it again;
// the assertion when the calling thread holds the guard.
void acquireStripe(unsigned i) {
    if (!gStripes[i].lock.acquireBrief())
        assertionFailed(kNotHeld, __FILE__, __LINE__);
}

} // namespace

unsigned long* shptr::allocCounter() {
    return new unsigned long;
}

void shptr::releaseCounter(unsigned long volatile* counter) {
    delete const_cast<unsigned long*>(counter);
}

sharedPtrLocker::sharedPtrLocker() : mHeld(false) {
    acquireAllStripes();
    mHeld = true;
}

sharedPtrLocker::~sharedPtrLocker() {
    if (mHeld)
        for (unsigned i = kStripes; i-- > 0;)
            gStripes[i].lock.release();
}

namespace detail {

sharedPairLock::sharedPairLock(const void* variable) : mFirst(stripeOf(variable)), mSecond(mFirst) {
    acquireStripe(mFirst);
}

sharedPairLock::sharedPairLock(const void* first, const void* second) {
    // Two locks are taken in ascending order, as sharedPtrLocker takes them all, so no two
    // threads can each hold one the other waits for.
    const unsigned a = stripeOf(first), b = stripeOf(second);
    mFirst = a < b ? a : b;
    mSecond = a < b ? b : a;
    acquireStripe(mFirst);
    if (mSecond != mFirst) {
        try {
            acquireStripe(mSecond);
        } catch (...) {
            gStripes[mFirst].lock.releaseBrief();
            throw;
        }
    }
}

sharedPairLock::~sharedPairLock() {
    if (mSecond != mFirst)
        gStripes[mSecond].lock.releaseBrief();
    gStripes[mFirst].lock.releaseBrief();
}

} // namespace detail

} // namespace vx
