#include "vxThread.h"

#include "vxException.h"
#include "vxLogManager.h"
#include "vxString.h"

#include "detail/mutexHold.h"
#include "platform/events.h"
#include "platform/threads.h"

#include <algorithm>
#include <atomic>
#include <mutex>
#include <new>

namespace vx {

struct threadData {
    mutex lock; // recursive: start holds it while the new thread's first steps wait for it
    std::atomic<bool> suspended{false};
    platform::systemThread* handle = nullptr;
    std::atomic<std::uint32_t> threadId{0};
    std::uint32_t systemId = 0; // the id given at creation, kept after the run
    int (*function)(void*) = nullptr;
    void* userData = nullptr;
    std::vector<std::unique_ptr<startThreadHandler>> startHandlers;
    std::vector<std::unique_ptr<endThreadHandler>> endHandlers;
    // The object, for execute and the handlers; usesOwner is set while the thread's work is in
    // them.
    thread* owner = nullptr;
    std::atomic<bool> usesOwner{false};

    ~threadData() {
        if (handle)
            platform::closeThread(handle);
    }
};

namespace {

using hold = detail::mutexHold;

void trace(const char* loggerName, const string& message, long line, const char* context) {
    vxlog::logManager::getLogger(loggerName)->log_trace(message, __FILE__, line, context);
}

void traceStart(const wchar_t* message, long line) {
    trace("vx::thread::start", message, line, "thread::start");
}

void traceBody(const string& message, long line) {
    trace("vx::thread::_internalExecute", message, line, "thread::_internalExecute");
}

[[noreturn]] void fail(const wchar_t* text) {
    throw unexpectedErrorException(L"%s", text);
}

// The system levels of the priorities, in the order of ePriority.
constexpr int kLevels[] = {15, 2, 1, 0, -1, -2, -15};

std::shared_ptr<threadData>* takeArgument(void* argument) {
    return static_cast<std::shared_ptr<threadData>*>(argument);
}

void discardArgument(void* argument) {
    delete takeArgument(argument);
}

} // namespace

startThreadHandler::~startThreadHandler() = default;
endThreadHandler::~endThreadHandler() = default;

constexpr int thread::kStillActive;

refPtr<thread> thread::create(bool startNow, ePriority priority, bool suspended, int (*function)(void*),
                              void* data) {
    refPtr<thread> t(new thread);
    if (startNow)
        t->start(function, data, suspended, priority);
    return t;
}

thread::thread() {
    try {
        mpData = std::make_shared<threadData>();
    } catch (const std::bad_alloc&) {
        fail(L"Failed to allocate threadData");
    }
    mpData->owner = this;
}

thread::~thread() {
    if (!mpData)
        return;
    threadData& d = *mpData;
    platform::systemThread* handle;
    {
        hold locked(d.lock);
        handle = d.handle;
        // A thread that destroys its own object is not ended by it.
        const bool own = handle && platform::currentThreadId() == d.systemId;
        std::uint32_t code = 0;
        if (handle && !own && platform::threadExitCode(handle, code) && code == platform::kStillActive) {
            platform::terminateThread(handle, 1);
            d.threadId = 0;
        }
        if (own)
            handle = nullptr;
    }
    // Where a thread runs on after terminate (POSIX), it may still be in this object's execute
    // or handlers: wait until it has left them. It sees that it was ended before it enters any.
    if (handle) {
        while (d.usesOwner.load() && !platform::waitThreadReturned(handle, 1)) {
        }
    }
    hold locked(d.lock);
    d.owner = nullptr;
}
threadData& thread::data() const {
    if (!mpData)
        fail(L"Missing threadData");
    return *mpData;
}

void* thread::waitHandle() const {
    threadData& d = data();
    hold locked(d.lock);
    return d.handle ? platform::threadEndEvent(d.handle) : nullptr;
}

int thread::execute() {
    return 0;
}

void thread::start(int (*function)(void*), void* data, bool suspended, ePriority priority) {
    threadData& d = this->data();
    hold locked(d.lock);
    traceStart(L"start entered", __LINE__);
    if (d.handle)
        fail(L"Cannot start thread twice");
    traceStart(L"Create thread", __LINE__);
    auto* argument = new std::shared_ptr<threadData>(mpData);
    std::uint32_t id = 0;
    d.handle = platform::createHeldThread(&thread::s_internalExecute, argument, &discardArgument, id);
    if (!d.handle) {
        delete argument;
        fail(L"Failed to create thread");
    }
    d.threadId = id;
    d.systemId = id;
    traceStart(L"Set parameters", __LINE__);
    d.function = function;
    d.userData = data;
    if (priority != priorityNormal)
        setPriority(priority);
    if (!suspended) {
        traceStart(L"Call to ResumeThread", __LINE__);
        if (platform::resumeThread(d.handle) != 1)
            fail(L"Error starting thread");
    }
    traceStart(L"start leaved", __LINE__);
}

namespace {
// Marks the thread's work as using its object, unless it was ended from outside; under the
// lock, so that the destructor either sees the mark or the thread sees the end.
bool enterOwner(threadData& d) {
    hold locked(d.lock);
    if (platform::wasTerminated(d.handle) || !d.owner)
        return false;
    d.usesOwner = true;
    return true;
}

// Calls the handlers in order of attachment, without the lock: handlers are only ever added,
// so one taken under the lock stays valid after it.
template <class Handler>
void callHandlers(threadData& d, const std::vector<std::unique_ptr<Handler>>& handlers, thread* self) {
    for (std::size_t i = 0;; ++i) {
        Handler* handler;
        {
            hold locked(d.lock);
            if (i >= handlers.size())
                break;
            handler = handlers[i].get();
        }
        (*handler)(self);
    }
}
} // namespace

int thread::s_internalExecute(void* argument) {
    std::shared_ptr<threadData> d = std::move(*takeArgument(argument));
    delete takeArgument(argument);
    traceBody(L"_internalExecute entered", __LINE__);
    if (!d) {
        traceBody(L"_internalExecute leaved - mpData does not exist", __LINE__);
        return 1;
    }
    d->lock.lock(); // start may still be filling in the block
    thread* self = d->owner;
    const std::size_t starts = d->startHandlers.size();
    d->lock.release();
    if (!enterOwner(*d))
        return 1;
    traceBody(string::sformat(L"Call ThreadStart: %d times", static_cast<int>(starts)), __LINE__);
    callHandlers(*d, d->startHandlers, self);
    int (*function)(void*);
    void* userData;
    {
        hold locked(d->lock);
        function = d->function;
        userData = d->userData;
    }
    int result;
    if (function) {
        traceBody(L"Execution via function pointer", __LINE__);
        d->usesOwner = false;
        result = function(userData);
    } else {
        traceBody(L"Execution via thread::execute()", __LINE__);
        result = self->execute();
        d->usesOwner = false;
    }
    // A thread ended from outside while its work ran has nothing left to do.
    if (!enterOwner(*d))
        return result;
    traceBody(L"Release thread data", __LINE__);
    std::size_t ends;
    {
        hold locked(d->lock);
        d->threadId = 0;
        d->function = nullptr;
        ends = d->endHandlers.size();
    }
    traceBody(string::sformat(L"Call ThreadEnd: %d times", static_cast<int>(ends)), __LINE__);
    callHandlers(*d, d->endHandlers, self);
    d->usesOwner = false;
    traceBody(L"Call WinBase native: ExitThread", __LINE__);
    return result;
}

unsigned int thread::suspend() {
    threadData& d = data();
    hold locked(d.lock);
    if (!d.handle)
        fail(L"thread not yet started");
    const std::uint32_t previous = platform::suspendThread(d.handle);
    if (previous == platform::kThreadCallFailed)
        throw unexpectedErrorException(L"Unable to suspend thread (&ld)", platform::lastSystemError());
    d.suspended = true;
    return previous;
}

unsigned int thread::resume() {
    threadData& d = data();
    hold locked(d.lock);
    if (!d.handle)
        fail(L"thread not yet started");
    const std::uint32_t previous = platform::resumeThread(d.handle);
    if (previous == platform::kThreadCallFailed)
        throw unexpectedErrorException(L"Unable to resume thread (&ld)", platform::lastSystemError());
    d.suspended = previous != 1;
    return previous;
}

void thread::immediateResume() {
    threadData& d = data();
    hold locked(d.lock);
    if (!d.handle)
        fail(L"thread not yet started");
    std::uint32_t previous;
    do {
        previous = platform::resumeThread(d.handle);
    } while (previous != platform::kThreadCallFailed && previous > 1);
    if (previous == 1) {
        d.suspended = false;
        return;
    }
    // The format's conversion is written "&ld", so the error number never shows in the text.
    throw unexpectedErrorException(L"Unable to resume thread (&ld)", platform::lastSystemError());
}

void thread::terminate(int exitCode) {
    threadData& d = data();
    hold locked(d.lock);
    if (!d.handle)
        fail(L"thread not yet started");
    if (!platform::terminateThread(d.handle, static_cast<std::uint32_t>(exitCode)))
        fail(L"Error terminating thread");
    d.threadId = 0;
}

int thread::exitCode() const {
    threadData& d = data();
    hold locked(d.lock);
    std::uint32_t code = 0;
    if (!d.handle || !platform::threadExitCode(d.handle, code))
        fail(L"Error retrieving thread's exitCode");
    return static_cast<int>(code);
}

bool thread::hasFinished() const {
    return exitCode() != kStillActive;
}

bool thread::isStarted() const {
    threadData& d = data();
    hold locked(d.lock);
    return d.handle != nullptr;
}

bool thread::isSuspended() const {
    return data().suspended;
}

bool thread::isCurrent() const {
    const std::uint32_t id = data().threadId;
    return id != 0 && id == static_cast<std::uint32_t>(platform::currentThreadId());
}

thread::ePriority thread::priority() const {
    threadData& d = data();
    hold locked(d.lock);
    if (!d.handle)
        fail(L"thread not yet started");
    const int level = platform::threadLevel(d.handle);
    for (int p = priorityTimeCritical; p <= priorityLowest; ++p)
        if (kLevels[p] == level)
            return static_cast<ePriority>(p);
    // Idle and every level outside the table read back as 7.
    return static_cast<ePriority>(7);
}

void thread::setPriority(ePriority priority) {
    threadData& d = data();
    hold locked(d.lock);
    if (!d.handle)
        return;
    const int level = priority >= priorityTimeCritical && priority <= priorityLowest ? kLevels[priority] : -15;
    platform::setThreadLevel(d.handle, level);
}

void thread::attachStartHandler(startThreadHandler const* handler) {
    threadData& d = data();
    if (!handler)
        return;
    std::unique_ptr<startThreadHandler> copy(handler->copy());
    hold locked(d.lock);
    d.startHandlers.push_back(std::move(copy));
}

void thread::attachEndHandler(endThreadHandler const* handler) {
    threadData& d = data();
    if (!handler)
        return;
    std::unique_ptr<endThreadHandler> copy(handler->copy());
    hold locked(d.lock);
    d.endHandlers.push_back(std::move(copy));
}

} // namespace vx

namespace vx {

void thread::honourSuspension() {
    platform::systemThread* handle;
    {
        threadData& d = data();
        hold locked(d.lock);
        handle = d.handle;
    }
    if (handle)
        platform::honourSuspension(handle);
}

// --- reusablelThread ------------------------------------------------------------------------

struct reusableThreadData {
    refPtr<signal> stop;
    refPtr<signal> execute;
    refPtr<signal> endExecute;
    platform::event* waitHandles[2] = {nullptr, nullptr}; // stop, execute
    std::mutex jobLock;                                   // the job, handed between threads
    int (*jobFunction)(void*) = nullptr;
    void* jobData = nullptr;
};

reusablelThread::reusablelThread() : mpReusableData(std::make_shared<reusableThreadData>()) {
    reusableThreadData& r = *mpReusableData;
    r.stop = signal::create(true, false, nullptr);
    r.execute = signal::create(true, false, nullptr);
    r.endExecute = signal::create(true, false, nullptr);
    if (!r.stop->handle() || !r.execute->handle() || !r.endExecute->handle())
        fail(L"Failed to create thread");
    r.waitHandles[0] = static_cast<platform::event*>(r.stop->handle());
    r.waitHandles[1] = static_cast<platform::event*>(r.execute->handle());
}

refPtr<reusablelThread> reusablelThread::create() {
    refPtr<reusablelThread> t(new reusablelThread);
    t->thread::start(&reusablelThread::loop, t.get(), false, priorityNormal);
    return t;
}

reusablelThread::~reusablelThread() {
    mpReusableData->stop->setSignal();
    // The running job is waited for, unless this is the thread itself (which cannot end first).
    // A suspended thread is resumed first, so that its loop can come round to the stop.
    try {
        if (isStarted() && !isCurrent())
            while (resume() > 1) {
            }
    } catch (...) {
        // A thread that has ended may refuse the resume; the wait below still applies.
    }
    try {
        while (isStarted() && !hasFinished() && !isCurrent())
            platform::sleepMilliseconds(1);
    } catch (...) {
        // A destructor does not throw.
    }
}

int reusablelThread::loop(void* raw) {
    auto* self = static_cast<reusablelThread*>(raw);
    // A job may drop the last reference to its own thread: the object then ends on this thread
    // (without waiting for it), and the loop goes on with the shared block only, to the stop.
    const std::shared_ptr<reusableThreadData> keep = self->mpReusableData;
    reusableThreadData& r = *keep;
    for (;;) {
        const int fired = platform::waitForAnyEvent(r.waitHandles, 2, platform::kWaitForever);
        const bool stop = fired == 0;
        if (stop && !r.execute->isSignalSet())
            return 0;
        if (fired < 0)
            continue;
        // A job given before the stop still runs, and the stop stays set for the next round.
        if (!stop)
            r.stop->resetSignal();
        r.endExecute->resetSignal();
        self->honourSuspension();
        int (*function)(void*);
        void* data;
        {
            std::lock_guard<std::mutex> locked(r.jobLock);
            function = r.jobFunction;
            data = r.jobData;
        }
        if (function)
            function(data);
        r.execute->resetSignal();
        r.endExecute->setSignal();
    }
}

refPtr<signal> reusablelThread::executeSignal() {
    return mpReusableData->execute;
}

refPtr<signal> reusablelThread::endExecuteSignal() {
    return mpReusableData->endExecute;
}

bool reusablelThread::isBusy() const {
    return mpReusableData->execute->isSignalSet();
}

bool reusablelThread::reinit() {
    reusableThreadData& r = *mpReusableData;
    if (r.execute->isSignalSet())
        return false;
    r.stop->resetSignal();
    r.execute->resetSignal();
    r.endExecute->resetSignal();
    return true;
}

void reusablelThread::start(int (*function)(void*), void* data, bool suspended, ePriority priority) {
    reusableThreadData& r = *mpReusableData;
    {
        std::lock_guard<std::mutex> locked(r.jobLock);
        r.jobFunction = function;
        r.jobData = data;
    }
    setPriority(priority);
    // resume on a thread that is not suspended answers 0, which leaves isSuspended true.
    if (suspended)
        suspend();
    else
        resume();
    r.execute->setSignal();
}

// --- threadPool -----------------------------------------------------------------------------

threadPool* threadPool::singleton() {
    // Never destroyed: its threads and callbacks may run until the process ends.
    static threadPool* const instance = new threadPool;
    return instance;
}

threadPool::threadPool() = default;
threadPool::~threadPool() = default;

refPtr<reusablelThread> threadPool::startThread(int (*function)(void*), void* data, bool suspended,
                                                thread::ePriority priority) {
    refPtr<reusablelThread> t;
    {
        hold locked(mMutex1);
        // A waiting thread that only the pool still holds has been let go by its caller.
        for (auto w = mWaitingThreads.begin(); w != mWaitingThreads.end();) {
            if (w->second->getRefCount() == 1) {
                signalPool::singleton()->detach(w->first.get(), &threadPool::onRestart, this);
                mIdleThreads.push_back(w->second);
                w = mWaitingThreads.erase(w);
            } else {
                ++w;
            }
        }
        if (!mIdleThreads.empty()) {
            t = std::move(mIdleThreads.back());
            mIdleThreads.pop_back();
        }
    }
    if (!t)
        t = reusablelThread::create();
    if (!t->isBusy())
        t->reinit();
    refPtr<signal> ended = t->endExecuteSignal();
    {
        hold locked(mMutex2);
        mRunningThreads[ended.get()] = t;
    }
    signalPool::singleton()->attach(ended.get(), &threadPool::onEndExecute, this);
    t->start(function, data, suspended, priority);
    return t;
}

void threadPool::onEndExecute(signal* s, void* raw) {
    auto* pool = static_cast<threadPool*>(raw);
    refPtr<reusablelThread> t;
    {
        hold locked(pool->mMutex2);
        auto found = pool->mRunningThreads.find(s);
        if (found == pool->mRunningThreads.end())
            return;
        // An end-execute signal still set from the previous job, while the new one is pending
        // or running, is no end: the thread resets it when it takes the job.
        if (found->second->isBusy())
            return;
        t = std::move(found->second);
        pool->mRunningThreads.erase(found);
    }
    signalPool::singleton()->detach(s, &threadPool::onEndExecute, raw);
    hold locked(pool->mMutex1);
    // The pool's own reference is t now: a count above 1 means a caller still holds the thread.
    if (t->getRefCount() != 1) {
        refPtr<signal> execute = t->executeSignal();
        pool->mWaitingThreads.emplace_back(execute, t);
        signalPool::singleton()->attach(execute.get(), &threadPool::onRestart, raw);
    } else {
        pool->mIdleThreads.push_back(std::move(t));
    }
}

void threadPool::onRestart(signal* s, void* raw) {
    auto* pool = static_cast<threadPool*>(raw);
    hold locked(pool->mMutex1);
    auto found = std::find_if(pool->mWaitingThreads.begin(), pool->mWaitingThreads.end(),
                              [s](const auto& w) { return w.first.get() == s; });
    if (found == pool->mWaitingThreads.end())
        return;
    refPtr<reusablelThread> t = found->second;
    signalPool::singleton()->detach(s, &threadPool::onRestart, raw);
    refPtr<signal> ended = t->endExecuteSignal();
    {
        hold running(pool->mMutex2);
        pool->mRunningThreads[ended.get()] = t;
    }
    signalPool::singleton()->attach(ended.get(), &threadPool::onEndExecute, raw);
    pool->mWaitingThreads.erase(found);
}

} // namespace vx
