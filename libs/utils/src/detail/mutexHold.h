// Holds a vx::mutex for a scope (internal).
#pragma once

#include "vxMutex.h"

namespace vx::detail {

class mutexHold {
public:
    explicit mutexHold(mutex& m) : mMutex(m) { mMutex.lock(); }
    ~mutexHold() { mMutex.release(); }
    mutexHold(const mutexHold&) = delete;
    mutexHold& operator=(const mutexHold&) = delete;

private:
    mutex& mMutex;
};

} // namespace vx::detail
