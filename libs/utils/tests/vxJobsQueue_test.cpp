// The job queues. Each queue is made once per process, so every scenario with a queue runs in a
// process of its own (a GoogleTest death test that must exit with 0); a watchdog ends a scenario
// that hangs, and a failed check says what did not happen.
#include "vxJobsQueue.h"
#include "vxSignal.h"

#include "testSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using vxtest::eventually;
using vxtest::lockedLog;

using vx::iJobAsyncContext;
using vx::iJobClassId;
using vx::iJobsQueueAsync;
using vx::iJobsQueueSync;

template <int Priority>
struct classOf : iJobClassId {
    int priority() const override { return Priority; }
};

// Tells classes apart by a number instead of by type.
struct numberedClass : iJobClassId {
    explicit numberedClass(int n) : n(n) {}
    bool isEqual(std::shared_ptr<iJobClassId> const& other) const override {
        auto* o = dynamic_cast<numberedClass*>(other.get());
        return o && o->n == n;
    }
    std::size_t hashKey() const override { return static_cast<std::size_t>(n); }
    int priority() const override { return 0; }
    int n;
};

struct context : iJobAsyncContext {
    context(std::shared_ptr<iJobClassId> id, std::string name) : id(std::move(id)), name(std::move(name)) {}
    std::shared_ptr<iJobClassId> jobClassId() const override { return id; }
    std::shared_ptr<iJobClassId> id;
    std::string name;
};

std::shared_ptr<context> ctx(std::shared_ptr<iJobClassId> id, const std::string& name = "") {
    return std::make_shared<context>(std::move(id), name);
}

// --- checks inside a scenario's own process ---------------------------------------------------

void check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "failed: %s\n", what);
        std::fflush(stderr);
        std::exit(1);
    }
}

void startWatchdog() {
    std::thread([] {
        std::this_thread::sleep_for(std::chrono::seconds(30));
        std::fprintf(stderr, "failed: the scenario did not end within 30 s\n");
        std::fflush(stderr);
        std::_Exit(3);
    }).detach();
}

#define SCENARIO(body)                                                                                   \
    GTEST_FLAG_SET(death_test_style, "threadsafe");                                                      \
    EXPECT_EXIT(                                                                                         \
        {                                                                                                \
            startWatchdog();                                                                             \
            body();                                                                                      \
            std::exit(0);                                                                                \
        },                                                                                               \
        ::testing::ExitedWithCode(0), "")

// --- job classes and contexts, in process -----------------------------------------------------

TEST(iJobClassId, isOneClassPerDynamicTypeByDefault) {
    auto a1 = std::make_shared<classOf<1>>(), a2 = std::make_shared<classOf<1>>();
    auto b = std::make_shared<classOf<2>>();
    const struct {
        std::shared_ptr<iJobClassId> left, right;
        bool equal;
    } cases[] = {{a1, a2, true}, {a1, a1, true}, {a1, b, false}, {b, a1, false}, {a1, nullptr, false}};
    for (const auto& c : cases) {
        EXPECT_EQ(c.left->isEqual(c.right), c.equal);
        if (c.equal) {
            EXPECT_EQ(c.left->hashKey(), c.right->hashKey());
        }
    }
}

TEST(iJobAsyncContext, lessPriorityComparesTheClassesPrioritiesOnly) {
    auto low = ctx(std::make_shared<classOf<1>>());
    auto high = ctx(std::make_shared<classOf<2>>());
    auto noClass = ctx(nullptr);
    const struct {
        std::shared_ptr<context> left, right;
        bool less;
    } cases[] = {{low, high, true}, {high, low, false}, {low, low, false},    {low, nullptr, false},
                 {low, noClass, false}, {noClass, high, false}};
    for (const auto& c : cases)
        EXPECT_EQ(c.left->lessPriority(c.right), c.less);
    EXPECT_LE(low->timestamp(), high->timestamp());
}

// --- the asynchronous queue -------------------------------------------------------------------

void unthreadedQueue() {
    auto q = iJobsQueueAsync::get();
    check(q != nullptr, "get made no queue");
    check(iJobsQueueAsync::create(true) == q, "create after get made a second queue");
    check(q->isIdle(), "a new queue is not idle");
    q->setEnabled(true);
    check(!q->isEnabled(), "an unthreaded queue says it is enabled");
    std::thread::id ranOn;
    q->addJob([&](std::shared_ptr<iJobAsyncContext>) { ranOn = std::this_thread::get_id(); },
              ctx(std::make_shared<classOf<1>>()));
    check(ranOn == std::this_thread::get_id(), "the job did not run at once on the caller");
    bool threw = false;
    try {
        q->addJob(nullptr, ctx(std::make_shared<classOf<1>>()));
    } catch (const std::bad_function_call&) {
        threw = true;
    }
    check(threw, "an empty job did not raise bad_function_call");
    iJobsQueueAsync::release();
    check(iJobsQueueAsync::get() == nullptr, "get after release is not empty");
    check(iJobsQueueAsync::create(true) == nullptr, "create after release is not empty");
    check(q->isIdle(), "the queue still held is not idle");
}

TEST(iJobsQueueAsync, getFixesAnUnthreadedQueueThatRunsJobsOnTheCaller) {
    SCENARIO(unthreadedQueue);
}

using runLog = lockedLog;

void threadedQueue() {
    auto q = iJobsQueueAsync::create(true);
    check(q->isIdle(), "a queue that never had a job is not idle");
    check(!q->isEnabled(), "a new queue is enabled");
    runLog log;
    auto record = [&](std::shared_ptr<iJobAsyncContext> c) { log.add(static_cast<context*>(c.get())->name); };
    q->addJob(record, ctx(std::make_shared<classOf<1>>(), "direct"));
    check(log.read() == std::vector<std::string>{"direct"}, "a job before setEnabled did not run at once");
    q->setEnabled(true);
    check(q->isEnabled(), "setEnabled(true) on a threaded queue did not enable it");

    std::atomic<bool> open{false};
    std::atomic<bool> entered{false};
    q->addJob(
        [&](std::shared_ptr<iJobAsyncContext>) {
            entered = true;
            eventually([&] { return open.load(); });
            log.add("blocker");
        },
        ctx(std::make_shared<classOf<9>>(), "blocker"));
    check(eventually([&] { return entered.load(); }), "the worker did not take the first job");
    check(!q->isIdle(), "a queue running a job is idle");
    const auto a = std::make_shared<classOf<1>>();
    const auto b = std::make_shared<classOf<2>>();
    q->addJob(record, ctx(a, "a1"));
    q->addJob(record, ctx(b, "b1"));
    q->addJob(record, ctx(std::make_shared<classOf<1>>(), "a2")); // replaces a1 in its place
    q->addJob(record, ctx(std::make_shared<numberedClass>(7), "n7"));
    q->addJob(record, ctx(std::make_shared<numberedClass>(3), "n3")); // equal priority: after n7
    q->addJob(record, ctx(std::make_shared<classOf<2>>(), "b2")); // replaces b1
    q->addJob(record, ctx(nullptr, "no class"));                  // dropped
    q->addJob(nullptr, ctx(std::make_shared<classOf<5>>(), "no function"));
    open = true;
    check(eventually([&] { return q->isIdle(); }), "the queue did not become idle");
    const std::vector<std::string> expected{"direct", "blocker", "b2", "a2", "n7", "n3"};
    if (log.read() != expected) {
        std::string seen;
        for (const auto& n : log.read())
            seen += n + " ";
        std::fprintf(stderr, "ran: %s\n", seen.c_str());
        check(false, "the jobs did not run highest priority first, latest of each class only");
    }

    // A worker idle in its wait leaves at once when the queue ends.
    const auto before = std::chrono::steady_clock::now();
    iJobsQueueAsync::release();
    q.reset();
    check(std::chrono::steady_clock::now() - before < std::chrono::seconds(5), "ending an idle queue hung");
}

TEST(iJobsQueueAsync, runsTheLatestJobOfEachClassHighestPriorityFirstAndEndsWhenIdle) {
    SCENARIO(threadedQueue);
}

void aThousandJobsFromEightThreads() {
    auto q = iJobsQueueAsync::create(true);
    q->setEnabled(true);
    constexpr int kThreads = 8, kPerThread = 125;
    std::vector<std::atomic<int>> runs(kThreads * kPerThread);
    std::vector<std::thread> adders;
    for (int t = 0; t < kThreads; ++t)
        adders.emplace_back([&, t] {
            for (int i = 0; i < kPerThread; ++i) {
                const int n = t * kPerThread + i;
                q->addJob([&runs, n](std::shared_ptr<iJobAsyncContext>) { ++runs[n]; },
                          ctx(std::make_shared<numberedClass>(n)));
            }
        });
    for (auto& a : adders)
        a.join();
    check(eventually([&] { return q->isIdle(); }, 20000), "the queue did not drain");
    for (auto& r : runs)
        check(r == 1, "a job was lost or ran twice");
    // Ending the queue from inside its own last job does not wait for itself.
    std::atomic<bool> ended{false};
    iJobsQueueAsync* raw = q.get();
    std::shared_ptr<iJobsQueueAsync> last = q;
    q.reset();
    iJobsQueueAsync::release();
    raw->addJob(
        [&](std::shared_ptr<iJobAsyncContext>) {
            last.reset();
            ended = true;
        },
        ctx(std::make_shared<classOf<1>>()));
    check(eventually([&] { return ended.load(); }), "the last job did not run");
}

TEST(iJobsQueueAsync, aThousandJobsFromEightThreadsAllRunOnce) {
    SCENARIO(aThousandJobsFromEightThreads);
}

// --- the synchronous queue --------------------------------------------------------------------

void timedQueue() {
    auto q = iJobsQueueSync::create(true);
    check(iJobsQueueSync::get() == q, "get made a second queue");
    std::vector<int> ran; // touched on this thread only
    q->addJob([&] { ran.push_back(0); });
    check(ran == std::vector<int>{0}, "addJob on the owner did not run at once");
    q->addJobDeferred([&] { ran.push_back(1); });
    std::thread other([&] { q->addJob([&] { ran.push_back(2); }); });
    other.join();
    q->addJobDeferred([&] { ran.push_back(3); });
    check(!q->isEmpty(), "deferred jobs did not wait");
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    check(ran.size() == 1, "jobs ran without the owner pumping");
    // One job per tick: a call that dispatches what is due runs at most one (none when the
    // system has not yet delivered the tick).
    const auto oneTickEnd = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (ran.size() == 1 && std::chrono::steady_clock::now() < oneTickEnd) {
        vx::processMessages(0);
        check(ran.size() <= 2, "one tick ran more than one job");
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
    }
    check(ran.size() == 2, "no tick ran a job");
    const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(5);
    while (!q->isEmpty() && std::chrono::steady_clock::now() < end)
        vx::processMessages(5);
    check(ran == std::vector<int>{0, 1, 2, 3}, "the queued jobs did not run in order");
    iJobsQueueSync::release();
    check(iJobsQueueSync::create(true) == nullptr, "create after release is not empty");
    q->addJobDeferred([&] { ran.push_back(4); });
    q.reset(); // ends with a job queued: dropped
    vx::processMessages(20);
    check(ran.size() == 4, "a job of an ended queue ran");
}

TEST(iJobsQueueSync, runsJobsOfOtherThreadsOnePerTickOnTheOwner) {
    SCENARIO(timedQueue);
}

void untimedQueue() {
    auto q = iJobsQueueSync::get();
    std::atomic<int> ranElsewhere{0};
    std::thread other([&] { q->addJob([&] { ++ranElsewhere; }); });
    other.join();
    check(ranElsewhere == 1, "an untimed queue did not run the job at once on its caller");
    q->addJobDeferred([&] { ++ranElsewhere; });
    vx::processMessages(30);
    check(!q->isEmpty() && ranElsewhere == 1, "an untimed queue ran a deferred job");
    iJobsQueueSync::release();
}

TEST(iJobsQueueSync, anUntimedQueueRunsJobsAtOnceAndNeverDrains) {
    SCENARIO(untimedQueue);
}

} // namespace
