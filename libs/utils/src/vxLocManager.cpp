#include "vxLocManager.h"

#include "vxLocMessage.h"
#include "vxLocString.h"
#include "vxMutex.h"

namespace vx {

struct locManager::data {
    mutex lock; // guards all data of the manager
};

namespace {

// Holds the manager's lock for one operation. A manager without data is a programming error
// and throws false, as an access through a null smart pointer does.
class dataLock {
public:
    explicit dataLock(mutex* lock) : mpLock(lock) {
        if (!mpLock)
            throw false;
        mpLock->lock();
    }
    ~dataLock() { mpLock->release(); }
    dataLock(const dataLock&) = delete;
    dataLock& operator=(const dataLock&) = delete;

private:
    mutex* mpLock;
};

} // namespace

locManager::locManager() : mpData(new data) {}

locManager::~locManager() {
    delete mpData;
}

locManager* locManager::instance() {
    // Never destroyed: messages may be resolved until the very end of the process.
    static locManager* const sInstance = new locManager;
    return sInstance;
}

bool locManager::loadMessage(const iLocStringId& id, locMessage& msg, const wchar_t* language) {
    (void)id;
    (void)msg;
    (void)language;
    dataLock lock(mpData ? &mpData->lock : nullptr);
    // Language files are not read yet, so no file holds any id.
    return false;
}

} // namespace vx
