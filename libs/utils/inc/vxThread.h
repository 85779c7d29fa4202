// Threads, reusable threads and the process-wide thread pool.
//
// A thread runs a function or its virtual execute, with start and end handlers around it. Where
// the system cannot suspend or end a running thread from outside (POSIX), suspension counts
// exactly but holds the thread only before its work begins and after it ends, and terminate
// publishes the exit code at once while the thread runs on unseen (docs/platform.md).
#pragma once

#include "vxExport.h"
#include "vxMutex.h"
#include "vxRefPtr.h"
#include "vxSignal.h"

#include <cstdint>
#include <list>
#include <map>
#include <memory>
#include <utility>
#include <vector>

namespace vx {

class thread;
struct threadData;
struct reusableThreadData;

// Called on the new thread before its work, in order of attachment.
class VX_API startThreadHandler {
public:
    virtual ~startThreadHandler();
    virtual void operator()(thread* t) = 0;
    // A new copy, owned by the caller.
    virtual startThreadHandler* copy() const = 0;
};

// Called on the thread after its work, in order of attachment.
class VX_API endThreadHandler {
public:
    virtual ~endThreadHandler();
    virtual void operator()(thread* t) = 0;
    virtual endThreadHandler* copy() const = 0;
};

class VX_API thread : public refObj {
public:
    enum ePriority {
        priorityTimeCritical = 0,
        priorityHighest = 1,
        priorityAboveNormal = 2,
        priorityNormal = 3,
        priorityBelowNormal = 4,
        priorityLowest = 5,
        priorityIdle = 6,
    };
    // The exit code of a thread that runs.
    static constexpr int kStillActive = 259;

    static refPtr<thread> create(bool startNow, ePriority priority, bool suspended, int (*function)(void*),
                                 void* data);

    thread();
    ~thread() override;
    thread(const thread&) = delete;
    thread& operator=(const thread&) = delete;

    void deleteThis() override { delete this; }

    // The work when no function was given; 0 here.
    virtual int execute();
    // Starts the thread once: with suspended true it stays held until resumed.
    virtual void start(int (*function)(void*), void* data, bool suspended, ePriority priority);

    unsigned int suspend();
    unsigned int resume();
    // Resumes until the thread runs; throws when it was not suspended.
    void immediateResume();
    // Ends the thread with that code; no end handlers run.
    void terminate(int exitCode);
    // kStillActive (259) while the thread runs.
    int exitCode() const;
    bool hasFinished() const;
    bool isStarted() const;
    bool isSuspended() const;
    // The calling thread is this one, and its work has not ended.
    bool isCurrent() const;
    // 7 for a level outside the table (idle included).
    ePriority priority() const;
    void setPriority(ePriority priority);

    // Null is ignored; otherwise a copy is kept.
    void attachStartHandler(startThreadHandler const* handler);
    void attachEndHandler(endThreadHandler const* handler);

protected:
    // Called by the thread itself between pieces of work: where suspension holds a thread only at
    // such points, a suspended thread waits here.
    void honourSuspension();

private:
    friend class signalPool;
    static int s_internalExecute(void* self);
    threadData& data() const;
    void* waitHandle() const;

    std::shared_ptr<threadData> mpData;
};

// A thread that stays alive between jobs, waiting on its signals.
class VX_API reusablelThread : public thread {
public:
    static refPtr<reusablelThread> create();

    ~reusablelThread() override;

    // Set while a job is pending or running.
    refPtr<signal> executeSignal();
    // Set when a job has ended.
    refPtr<signal> endExecuteSignal();
    bool isBusy() const;
    // False while busy; otherwise resets the three signals.
    bool reinit();
    // Hands the thread a job.
    void start(int (*function)(void*), void* data, bool suspended, ePriority priority) override;

protected:
    reusablelThread();

private:
    static int loop(void* self);

    std::shared_ptr<reusableThreadData> mpReusableData; // shared with the loop, which may outlive the object
};

// Hands out idle reusable threads and takes them back when their job has ended and nobody but the
// pool holds them.
class VX_API threadPool {
public:
    static threadPool* singleton();

    refPtr<reusablelThread> startThread(int (*function)(void*), void* data, bool suspended,
                                        thread::ePriority priority);

    threadPool(const threadPool&) = delete;
    threadPool& operator=(const threadPool&) = delete;

private:
    threadPool();
    ~threadPool();
    static void onEndExecute(signal* s, void* pool);
    static void onRestart(signal* s, void* pool);

    std::vector<refPtr<reusablelThread>> mIdleThreads;
    std::list<std::pair<refPtr<signal>, refPtr<reusablelThread>>> mWaitingThreads;
    mutex mMutex1;
    std::map<signal*, refPtr<reusablelThread>> mRunningThreads;
    mutex mMutex2;
};

} // namespace vx
