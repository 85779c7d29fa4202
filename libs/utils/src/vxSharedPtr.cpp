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

// Takes the locks first to last (ascending); when the calling thread holds one of them already,
// releases what it took and reports the assertion.
void acquireStripes(unsigned first, unsigned last) {
    for (unsigned i = first; i <= last; ++i) {
        if (!gStripes[i].lock.acquire()) {
            while (i-- > first)
                gStripes[i].lock.release();
            assertionFailed(kNotHeld, __FILE__, __LINE__);
        }
    }
}

} // namespace

unsigned long* shptr::allocCounter() {
    return new unsigned long;
}

void shptr::releaseCounter(unsigned long volatile* counter) {
    delete const_cast<unsigned long*>(counter);
}

sharedPtrLocker::sharedPtrLocker() : mHeld(false) {
    acquireStripes(0, kStripes - 1);
    mHeld = true;
}

sharedPtrLocker::~sharedPtrLocker() {
    if (mHeld)
        for (unsigned i = kStripes; i-- > 0;)
            gStripes[i].lock.release();
}

namespace detail {

sharedPairLock::sharedPairLock(const void* variable) : mFirst(stripeOf(variable)), mSecond(mFirst) {
    acquireStripes(mFirst, mFirst);
}

sharedPairLock::sharedPairLock(const void* first, const void* second) {
    // Two locks are taken in ascending order, as sharedPtrLocker takes them all, so no two
    // threads can each hold one the other waits for.
    const unsigned a = stripeOf(first), b = stripeOf(second);
    mFirst = a < b ? a : b;
    mSecond = a < b ? b : a;
    acquireStripes(mFirst, mFirst);
    if (mSecond != mFirst) {
        try {
            acquireStripes(mSecond, mSecond);
        } catch (...) {
            gStripes[mFirst].lock.release();
            throw;
        }
    }
}

sharedPairLock::~sharedPairLock() {
    if (mSecond != mFirst)
        gStripes[mSecond].lock.release();
    gStripes[mFirst].lock.release();
}

} // namespace detail

} // namespace vx
