#include "vxRefPtr.h"

#include "vxSpinLock.h"

namespace vx {

namespace {
detail::processSpinLock gReferencePtrLock;
}

refObj::~refObj() = default;

unsigned long refObj::addRef() {
    return interlockedIncrement(&mRefCount);
}

unsigned long refObj::release() {
    const unsigned long count = interlockedDecrement(&mRefCount);
    if (count == 0)
        deleteThis();
    return count;
}

referencePtrLocker::referencePtrLocker() : mHeld(false) {
    if (!gReferencePtrLock.acquire())
        assertionFailed(L"referencePtrLocker not held by the calling thread", __FILE__, __LINE__);
    mHeld = true;
}

referencePtrLocker::~referencePtrLocker() {
    if (mHeld)
        gReferencePtrLock.release();
}

} // namespace vx
