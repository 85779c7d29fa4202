// Benchmarks of the thread pool and the asynchronous job queue.
//
// Names follow BM_<operation>_<implementation>; "vx" is the library, "std" the standard library.
// - BM_shortJob: a job that only sets a flag, from the call that starts it until the caller sees
//   it done: a pooled thread (threadPool::startThread) next to a new std::thread per job.
// - BM_handOff: the time from handing a job to another thread until it has run: the asynchronous
//   queue's addJob next to a plain std::condition_variable hand-off to a waiting thread.
#include "vxJobsQueue.h"
#include "vxThread.h"

#include <benchmark/benchmark.h>

#include <atomic>
#include <condition_variable>
#include <memory>
#include <mutex>
#include <thread>

namespace {

int setFlag(void* raw) {
    static_cast<std::atomic<bool>*>(raw)->store(true, std::memory_order_release);
    return 0;
}

void waitFlag(std::atomic<bool>& flag) {
    while (!flag.load(std::memory_order_acquire))
        std::this_thread::yield();
}

void BM_shortJob_vx(benchmark::State& state) {
    vx::threadPool* pool = vx::threadPool::singleton();
    for (auto _ : state) {
        std::atomic<bool> done{false};
        auto t = pool->startThread(&setFlag, &done, false, vx::thread::priorityNormal);
        waitFlag(done);
    }
}
BENCHMARK(BM_shortJob_vx)->UseRealTime();

void BM_shortJob_std(benchmark::State& state) {
    for (auto _ : state) {
        std::atomic<bool> done{false};
        std::thread t(&setFlag, &done);
        waitFlag(done);
        t.join();
    }
}
BENCHMARK(BM_shortJob_std)->UseRealTime();

struct jobClass : vx::iJobClassId {
    int priority() const override { return 0; }
};
struct jobContext : vx::iJobAsyncContext {
    std::shared_ptr<vx::iJobClassId> id = std::make_shared<jobClass>();
    std::shared_ptr<vx::iJobClassId> jobClassId() const override { return id; }
};

void BM_handOff_vx(benchmark::State& state) {
    auto queue = vx::iJobsQueueAsync::create(true);
    queue->setEnabled(true);
    auto context = std::make_shared<jobContext>();
    for (auto _ : state) {
        std::atomic<bool> done{false};
        queue->addJob([&done](std::shared_ptr<vx::iJobAsyncContext>) { setFlag(&done); }, context);
        waitFlag(done);
    }
    // The process-wide queue stays for the rest of the program.
}
BENCHMARK(BM_handOff_vx)->UseRealTime();

void BM_handOff_std(benchmark::State& state) {
    std::mutex lock;
    std::condition_variable wake;
    std::atomic<bool>* pending = nullptr;
    bool stop = false;
    std::thread worker([&] {
        std::unique_lock<std::mutex> held(lock);
        for (;;) {
            wake.wait(held, [&] { return pending || stop; });
            if (stop)
                return;
            setFlag(pending);
            pending = nullptr;
        }
    });
    for (auto _ : state) {
        std::atomic<bool> done{false};
        {
            std::lock_guard<std::mutex> held(lock);
            pending = &done;
        }
        wake.notify_one();
        waitFlag(done);
    }
    {
        std::lock_guard<std::mutex> held(lock);
        stop = true;
    }
    wake.notify_one();
    worker.join();
}
BENCHMARK(BM_handOff_std)->UseRealTime();

} // namespace

BENCHMARK_MAIN();
