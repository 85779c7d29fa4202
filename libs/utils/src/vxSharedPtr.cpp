#include "vxSharedPtr.h"

#include "vxSpinLock.h"

namespace vx {

namespace {
detail::processSpinLock gSharedPtrLock;
}

unsigned long* shptr::allocCounter() {
    return new unsigned long;
}

void shptr::releaseCounter(unsigned long volatile* counter) {
    delete const_cast<unsigned long*>(counter);
}

sharedPtrLocker::sharedPtrLocker() : mHeld(false) {
    if (!gSharedPtrLock.acquire())
        assertionFailed(L"sharedPtrLocker not held by the calling thread", __FILE__, __LINE__);
    mHeld = true;
}

sharedPtrLocker::~sharedPtrLocker() {
    if (mHeld)
        gSharedPtrLock.release();
}

} // namespace vx
