// vx::mutex: the library's lock wherever a wait may be long.
#pragma once

#include "vxExport.h"

namespace vx {

// A recursive mutex with a timed lock: the owning thread may lock it again, and it is free once
// every lock is released.
class VX_API mutex {
public:
    // Passed to lock(milliseconds), waits without limit.
    static constexpr unsigned int infinite = 0xFFFFFFFFu;

    mutex();
    ~mutex();
    mutex(const mutex&) = delete;
    mutex& operator=(const mutex&) = delete;

    // Waits without limit; true unless the wait failed.
    bool lock();
    // Waits at most the given time; false on time-out or failure. lock(0) only tries.
    bool lock(unsigned int milliseconds);
    // Gives up one lock held by the calling thread; a thread that holds none changes nothing.
    void release();

private:
    void* mHandle; // the system mutex, owned
};

} // namespace vx
