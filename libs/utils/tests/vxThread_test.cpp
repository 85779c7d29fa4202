// Threads, reusable threads and the pool. Every wait is bounded; a failure says what did not
// happen.
#include "vxException.h"
#include "vxSignal.h"
#include "vxThread.h"

#include "logTestSupport.h"
#include "testSupport.h"

#include <gtest/gtest.h>

#ifndef _WIN32
#include <sys/resource.h>
#endif

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

using vx::thread;

std::wstring failureOf(const std::function<void()>& f) {
    try {
        f();
    } catch (const vx::exception& e) {
        return e.message().string();
    }
    return L"(no exception)";
}

std::wstring unexpected(const std::wstring& details) {
    return L"Unexpected error occurred (" + details + L")";
}

// A gate that a thread's work waits on, with a limit.
struct gate {
    std::atomic<bool> open{false};
    std::atomic<int> entered{0};
    std::atomic<int> left{0};
    static int wait(void* raw) {
        auto* g = static_cast<gate*>(raw);
        // The first sleep sets up the runtime's record of the thread, under the runtime's lock:
        // a thread ended from outside on Windows stops wherever it is, so it says it has entered
        // only once it holds no lock that others need.
        std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ++g->entered;
        const auto end = std::chrono::steady_clock::now() + std::chrono::seconds(10);
        while (!g->open && std::chrono::steady_clock::now() < end)
            std::this_thread::sleep_for(std::chrono::milliseconds(1));
        ++g->left; // the last touch of the gate
        return 42;
    }
};

// Records the order of handlers and work, and whether the thread was current in each.
using journal = lockedLog;

struct recordingStart : vx::startThreadHandler {
    recordingStart(journal& j, std::string name) : j(j), name(std::move(name)) {}
    void operator()(thread* t) override { j.add(name + (t->isCurrent() ? "+" : "-")); }
    startThreadHandler* copy() const override { return new recordingStart(j, name); }
    journal& j;
    std::string name;
};

struct recordingEnd : vx::endThreadHandler {
    recordingEnd(journal& j, std::string name) : j(j), name(std::move(name)) {}
    void operator()(thread* t) override { j.add(name + (t->isCurrent() ? "+" : "-")); }
    endThreadHandler* copy() const override { return new recordingEnd(j, name); }
    journal& j;
    std::string name;
};

class recordingThread : public thread {
public:
    explicit recordingThread(journal& j) : j(j) {}
    int execute() override {
        j.add(std::string("execute") + (isCurrent() ? "+" : "-"));
        return 5;
    }
    journal& j;
};

int recordWork(void* raw) {
    static_cast<journal*>(raw)->add("function");
    return 6;
}

TEST(thread, priorityReadsBackThroughTheTableWithSevenForIdle) {
    const struct {
        int set;
        int expected;
    } cases[] = {{thread::priorityTimeCritical, 0}, {thread::priorityHighest, 1}, {thread::priorityAboveNormal, 2},
                 {thread::priorityNormal, 3},       {thread::priorityBelowNormal, 4}, {thread::priorityLowest, 5},
                 {thread::priorityIdle, 7},         {9, 7}};
    gate g;
    auto t = thread::create(true, thread::priorityNormal, false, &gate::wait, &g);
    for (const auto& c : cases) {
        t->setPriority(static_cast<thread::ePriority>(c.set));
        EXPECT_EQ(t->priority(), c.expected) << "set " << c.set;
    }
    g.open = true;
    ASSERT_TRUE(eventually([&] { return t->hasFinished(); })) << "the thread did not end";
}

TEST(thread, operationsBeforeStartFailWithTheirTexts) {
    const std::wstring notStarted = unexpected(L"thread not yet started");
    vx::refPtr<thread> t = thread::create(false, thread::priorityNormal, false, nullptr, nullptr);
    const struct {
        const char* what;
        std::function<void()> call;
        std::wstring expected;
    } cases[] = {
        {"suspend", [&] { t->suspend(); }, notStarted},
        {"resume", [&] { t->resume(); }, notStarted},
        {"immediateResume", [&] { t->immediateResume(); }, notStarted},
        {"terminate", [&] { t->terminate(3); }, notStarted},
        {"priority", [&] { t->priority(); }, notStarted},
        {"exitCode", [&] { t->exitCode(); }, unexpected(L"Error retrieving thread's exitCode")},
        {"hasFinished", [&] { t->hasFinished(); }, unexpected(L"Error retrieving thread's exitCode")},
        {"setPriority", [&] { t->setPriority(thread::priorityIdle); }, L"(no exception)"},
    };
    for (const auto& c : cases)
        EXPECT_EQ(failureOf(c.call), c.expected) << c.what;
    EXPECT_FALSE(t->isStarted());
    EXPECT_FALSE(t->isSuspended());
    EXPECT_FALSE(t->isCurrent());
}

TEST(thread, runsOnceReportsStillActiveThenItsExitCodeAndCannotStartTwice) {
    gate g;
    auto t = thread::create(true, thread::priorityNormal, false, &gate::wait, &g);
    EXPECT_TRUE(t->isStarted());
    ASSERT_TRUE(eventually([&] { return g.entered == 1; })) << "the work did not begin";
    EXPECT_EQ(t->exitCode(), 259);
    EXPECT_FALSE(t->hasFinished());
    g.open = true;
    ASSERT_TRUE(eventually([&] { return t->hasFinished(); })) << "the thread did not end";
    EXPECT_EQ(t->exitCode(), 42);
    EXPECT_TRUE(t->isStarted());
    EXPECT_EQ(failureOf([&] { t->start(&gate::wait, &g, false, thread::priorityNormal); }),
              unexpected(L"Cannot start thread twice"));
    EXPECT_EQ(g.entered, 1);
}

TEST(thread, handlersRunInOrderAroundTheWorkAndTheThreadIsNoLongerCurrentAtTheEnd) {
    journal j;
    vx::refPtr<recordingThread> t(new recordingThread(j));
    recordingStart s1(j, "start1"), s2(j, "start2");
    recordingEnd e1(j, "end1"), e2(j, "end2");
    t->attachStartHandler(&s1);
    t->attachStartHandler(nullptr);
    t->attachStartHandler(&s2);
    t->attachEndHandler(&e1);
    t->attachEndHandler(nullptr);
    t->attachEndHandler(&e2);
    t->start(nullptr, nullptr, false, thread::priorityNormal);
    ASSERT_TRUE(eventually([&] { return t->hasFinished(); })) << "the thread did not end";
    EXPECT_EQ(t->exitCode(), 5);
    EXPECT_EQ(j.read(), (std::vector<std::string>{"start1+", "start2+", "execute+", "end1-", "end2-"}));
}

int quickWork(void*) {
    return 0;
}

TEST(thread, startAndTheBodyTraceTheirSteps) {
    vxtest::logHome home(vxtest::logConfig("enabled=\"true\" level=\"trace\"",
                                           "<vx enabled=\"true\" level=\"trace\"/>"));
    auto t = thread::create(true, thread::priorityNormal, false, &quickWork, nullptr);
    ASSERT_TRUE(eventually([&] { return t->hasFinished(); })) << "the thread did not end";
    const std::vector<std::string> lines = home.lines(1);
    // Each group in its order; the two threads' lines may interleave.
    const std::vector<std::vector<std::string>> groups = {
        {"start entered", "Create thread", "Set parameters", "Call to ResumeThread", "start leaved"},
        {"_internalExecute entered", "Call ThreadStart: 0 times", "Execution via function pointer",
         "Release thread data", "Call ThreadEnd: 0 times", "Call WinBase native: ExitThread"}};
    for (const auto& group : groups) {
        std::size_t next = 0;
        for (const std::string& line : lines)
            if (next < group.size() && line.find("- " + group[next]) != std::string::npos)
                ++next;
        EXPECT_EQ(next, group.size()) << "missing or out of order: " << (next < group.size() ? group[next] : "");
    }
}

TEST(thread, aFunctionWinsOverAnOverriddenExecute) {
    journal j;
    vx::refPtr<recordingThread> t(new recordingThread(j));
    t->start(&recordWork, &j, false, thread::priorityNormal);
    ASSERT_TRUE(eventually([&] { return t->hasFinished(); })) << "the thread did not end";
    EXPECT_EQ(t->exitCode(), 6);
    EXPECT_EQ(j.read(), (std::vector<std::string>{"function"}));
}

TEST(thread, aThreadStartedSuspendedWaitsForItsResumeAndCountsSuspensions) {
    gate g;
    g.open = true;
    auto t = thread::create(true, thread::priorityNormal, true, &gate::wait, &g);
    EXPECT_FALSE(t->isSuspended()); // the created state sets no flag
    std::this_thread::sleep_for(std::chrono::milliseconds(30));
    EXPECT_EQ(g.entered, 0);
    EXPECT_EQ(t->exitCode(), 259);
    // (operation, answer, flag after it): the count starts at 1.
    const struct {
        char op;
        unsigned answer;
        bool suspended;
    } steps[] = {{'s', 1, true}, {'s', 2, true}, {'r', 3, true}, {'r', 2, true}, {'r', 1, false}, {'r', 0, true}};
    for (const auto& s : steps) {
        const unsigned answer = s.op == 's' ? t->suspend() : t->resume();
        EXPECT_EQ(answer, s.answer) << s.op;
        EXPECT_EQ(t->isSuspended(), s.suspended) << s.op;
    }
    ASSERT_TRUE(eventually([&] { return t->hasFinished(); })) << "the resumed thread did not run";
    EXPECT_EQ(g.entered, 1);
}

TEST(thread, immediateResumeReleasesEverySuspensionAndRefusesARunningThread) {
    gate g;
    g.open = true;
    auto t = thread::create(true, thread::priorityNormal, true, &gate::wait, &g);
    t->suspend();
    t->suspend();
    t->immediateResume();
    EXPECT_FALSE(t->isSuspended());
    ASSERT_TRUE(eventually([&] { return t->hasFinished(); })) << "the thread did not run";
    EXPECT_EQ(failureOf([&] { t->immediateResume(); }), unexpected(L"Unable to resume thread (&ld)"));
}

TEST(thread, terminateEndsWithTheCodeAndRunsNoEndHandlers) {
    journal j;
    gate g;
    auto t = thread::create(false, thread::priorityNormal, false, nullptr, nullptr);
    recordingEnd e(j, "end");
    t->attachEndHandler(&e);
    t->start(&gate::wait, &g, false, thread::priorityNormal);
    ASSERT_TRUE(eventually([&] { return g.entered == 1; })) << "the work did not begin";
    t->terminate(7);
    EXPECT_TRUE(t->hasFinished());
    EXPECT_EQ(t->exitCode(), 7);
    EXPECT_FALSE(t->isCurrent());
#ifndef _WIN32
    g.open = true;
    ASSERT_TRUE(eventually([&] { return g.left == 1; })) << "the ended thread's work did not return";
#endif
    std::this_thread::sleep_for(std::chrono::milliseconds(20));
    EXPECT_EQ(t->exitCode(), 7);
    EXPECT_TRUE(j.read().empty());
}

TEST(thread, destroyingAThreadEndsIt) {
    gate held;
    held.open = true;
    {
        auto t = thread::create(true, thread::priorityNormal, true, &gate::wait, &held);
    } // never resumed: its work never runs
    gate running;
    {
        auto t = thread::create(true, thread::priorityNormal, false, &gate::wait, &running);
        ASSERT_TRUE(eventually([&] { return running.entered == 1; })) << "the work did not begin";
        EXPECT_EQ(running.left, 0);
    } // returns while the work still waits
#ifndef _WIN32
    // The system thread runs on unseen after its end (POSIX) and leaves the gate once opened.
    running.open = true;
    EXPECT_TRUE(eventually([&] { return running.left == 1; })) << "the ended thread's work did not return";
#endif
    EXPECT_EQ(held.entered, 0);
}

// --- reusable threads and the pool ----------------------------------------------------------

struct job {
    std::atomic<int> runs{0};
    std::atomic<std::uint64_t> threadHash{0};
    gate* wait = nullptr;
    static int run(void* raw) {
        auto* j = static_cast<job*>(raw);
        j->threadHash = std::hash<std::thread::id>()(std::this_thread::get_id());
        if (j->wait)
            gate::wait(j->wait);
        ++j->runs;
        return 0;
    }
};

TEST(reusablelThread, runsJobsOnOneThreadWithItsSignalsAndKeepsTheSuspendedQuirk) {
    auto t = vx::reusablelThread::create();
    EXPECT_TRUE(t->isStarted());
    EXPECT_FALSE(t->isBusy());
    gate g;
    job first;
    first.wait = &g;
    t->start(&job::run, &first, false, thread::priorityNormal);
    EXPECT_TRUE(t->isSuspended()); // resume of a running thread answered 0
    EXPECT_TRUE(t->isBusy());
    EXPECT_FALSE(t->reinit());
    EXPECT_TRUE(t->isBusy()) << "reinit of a busy thread changed it";
    g.open = true;
    ASSERT_TRUE(eventually([&] { return t->endExecuteSignal()->isSignalSet(); })) << "the job did not end";
    EXPECT_FALSE(t->isBusy());
    EXPECT_EQ(first.runs, 1);
    job second;
    EXPECT_TRUE(t->reinit());
    EXPECT_FALSE(t->endExecuteSignal()->isSignalSet());
    t->start(&job::run, &second, false, thread::priorityNormal);
    ASSERT_TRUE(eventually([&] { return second.runs == 1; })) << "the second job did not run";
    EXPECT_EQ(first.threadHash, second.threadHash);
    EXPECT_FALSE(t->hasFinished());
}

#ifndef _WIN32
// Each job is given its level; the thread's nice value follows it, also where a level repeats
// (no system call then) and after it. Only rising nice values: lowering one needs privileges.
TEST(reusablelThread, theNiceValueFollowsTheLevelOfEachJob) {
    struct niceJob {
        std::atomic<int> nice{-100};
        static int run(void* raw) {
            static_cast<niceJob*>(raw)->nice = ::getpriority(PRIO_PROCESS, 0);
            return 0;
        }
    };
    auto t = vx::reusablelThread::create();
    const struct { thread::ePriority priority; int nice; } jobs[] = {
        {thread::priorityBelowNormal, 2}, {thread::priorityLowest, 4}, {thread::priorityLowest, 4},
        {thread::priorityIdle, 19}};
    for (const auto& j : jobs) {
        niceJob run;
        ASSERT_TRUE(eventually([&] { return t->reinit(); })) << "the thread stayed busy";
        t->start(&niceJob::run, &run, false, j.priority);
        ASSERT_TRUE(eventually([&] { return run.nice != -100; })) << "the job did not run";
        EXPECT_EQ(run.nice, j.nice) << "level " << j.priority;
    }
}
#endif

TEST(reusablelThread, destructionWaitsForTheRunningJob) {
    gate g;
    job j;
    j.wait = &g;
    std::thread opener([&] {
        std::this_thread::sleep_for(std::chrono::milliseconds(30));
        g.open = true;
    });
    {
        auto t = vx::reusablelThread::create();
        t->start(&job::run, &j, false, thread::priorityNormal);
        ASSERT_TRUE(eventually([&] { return g.entered == 1; }));
    }
    EXPECT_EQ(j.runs, 1);
    opener.join();
}

TEST(reusablelThread, aJobMayDropTheLastReferenceToItsOwnThread) {
    struct selfDropping {
        vx::refPtr<vx::reusablelThread> thread;
        std::atomic<bool> done{false};
        static int run(void* raw) {
            auto* s = static_cast<selfDropping*>(raw);
            s->thread.reset(); // the object ends here, on its own thread
            s->done = true;
            return 0;
        }
    } s;
    s.thread = vx::reusablelThread::create();
    vx::reusablelThread* raw = s.thread.get();
    raw->start(&selfDropping::run, &s, false, thread::priorityNormal);
    ASSERT_TRUE(eventually([&] { return s.done.load(); })) << "the job did not run";
    std::this_thread::sleep_for(std::chrono::milliseconds(20)); // the loop comes round to the stop
}

// How long the pool's callbacks are given to file a thread whose job has ended.
constexpr int kCallbackTime = 150;

TEST(threadPool, aThreadHeldByItsCallerIsReusedOnlyAfterRelease) {
    vx::threadPool* pool = vx::threadPool::singleton();
    ASSERT_EQ(pool, vx::threadPool::singleton());
    job a, b, c;
    auto first = pool->startThread(&job::run, &a, false, thread::priorityNormal);
    thread* firstRaw = first.get();
    ASSERT_TRUE(eventually([&] { return a.runs == 1 && !first->isBusy(); })) << "the first job did not end";
    // The pool notices the end in its callback; give it the time to file the thread as waiting
    // (generously: the callback runs on another thread, slow under the sanitizers).
    std::this_thread::sleep_for(std::chrono::milliseconds(kCallbackTime));
    auto second = pool->startThread(&job::run, &b, false, thread::priorityNormal);
    EXPECT_NE(second.get(), firstRaw) << "a thread still held by its caller was handed out";
    ASSERT_TRUE(eventually([&] { return b.runs == 1; }));
    first.reset();
    auto third = pool->startThread(&job::run, &c, false, thread::priorityNormal);
    EXPECT_EQ(third.get(), firstRaw) << "the released thread was not reused";
    ASSERT_TRUE(eventually([&] { return c.runs == 1; }));
    EXPECT_EQ(a.threadHash, c.threadHash);
}

TEST(threadPool, aCallerMayStartItsThreadAgainDirectly) {
    job a, b;
    auto t = vx::threadPool::singleton()->startThread(&job::run, &a, false, thread::priorityNormal);
    ASSERT_TRUE(eventually([&] { return a.runs == 1 && !t->isBusy(); }));
    std::this_thread::sleep_for(std::chrono::milliseconds(kCallbackTime));
    t->start(&job::run, &b, false, thread::priorityNormal);
    ASSERT_TRUE(eventually([&] { return b.runs == 1 && !t->isBusy(); })) << "the restarted job did not run";
    thread* raw = t.get();
    t.reset();
    std::this_thread::sleep_for(std::chrono::milliseconds(kCallbackTime));
    job c;
    auto again = vx::threadPool::singleton()->startThread(&job::run, &c, false, thread::priorityNormal);
    EXPECT_EQ(again.get(), raw) << "the restarted thread did not come back to the pool";
    ASSERT_TRUE(eventually([&] { return c.runs == 1; }));
}

TEST(threadPool, twoHundredThreadsInWavesRunEveryJob) {
    std::vector<job> jobs(200);
    for (int wave = 0; wave < 4; ++wave) {
        std::vector<vx::refPtr<vx::reusablelThread>> started;
        for (int i = 0; i < 50; ++i)
            started.push_back(vx::threadPool::singleton()->startThread(&job::run, &jobs[wave * 50 + i], false,
                                                                       thread::priorityNormal));
        ASSERT_TRUE(eventually([&] {
            for (int i = 0; i < 50; ++i)
                if (jobs[wave * 50 + i].runs != 1)
                    return false;
            return true;
        })) << "a job of wave " << wave << " did not run";
    }
    for (const job& j : jobs)
        EXPECT_EQ(j.runs, 1);
}

} // namespace
