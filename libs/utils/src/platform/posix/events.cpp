// Events, the wait for any of several, and message-loop timers on POSIX systems.
//
// An event is a flag under a mutex. A thread that waits for several registers one waiter with
// each of them, so that setting any one wakes it; mutexes and condition variables (rather than
// descriptors) also tell ThreadSanitizer what a wake-up publishes.
#include "platform/events.h"
#include "platform/threads.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <condition_variable>
#include <map>
#include <mutex>
#include <new>
#include <thread>
#include <vector>

namespace vx::platform {

namespace {
struct waiter {
    std::mutex lock;
    std::condition_variable wake;
    bool woken = false;
};
} // namespace

struct event {
    std::mutex lock;
    bool manualReset;
    // Changed only under the lock; atomic so that a waiter may look at it before it takes the lock.
    std::atomic<bool> set{false};
    std::vector<waiter*> waiters;
};

event* createEvent(bool manualReset, bool initiallySet) {
    auto* e = new (std::nothrow) event;
    if (e) {
        e->manualReset = manualReset;
        e->set = initiallySet;
    }
    return e;
}

void destroyEvent(event* e) {
    delete e;
}

void setEvent(event* e) {
    std::lock_guard<std::mutex> hold(e->lock);
    e->set = true;
    // A waiter unregisters under the event's lock, so each one is alive here.
    for (waiter* w : e->waiters) {
        {
            std::lock_guard<std::mutex> holdWaiter(w->lock);
            w->woken = true;
        }
        // Outside the waiter's lock, so that the waiter does not wake only to wait for it.
        w->wake.notify_one();
    }
}

void resetEvent(event* e) {
    std::lock_guard<std::mutex> hold(e->lock);
    e->set = false;
}

bool testEvent(event* e) {
    std::lock_guard<std::mutex> hold(e->lock);
    const bool wasSet = e->set;
    if (!e->manualReset)
        e->set = false;
    return wasSet;
}

int waitForAnyEvent(event* const* events, std::size_t count, unsigned int milliseconds) {
    using clock = std::chrono::steady_clock;
    const auto deadline = clock::now() + std::chrono::milliseconds(milliseconds);
    spinBriefly([&] { return std::any_of(events, events + count, [](event* e) { return e->set.load(); }); },
                deadline);
    waiter self;
    std::size_t registered = 0;
    int found = -1;
    for (;;) {
        // Test and register under each event's lock: a set after the test finds the waiter.
        for (std::size_t i = 0; i < count && found < 0; ++i) {
            event* e = events[i];
            std::lock_guard<std::mutex> hold(e->lock);
            if (e->set) {
                if (!e->manualReset)
                    e->set = false;
                found = static_cast<int>(i);
            } else if (i >= registered) {
                e->waiters.push_back(&self);
                registered = i + 1;
            }
        }
        if (found >= 0)
            break;
        std::unique_lock<std::mutex> hold(self.lock);
        if (milliseconds == kWaitForever) {
            self.wake.wait(hold, [&] { return self.woken; });
        } else if (!self.wake.wait_until(hold, deadline, [&] { return self.woken; })) {
            break;
        }
        self.woken = false;
    }
    for (std::size_t i = 0; i < registered; ++i) {
        event* e = events[i];
        std::lock_guard<std::mutex> hold(e->lock);
        auto& list = e->waiters;
        list.erase(std::find(list.begin(), list.end(), &self));
    }
    return found;
}

// Timers: one table for the process; each timer belongs to the thread that set it, and only that
// thread's processMessages dispatches it.
namespace {
using clock = std::chrono::steady_clock;

struct timerEntry {
    std::uint64_t owner;
    clock::duration period;
    clock::time_point due;
    timerProc proc;
};

struct timerTable {
    std::mutex lock;
    std::map<std::uintptr_t, timerEntry> timers;
    // Ids count up from here; a proposed id is not used, as with thread timers on Windows.
    std::uintptr_t nextId = 0x7F01;
};

// Never destroyed: timers may be killed by other objects' destructors at the process's end.
timerTable& table() {
    static timerTable* const instance = new timerTable;
    return *instance;
}

// The id of the calling thread's timer due earliest by the given time, or 0.
std::uintptr_t takeDue(std::uint64_t self, clock::time_point now, timerProc& proc) {
    std::lock_guard<std::mutex> hold(table().lock);
    std::uintptr_t best = 0;
    clock::time_point bestDue{};
    for (const auto& item : table().timers) {
        const timerEntry& t = item.second;
        if (t.owner == self && t.due <= now && (best == 0 || t.due < bestDue)) {
            best = item.first;
            bestDue = t.due;
        }
    }
    if (best != 0) {
        timerEntry& t = table().timers[best];
        // Ticks do not pile up: a late timer is due again one period after this tick.
        t.due = now + t.period;
        proc = t.proc;
    }
    return best;
}

clock::time_point nextDue(std::uint64_t self, clock::time_point limit) {
    std::lock_guard<std::mutex> hold(table().lock);
    for (const auto& item : table().timers)
        if (item.second.owner == self)
            limit = std::min(limit, item.second.due);
    return limit;
}
} // namespace

std::uintptr_t setTimer(std::uintptr_t, unsigned int milliseconds, timerProc proc) {
    if (!proc)
        return 0;
    const auto period = std::chrono::milliseconds(std::max(1u, milliseconds));
    std::lock_guard<std::mutex> hold(table().lock);
    std::uintptr_t id = table().nextId++;
    if (id == 0)
        id = table().nextId++;
    table().timers[id] = timerEntry{currentThreadId(), period, clock::now() + period, proc};
    return id;
}

void killTimer(std::uintptr_t id) {
    std::lock_guard<std::mutex> hold(table().lock);
    table().timers.erase(id);
}

void processMessages(unsigned int milliseconds) {
    const std::uint64_t self = currentThreadId();
    const auto start = clock::now();
    const auto deadline = start + std::chrono::milliseconds(milliseconds);
    if (milliseconds == 0) {
        // One round: each timer due now ticks once, so a slow tick cannot keep the call going.
        timerProc proc = nullptr;
        std::vector<std::uintptr_t> done;
        for (;;) {
            const std::uintptr_t id = takeDue(self, start, proc);
            if (id == 0 || std::find(done.begin(), done.end(), id) != done.end())
                return;
            done.push_back(id);
            proc(id);
        }
    }
    for (;;) {
        timerProc proc = nullptr;
        const auto now = clock::now();
        if (const std::uintptr_t id = takeDue(self, now, proc)) {
            proc(id);
            continue;
        }
        if (now >= deadline)
            return;
        std::this_thread::sleep_until(nextDue(self, deadline));
    }
}

} // namespace vx::platform
