// Signals, the signal pool and timers. Every wait is bounded; a failure says what did not happen.
#include "vxSignal.h"
#include "vxThread.h"

#include "testSupport.h"

#include <gtest/gtest.h>

#include <atomic>
#include <chrono>
#include <functional>
#include <mutex>
#include <string>
#include <thread>
#include <vector>

namespace {

using vxtest::eventually;
using vxtest::lockedLog;

using vx::signal;
using vx::signalPool;

TEST(signal, manualAndAutoResetAnswerTheZeroWait) {
    const struct {
        bool manual;
        bool initial;
        bool first;
        bool second;
    } cases[] = {{true, true, true, true}, {false, true, true, false}, {true, false, false, false},
                 {false, false, false, false}};
    for (const auto& c : cases) {
        auto s = signal::create(c.manual, c.initial, nullptr);
        ASSERT_NE(s->handle(), nullptr);
        EXPECT_EQ(s->isSignalSet(), c.first) << c.manual << c.initial;
        EXPECT_EQ(s->isSignalSet(), c.second) << c.manual << c.initial;
        s->setSignal();
        s->setSignal(); // two sets are one set state
        EXPECT_TRUE(s->isSignalSet());
        EXPECT_EQ(s->isSignalSet(), c.manual);
        s->resetSignal();
        EXPECT_FALSE(s->isSignalSet());
    }
}

struct counter {
    std::atomic<int> calls{0};
    static void onSignal(signal*, void* raw) { ++static_cast<counter*>(raw)->calls; }
    static void resetting(signal* s, void* raw) {
        s->resetSignal();
        ++static_cast<counter*>(raw)->calls;
    }
    static void detaching(signal* s, void* raw) {
        signalPool::singleton()->detach(s, &counter::detaching, raw);
        ++static_cast<counter*>(raw)->calls;
    }
    static void onThread(vx::thread*, void* raw) { ++static_cast<counter*>(raw)->calls; }
};

TEST(signalPool, nullObjectsAndUnknownDetachesChangeNothing) {
    signalPool* pool = signalPool::singleton();
    ASSERT_EQ(pool, signalPool::singleton());
    counter c;
    pool->attach(static_cast<signal*>(nullptr), &counter::onSignal, &c);
    pool->attach(static_cast<vx::thread*>(nullptr), &counter::onThread, &c);
    pool->detach(static_cast<signal*>(nullptr), &counter::onSignal, &c);
    auto s = signal::create(false, false, nullptr);
    pool->detach(s.get(), &counter::onSignal, &c); // never attached
    EXPECT_EQ(c.calls, 0);
}

TEST(signalPool, anAutoResetSignalFiresOneRoundPerSet) {
    counter c;
    auto s = signal::create(false, false, nullptr);
    signalPool::singleton()->attach(s.get(), &counter::onSignal, &c);
    for (int round = 1; round <= 5; ++round) {
        s->setSignal();
        ASSERT_TRUE(eventually([&] { return c.calls == round; })) << "round " << round << " did not fire";
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(c.calls, 5);
    signalPool::singleton()->detach(s.get(), &counter::onSignal, &c);
    s->setSignal();
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(c.calls, 5) << "a detached signal still fired";
}

TEST(signalPool, aDetachWithOtherDataLeavesTheCallbackFiring) {
    counter c, other;
    auto s = signal::create(true, false, nullptr);
    signalPool::singleton()->attach(s.get(), &counter::resetting, &c);
    signalPool::singleton()->detach(s.get(), &counter::resetting, &other);
    s->setSignal();
    ASSERT_TRUE(eventually([&] { return c.calls == 1; })) << "the callback did not fire";
    signalPool::singleton()->detach(s.get(), &counter::resetting, &c);
}

TEST(signalPool, callbacksMayDetachThemselvesAndAttachOthers) {
    counter c;
    auto s = signal::create(true, true, nullptr); // manual and never reset: only the detach stops it
    signalPool::singleton()->attach(s.get(), &counter::detaching, &c);
    ASSERT_TRUE(eventually([&] { return c.calls >= 1; })) << "the callback did not fire";
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(c.calls, 1);

    struct chain {
        vx::refPtr<signal> next = signal::create(false, false, nullptr);
        counter nextCalls;
        static void attachNext(signal* s, void* raw) {
            auto* ch = static_cast<chain*>(raw);
            signalPool::singleton()->detach(s, &chain::attachNext, raw);
            signalPool::singleton()->attach(ch->next.get(), &counter::onSignal, &ch->nextCalls);
            ch->next->setSignal();
        }
    } ch;
    auto first = signal::create(false, true, nullptr);
    signalPool::singleton()->attach(first.get(), &chain::attachNext, &ch);
    ASSERT_TRUE(eventually([&] { return ch.nextCalls.calls == 1; })) << "the signal attached inside did not fire";
    signalPool::singleton()->detach(ch.next.get(), &counter::onSignal, &ch.nextCalls);
}

int quick(void*) {
    return 0;
}

TEST(signalPool, aThreadFiresOnceAndAnEndedThreadAtOnce) {
    counter running, ended;
    auto t = vx::thread::create(true, vx::thread::priorityNormal, true, &quick, nullptr);
    signalPool::singleton()->attach(t.get(), &counter::onThread, &running);
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(running.calls, 0) << "a held thread fired";
    t->resume();
    ASSERT_TRUE(eventually([&] { return running.calls == 1; })) << "the thread's end did not fire";
    signalPool::singleton()->attach(t.get(), &counter::onThread, &ended);
    ASSERT_TRUE(eventually([&] { return ended.calls == 1; })) << "the ended thread did not fire";
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(running.calls, 1);
    EXPECT_EQ(ended.calls, 1);
}

TEST(signalPool, signalsSetFromManyThreadsWhileCallbacksDetachThemselvesLoseNone) {
    constexpr int kSignals = 100;
    std::vector<vx::refPtr<signal>> signals;
    std::vector<counter> counters(kSignals);
    for (int i = 0; i < kSignals; ++i) {
        signals.push_back(signal::create(true, false, nullptr));
        signalPool::singleton()->attach(signals.back().get(), &counter::detaching, &counters[i]);
    }
    std::vector<std::thread> setters;
    for (int k = 0; k < 8; ++k)
        setters.emplace_back([&, k] {
            for (int i = k; i < kSignals; i += 8)
                signals[i]->setSignal();
        });
    for (auto& s : setters)
        s.join();
    for (int i = 0; i < kSignals; ++i)
        ASSERT_TRUE(eventually([&] { return counters[i].calls == 1; })) << "signal " << i << " was lost";
}

// --- timers ---------------------------------------------------------------------------------

struct tickLog {
    std::vector<std::string> ticks;
    int nested = 0;
    int depth = 0;
    int maxDepth = 0;
};

struct timerCase {
    tickLog* log;
    std::string name;
    int pumpFor; // milliseconds the callback pumps messages itself
};

void onTick(void* raw) {
    auto* c = static_cast<timerCase*>(raw);
    tickLog& log = *c->log;
    log.maxDepth = std::max(log.maxDepth, ++log.depth);
    log.ticks.push_back(c->name);
    if (c->pumpFor > 0) {
        const int pump = c->pumpFor;
        c->pumpFor = 0;
        vx::processMessages(pump);
    }
    --log.depth;
}

void pumpUntil(const std::function<bool()>& done, int milliseconds = 5000) {
    const auto end = std::chrono::steady_clock::now() + std::chrono::milliseconds(milliseconds);
    while (!done() && std::chrono::steady_clock::now() < end)
        vx::processMessages(5);
}

TEST(timer, ticksOnlyWhileTheThreadPumps) {
    tickLog log;
    timerCase a{&log, "a", 0};
    vx::timer t(&onTick, &a, 5);
    EXPECT_NE(t.id(), 0u);
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_TRUE(log.ticks.empty()) << "a tick ran outside processMessages";
    pumpUntil([&] { return log.ticks.size() >= 3; });
    EXPECT_GE(log.ticks.size(), 3u) << "the timer did not tick while pumping";
}

TEST(timer, aPumpingCallbackNeverReentersAndLaterTicksRunAfterItInOrder) {
    tickLog log;
    timerCase a{&log, "a", 80}, b{&log, "b", 0};
    vx::timer ta(&onTick, &a, 10);
    vx::timer tb(&onTick, &b, 10);
    pumpUntil([&] { return log.ticks.size() >= 6; });
    ASSERT_GE(log.ticks.size(), 6u) << "the timers did not tick";
    EXPECT_EQ(log.maxDepth, 1) << "a tick ran inside another";
    // The first tick pumped for 80 ms: both timers ticked meanwhile and ran after it.
    EXPECT_EQ(log.ticks[0], "a");
    EXPECT_NE(std::find(log.ticks.begin() + 1, log.ticks.end(), "b"), log.ticks.end());
}

TEST(timer, destroyingATimerDropsTheTicksQueuedForOthers) {
    tickLog log;
    struct killer {
        vx::timer* victim = nullptr;
        tickLog* log;
        bool done = false;
    } k;
    k.log = &log;
    timerCase b{&log, "b", 0};
    // The first tick of this timer pumps long enough that b's tick is queued, then destroys a
    // third timer: the queued tick of b is dropped.
    struct pumper {
        static void tick(void* raw) {
            auto* kk = static_cast<killer*>(raw);
            if (kk->done)
                return;
            kk->done = true;
            kk->log->ticks.push_back("p");
            vx::processMessages(40); // b ticks now and waits in the queue
            delete kk->victim;
            kk->victim = nullptr;
        }
    };
    int unused = 0;
    k.victim = new vx::timer([](void*) {}, &unused, 100000);
    vx::timer p(&pumper::tick, &k, 5);
    auto* other = new vx::timer(&onTick, &b, 5); // due just after p
    pumpUntil([&] { return k.done; });
    ASSERT_TRUE(k.done);
    const std::size_t afterPump = log.ticks.size();
    EXPECT_EQ(afterPump, 1u) << "b's queued tick ran instead of being dropped";
    pumpUntil([&] { return log.ticks.size() > afterPump; });
    EXPECT_GT(log.ticks.size(), afterPump) << "b stopped ticking";
    delete other;
}

TEST(timer, aThreadThatDoesNotPumpGetsNoTicksFromAnotherThreadsPump) {
    std::atomic<int> ticks{0};
    std::atomic<bool> made{false}, stop{false};
    std::thread owner([&] {
        vx::timer t([](void* raw) { ++*static_cast<std::atomic<int>*>(raw); }, &ticks, 2);
        made = true;
        while (!stop)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
    });
    ASSERT_TRUE(eventually([&] { return made.load(); }));
    vx::processMessages(30);
    stop = true;
    owner.join();
    EXPECT_EQ(ticks, 0);
}

} // namespace
