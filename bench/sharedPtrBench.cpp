// Benchmarks of the ownership types next to std::shared_ptr.
//
// The main measurement is one copy: construct a pointer from an existing one and destroy it again,
// which is one increment and one decrement of the count (plus, for vx::sharedPtr, one round on the
// process-wide lock that guards every copy). It runs on one thread and on two, in two shapes:
//
//   .../ownSource      each thread copies a pointer of its own: no data is shared between the
//                      threads, so any slow-down with two threads comes from a shared lock;
//   .../sharedSource   all threads copy the same pointer: they also fight over one counter.
//
// Threaded runs use wall-clock time. Google Benchmark counts the iterations of all threads
// together, so "Time" is wall time per copy of the whole process, and items_per_second is the
// copies per second of all threads together: perfect scaling halves Time and doubles the rate
// when going from threads:1 to threads:2.
#include "vxRefPtr.h"
#include "vxSharedPtr.h"

#include <benchmark/benchmark.h>

#include <memory>

namespace {

struct payload {
    long value = 0;
};

class countedPayload : public vx::refObj {
public:
    long value = 0;
    void deleteThis() override { delete this; }
};

// Sources that every thread copies in the sharedSource shape; they live until the process ends.
const vx::sharedPtr<payload>& sharedVxSource() {
    static const vx::sharedPtr<payload> source(new payload);
    return source;
}
const std::shared_ptr<payload>& sharedStdSource() {
    static const std::shared_ptr<payload> source = std::make_shared<payload>();
    return source;
}
const vx::refPtr<countedPayload>& sharedRefSource() {
    static const vx::refPtr<countedPayload> source(new countedPayload);
    return source;
}

// --- copy: construct and destroy -------------------------------------------------------------------

template <class Ptr>
void copyLoop(benchmark::State& state, const Ptr& source) {
    for (auto _ : state) {
        Ptr copy(source);
        benchmark::DoNotOptimize(copy);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_copy_vxSharedPtr_ownSource(benchmark::State& state) {
    // Made by the thread that copies it, so each thread's counter comes from its own allocation.
    const vx::sharedPtr<payload> source(new payload);
    copyLoop(state, source);
}

void BM_copy_stdSharedPtr_ownSource(benchmark::State& state) {
    const std::shared_ptr<payload> source = std::make_shared<payload>();
    copyLoop(state, source);
}

void BM_copy_vxRefPtr_ownSource(benchmark::State& state) {
    const vx::refPtr<countedPayload> source(new countedPayload);
    copyLoop(state, source);
}

void BM_copy_vxSharedPtr_sharedSource(benchmark::State& state) {
    copyLoop(state, sharedVxSource());
}

void BM_copy_stdSharedPtr_sharedSource(benchmark::State& state) {
    copyLoop(state, sharedStdSource());
}

void BM_copy_vxRefPtr_sharedSource(benchmark::State& state) {
    copyLoop(state, sharedRefSource());
}

BENCHMARK(BM_copy_vxSharedPtr_ownSource)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_copy_stdSharedPtr_ownSource)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_copy_vxRefPtr_ownSource)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_copy_vxSharedPtr_sharedSource)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_copy_stdSharedPtr_sharedSource)->Threads(1)->Threads(2)->UseRealTime();
BENCHMARK(BM_copy_vxRefPtr_sharedSource)->Threads(1)->Threads(2)->UseRealTime();

// --- single-thread extras ----------------------------------------------------------------------------

// Taking ownership of a new object: both allocate the object and a separate counter.
void BM_createFromRaw_vxSharedPtr(benchmark::State& state) {
    for (auto _ : state) {
        vx::sharedPtr<payload> p(new payload);
        benchmark::DoNotOptimize(p);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_createFromRaw_vxSharedPtr);

void BM_createFromRaw_stdSharedPtr(benchmark::State& state) {
    for (auto _ : state) {
        std::shared_ptr<payload> p(new payload);
        benchmark::DoNotOptimize(p);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_createFromRaw_stdSharedPtr);

// One allocation for object and counter together; vx::sharedPtr has no counterpart.
void BM_createFromRaw_stdMakeShared(benchmark::State& state) {
    for (auto _ : state) {
        std::shared_ptr<payload> p = std::make_shared<payload>();
        benchmark::DoNotOptimize(p);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_createFromRaw_stdMakeShared);

void BM_createFromRaw_vxRefPtr(benchmark::State& state) {
    for (auto _ : state) {
        vx::refPtr<countedPayload> p(new countedPayload);
        benchmark::DoNotOptimize(p);
    }
    state.SetItemsProcessed(state.iterations());
}
BENCHMARK(BM_createFromRaw_vxRefPtr);

// Assigning into an existing pointer and emptying it again: two changes of a variable that, for
// vx::sharedPtr, other threads might be reading.
template <class Ptr>
void assignResetLoop(benchmark::State& state, const Ptr& source) {
    Ptr target;
    for (auto _ : state) {
        target = source;
        benchmark::DoNotOptimize(target);
        target.reset();
        benchmark::DoNotOptimize(target);
    }
    state.SetItemsProcessed(state.iterations());
}

void BM_assignThenReset_vxSharedPtr(benchmark::State& state) {
    const vx::sharedPtr<payload> source(new payload);
    assignResetLoop(state, source);
}
BENCHMARK(BM_assignThenReset_vxSharedPtr);

void BM_assignThenReset_stdSharedPtr(benchmark::State& state) {
    const std::shared_ptr<payload> source = std::make_shared<payload>();
    assignResetLoop(state, source);
}
BENCHMARK(BM_assignThenReset_stdSharedPtr);

void BM_assignThenReset_vxRefPtr(benchmark::State& state) {
    const vx::refPtr<countedPayload> source(new countedPayload);
    assignResetLoop(state, source);
}
BENCHMARK(BM_assignThenReset_vxRefPtr);

} // namespace

BENCHMARK_MAIN();
