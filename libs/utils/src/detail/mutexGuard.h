// Holding a vx::mutex for a scope (internal).
#pragma once

#include "vxMutex.h"

namespace vx::detail {

class mutexGuard {
public:
    explicit mutexGuard(mutex& m) : mMutex(m) { mMutex.lock(); }
    ~mutexGuard() { mMutex.release(); }
    mutexGuard(const mutexGuard&) = delete;
    mutexGuard& operator=(const mutexGuard&) = delete;

private:
    mutex& mMutex;
};

} // namespace vx::detail
