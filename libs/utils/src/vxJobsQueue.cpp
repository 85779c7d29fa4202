#include "vxJobsQueue.h"

#include "platform/events.h"
#include "platform/threads.h"

#include <atomic>
#include <condition_variable>
#include <deque>
#include <list>
#include <mutex>
#include <thread>
#include <typeinfo>
#include <unordered_map>

namespace vx {

iJobClassId::~iJobClassId() = default;

bool iJobClassId::isEqual(std::shared_ptr<iJobClassId> const& other) const {
    if (!other)
        return false;
    const iJobClassId& that = *other; // named, so typeid reads an object rather than an expression
    return typeid(that) == typeid(*this);
}

std::size_t iJobClassId::hashKey() const {
    return typeid(*this).hash_code();
}

iJobAsyncContext::iJobAsyncContext() : mTimestamp(std::chrono::steady_clock::now()) {}

iJobAsyncContext::~iJobAsyncContext() = default;

std::chrono::steady_clock::time_point iJobAsyncContext::timestamp() const {
    return mTimestamp;
}

bool iJobAsyncContext::lessPriority(std::shared_ptr<iJobAsyncContext> const& other) const {
    if (!other)
        return false;
    const std::shared_ptr<iJobClassId> mine = jobClassId();
    const std::shared_ptr<iJobClassId> theirs = other->jobClassId();
    if (!mine || !theirs)
        return false;
    return mine->priority() < theirs->priority();
}

iJobsQueueAsync::~iJobsQueueAsync() = default;
iJobsQueueSync::~iJobsQueueSync() = default;

namespace {

// --- the asynchronous queue -----------------------------------------------------------------

using classKey = std::shared_ptr<iJobClassId>;

struct keyHash {
    std::size_t operator()(const classKey& key) const { return key->hashKey(); }
};
struct keyEqual {
    bool operator()(const classKey& left, const classKey& right) const { return left->isEqual(right); }
};

struct pendingJob {
    classKey key;
    iJobsQueueAsync::job function;
    std::shared_ptr<iJobAsyncContext> context;
};

// What the worker shares with the queue: it outlives the queue when the queue ends on the worker
// itself (its last holder let go inside a job).
struct asyncState {
    std::atomic<bool> enabled{false};
    std::atomic<bool> busy{false};
    std::atomic<bool> stop{false};
    std::atomic<bool> hasPending{false}; // whether order holds a job; changed under the lock
    std::mutex lock;
    std::condition_variable wake;
    // The pending jobs in the order their classes became pending, and the index by class.
    std::list<pendingJob> order;
    std::unordered_map<classKey, std::list<pendingJob>::iterator, keyHash, keyEqual> pending{8};

    void work() {
        for (;;) {
            if (stop)
                return;
            busy = false;
            platform::spinBriefly([this] { return hasPending || stop; });
            std::unique_lock<std::mutex> held(lock);
            // The stop ends the wait too, so that an idle worker leaves at once.
            wake.wait(held, [this] { return !order.empty() || stop; });
            if (stop)
                return;
            auto best = order.begin();
            for (auto later = std::next(best); later != order.end(); ++later)
                if (best->context->lessPriority(later->context))
                    best = later;
            busy = true;
            iJobsQueueAsync::job function = std::move(best->function);
            std::shared_ptr<iJobAsyncContext> context = std::move(best->context);
            pending.erase(best->key);
            order.erase(best);
            hasPending = !order.empty();
            held.unlock();
            if (function && context)
                function(context);
        }
    }
};

class jobsQueueAsync : public iJobsQueueAsync {
public:
    explicit jobsQueueAsync(bool threaded) : mState(std::make_shared<asyncState>()), mThreaded(threaded) {
        if (threaded)
            mWorker = std::thread([state = mState] { state->work(); });
    }

    ~jobsQueueAsync() override {
        {
            std::lock_guard<std::mutex> held(mState->lock);
            mState->stop = true;
        }
        mState->wake.notify_all();
        if (!mWorker.joinable())
            return;
        // Ending on the worker itself (inside a job): it leaves after that job, on its own.
        if (mWorker.get_id() == std::this_thread::get_id())
            mWorker.detach();
        else
            mWorker.join();
    }

    void addJob(job j, std::shared_ptr<iJobAsyncContext> const& context) override {
        if (!isEnabled()) {
            j(context);
            return;
        }
        classKey key = context ? context->jobClassId() : nullptr;
        if (!key)
            return; // no class to file it under: dropped, as the worker drops a job without context
        {
            std::lock_guard<std::mutex> held(mState->lock);
            auto found = mState->pending.find(key);
            if (found != mState->pending.end()) {
                found->second->function = std::move(j);
                found->second->context = context;
            } else {
                mState->order.push_back(pendingJob{key, std::move(j), context});
                mState->pending.emplace(key, std::prev(mState->order.end()));
            }
            mState->hasPending = true;
        }
        mState->wake.notify_one();
    }

    bool isIdle() override {
        std::lock_guard<std::mutex> held(mState->lock);
        return mState->stop || (mState->order.empty() && !mState->busy);
    }

    void setEnabled(bool enabled) override { mState->enabled = enabled; }

    bool isEnabled() const override { return mState->enabled && mThreaded; }

private:
    std::shared_ptr<asyncState> mState;
    const bool mThreaded;
    std::thread mWorker;
};

// --- the synchronous queue ------------------------------------------------------------------

class jobsQueueSync;

// The timer of the synchronous queue and what its procedure needs, module-wide.
std::mutex gSyncTimerLock;
std::function<void()> gTickFunction;
std::weak_ptr<jobsQueueSync> gTickQueue;
std::uintptr_t gSyncTimerId = 0;
constexpr std::uintptr_t kProposedSyncTimerId = 10001;
constexpr unsigned int kSyncTickMilliseconds = 2;

void syncTimerProcedure(std::uintptr_t id);

class jobsSyncTimer {
public:
    jobsSyncTimer(std::function<void()> tick, const std::shared_ptr<jobsQueueSync>& queue) {
        std::lock_guard<std::mutex> held(gSyncTimerLock);
        gTickFunction = std::move(tick);
        gTickQueue = queue;
        gSyncTimerId = platform::setTimer(kProposedSyncTimerId, kSyncTickMilliseconds, &syncTimerProcedure);
    }
    ~jobsSyncTimer() {
        std::lock_guard<std::mutex> held(gSyncTimerLock);
        if (gSyncTimerId != 0)
            platform::killTimer(gSyncTimerId);
        gSyncTimerId = 0;
        gTickFunction = nullptr;
        gTickQueue.reset();
    }
    jobsSyncTimer(const jobsSyncTimer&) = delete;
    jobsSyncTimer& operator=(const jobsSyncTimer&) = delete;
};

class jobsQueueSync : public iJobsQueueSync {
public:
    jobsQueueSync(bool timed) : mOwner(std::this_thread::get_id()), mTimed(timed) {}

    // The timer needs the queue's own shared pointer, so it is made after the queue.
    static std::shared_ptr<jobsQueueSync> make(bool timed) {
        auto queue = std::make_shared<jobsQueueSync>(timed);
        if (timed)
            queue->mTimer = std::make_shared<jobsSyncTimer>([raw = queue.get()] { raw->step(); }, queue);
        return queue;
    }

    void addJob(std::function<void()> const& job) override {
        if (mTimed && std::this_thread::get_id() != mOwner) {
            std::lock_guard<std::mutex> held(mLock);
            mQueue.push_back(job);
            return;
        }
        job();
    }

    void addJobDeferred(std::function<void()> const& job) override {
        std::lock_guard<std::mutex> held(mLock);
        mQueue.push_back(job);
    }

    bool isEmpty() const override {
        std::lock_guard<std::mutex> held(mLock);
        return mQueue.empty();
    }

    // One job per tick.
    void step() {
        std::function<void()> job;
        {
            std::lock_guard<std::mutex> held(mLock);
            if (mQueue.empty())
                return;
            job = std::move(mQueue.front());
            mQueue.pop_front();
        }
        job();
    }

private:
    mutable std::mutex mLock;
    std::deque<std::function<void()>> mQueue;
    const std::thread::id mOwner;
    std::shared_ptr<jobsSyncTimer> mTimer;
    const bool mTimed;
};

void syncTimerProcedure(std::uintptr_t id) {
    std::function<void()> tick;
    std::shared_ptr<jobsQueueSync> queue; // keeps the queue alive through its step
    {
        std::lock_guard<std::mutex> held(gSyncTimerLock);
        if (id != gSyncTimerId || !gTickFunction)
            return;
        queue = gTickQueue.lock();
        tick = gTickFunction;
    }
    if (queue)
        tick();
}

// --- the process-wide instances -------------------------------------------------------------

std::mutex gInstanceLock;

// A queue made once per process; after release, an empty pointer for good.
template <class Interface>
class processWide {
public:
    template <class Make>
    std::shared_ptr<Interface> get(Make make) {
        std::call_once(mOnce, [&] {
            std::shared_ptr<Interface> made = make();
            std::lock_guard<std::mutex> held(gInstanceLock);
            mInstance = std::move(made);
        });
        std::lock_guard<std::mutex> held(gInstanceLock);
        return mInstance;
    }
    void release() {
        std::shared_ptr<Interface> dropped; // ends after the lock is released
        std::lock_guard<std::mutex> held(gInstanceLock);
        dropped.swap(mInstance);
    }

private:
    std::once_flag mOnce;
    std::shared_ptr<Interface> mInstance;
};

processWide<iJobsQueueAsync> gAsync;
processWide<iJobsQueueSync> gSync;

} // namespace

std::shared_ptr<iJobsQueueAsync> iJobsQueueAsync::create(bool threaded) {
    return gAsync.get([threaded] { return std::make_shared<jobsQueueAsync>(threaded); });
}

std::shared_ptr<iJobsQueueAsync> iJobsQueueAsync::get() {
    return create(false);
}

void iJobsQueueAsync::release() {
    gAsync.release();
}

std::shared_ptr<iJobsQueueSync> iJobsQueueSync::create(bool timed) {
    return gSync.get([timed] { return jobsQueueSync::make(timed); });
}

std::shared_ptr<iJobsQueueSync> iJobsQueueSync::get() {
    return create(false);
}

void iJobsQueueSync::release() {
    gSync.release();
}

} // namespace vx
