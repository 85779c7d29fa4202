// The thread pool, the asynchronous job queue with priorities, and a timer on a thread that runs
// its own message loop.
//
//   threads
//
// 1. Four jobs go to the pool; each sums a range of numbers on a pooled thread.
// 2. A burst of requests goes to the asynchronous queue while its worker is busy: only the latest
//    request of each kind runs, the more urgent kind first.
// 3. A thread makes a timer and pumps its messages until the timer has ticked five times.
#include "vxJobsQueue.h"
#include "vxSignal.h"
#include "vxThread.h"

#include <atomic>
#include <chrono>
#include <cstdio>
#include <functional>
#include <memory>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

// --- 1. the pool ------------------------------------------------------------------------------

struct range {
    long long from, to, sum = 0;
    std::atomic<bool> done{false};
};

int sumRange(void* raw) {
    auto* r = static_cast<range*>(raw);
    for (long long i = r->from; i <= r->to; ++i)
        r->sum += i;
    r->done = true;
    return 0;
}

bool waitFor(const std::function<bool()>& condition) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
    while (!condition()) {
        if (std::chrono::steady_clock::now() > end)
            return false;
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    return true;
}

bool pool() {
    std::printf("The pool: four sums on pooled threads\n");
    range ranges[4] = {{1, 250000}, {250001, 500000}, {500001, 750000}, {750001, 1000000}};
    for (range& r : ranges)
        vx::threadPool::singleton()->startThread(&sumRange, &r, false, vx::thread::priorityNormal);
    long long total = 0;
    for (range& r : ranges) {
        if (!waitFor([&] { return r.done.load(); }))
            return false;
        std::printf("  %lld..%lld = %lld\n", r.from, r.to, r.sum);
        total += r.sum;
    }
    std::printf("  total %lld\n", total);
    return true;
}

// --- 2. the asynchronous queue ----------------------------------------------------------------

struct redraw : vx::iJobClassId {
    int priority() const override { return 1; }
};
struct save : vx::iJobClassId {
    int priority() const override { return 5; }
};

struct request : vx::iJobAsyncContext {
    request(std::shared_ptr<vx::iJobClassId> kind, std::string text) : kind(std::move(kind)), text(std::move(text)) {}
    std::shared_ptr<vx::iJobClassId> jobClassId() const override { return kind; }
    std::shared_ptr<vx::iJobClassId> kind;
    std::string text;
};

bool queue() {
    std::printf("\nThe asynchronous queue: the latest request of each kind, the urgent kind first\n");
    auto q = vx::iJobsQueueAsync::create(true);
    q->setEnabled(true);
    std::mutex lock;
    std::vector<std::string> ran;
    auto run = [&](std::shared_ptr<vx::iJobAsyncContext> c) {
        std::lock_guard<std::mutex> held(lock);
        ran.push_back(static_cast<request*>(c.get())->text);
    };
    std::atomic<bool> go{false};
    q->addJob([&](std::shared_ptr<vx::iJobAsyncContext>) { waitFor([&] { return go.load(); }); },
              std::make_shared<request>(std::make_shared<save>(), "busy"));
    waitFor([&] { return !q->isIdle(); });
    const char* burst[][2] = {{"redraw", "redraw view 1"}, {"save", "save draft 1"}, {"redraw", "redraw view 2"},
                              {"redraw", "redraw view 3"}, {"save", "save draft 2"}};
    for (auto& b : burst) {
        std::shared_ptr<vx::iJobClassId> kind;
        if (std::string(b[0]) == "save")
            kind = std::make_shared<save>();
        else
            kind = std::make_shared<redraw>();
        std::printf("  add %s\n", b[1]);
        q->addJob(run, std::make_shared<request>(kind, b[1]));
    }
    go = true;
    if (!waitFor([&] { return q->isIdle(); }))
        return false;
    for (const std::string& r : ran)
        std::printf("  ran %s\n", r.c_str());
    vx::iJobsQueueAsync::release();
    return true;
}

// --- 3. a timer on a thread with a message loop -------------------------------------------------

struct ticks {
    int count = 0;
    std::chrono::steady_clock::time_point start = std::chrono::steady_clock::now();
};

void onTick(void* raw) {
    auto* t = static_cast<ticks*>(raw);
    ++t->count;
    std::printf("  tick %d\n", t->count);
}

bool timerThread() {
    std::printf("\nA timer of 20 ms on a thread that pumps its messages\n");
    bool ok = false;
    std::thread pumping([&] {
        ticks t;
        vx::timer every20(&onTick, &t, 20);
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (t.count < 5 && std::chrono::steady_clock::now() < end)
            vx::processMessages(10);
        ok = t.count >= 5;
    });
    pumping.join();
    return ok;
}

} // namespace

int main() {
    const bool ok = pool() && queue() && timerThread();
    if (!ok) {
        std::printf("something did not happen in time\n");
        return 1;
    }
    return 0;
}
