#include "vxSignal.h"

#include "vxThread.h"

#include "detail/mutexHold.h"
#include "platform/events.h"
#include "platform/threads.h"

#include <algorithm>
#include <cstdint>
#include <deque>
#include <mutex>

namespace vx {

namespace {
platform::event* eventOf(void* handle) {
    return static_cast<platform::event*>(handle);
}

using hold = detail::mutexHold;
} // namespace

// --- signal ---------------------------------------------------------------------------------

refPtr<signal> signal::create(bool manualReset, bool initiallySet, wchar_t const*) {
    return refPtr<signal>(new signal(manualReset, initiallySet));
}

signal::signal(bool manualReset, bool initiallySet) : mHandle(platform::createEvent(manualReset, initiallySet)) {}

signal::~signal() {
    if (mHandle)
        platform::destroyEvent(eventOf(mHandle));
}

void signal::setSignal() {
    if (mHandle)
        platform::setEvent(eventOf(mHandle));
}

void signal::resetSignal() {
    if (mHandle)
        platform::resetEvent(eventOf(mHandle));
}

bool signal::isSignalSet() const {
    return mHandle && platform::testEvent(eventOf(mHandle));
}

// --- signalPool -----------------------------------------------------------------------------

class signalPoolListeningThread : public thread {
public:
    explicit signalPoolListeningThread(signalPool* pool) : mPool(pool) {}
    // The loop has no end: the listener lives as long as the process.
    int execute() override {
        for (;;) {
            if (!mPool->listenOnce())
                platform::sleepMilliseconds(1);
        }
    }

private:
    signalPool* mPool;
};

signalPool* signalPool::singleton() {
    // Never destroyed: its listener runs until the process ends.
    static signalPool* const instance = new signalPool;
    return instance;
}

signalPool::signalPool() : mWakeEvent(nullptr) {}

signalPool::~signalPool() = default;

template <class Object, class Callback>
void signalPool::attachTo(std::map<void*, entry<Object, Callback>>& table, Object* object, void* handle,
                          Callback callback, void* data) {
    if (!handle)
        return;
    {
        hold locked(mTableLock);
        auto found = table.find(handle);
        if (found == table.end())
            table.emplace(handle, entry<Object, Callback>{refPtr<Object>(object), {{callback, data}}});
        else
            found->second.callbacks.emplace_back(callback, data);
        mWaitHandles.push_back(handle);
    }
    wakeListener();
}

template <class Object, class Callback>
void signalPool::detachFrom(std::map<void*, entry<Object, Callback>>& table, void* handle, Callback callback,
                            void* data) {
    if (!handle)
        return;
    refPtr<Object> dropped; // released after the lock: the object may end with it
    {
        hold locked(mTableLock);
        auto found = table.find(handle);
        if (found == table.end())
            return;
        auto& callbacks = found->second.callbacks;
        auto pair = std::find(callbacks.begin(), callbacks.end(), std::make_pair(callback, data));
        if (pair == callbacks.end())
            return;
        callbacks.erase(pair);
        if (!callbacks.empty())
            return;
        dropped = found->second.object;
        table.erase(found);
        mWaitHandles.erase(std::find(mWaitHandles.begin(), mWaitHandles.end(), handle));
    }
    wakeListener();
}

void signalPool::attach(signal* s, signalCallback callback, void* data) {
    if (s)
        attachTo(mSignalTable, s, s->handle(), callback, data);
}

void signalPool::attach(thread* t, threadCallback callback, void* data) {
    if (t)
        attachTo(mThreadTable, t, t->waitHandle(), callback, data);
}

void signalPool::detach(signal* s, signalCallback callback, void* data) {
    if (s)
        detachFrom(mSignalTable, s->handle(), callback, data);
}

void signalPool::detach(thread* t, threadCallback callback, void* data) {
    if (t)
        detachFrom(mThreadTable, t->waitHandle(), callback, data);
}

void signalPool::wakeListener() {
    hold locked(mThreadLock);
    if (mListeningThread) {
        platform::setEvent(eventOf(mWakeEvent));
        return;
    }
    mWakeEvent = platform::createEvent(true, false);
    mListeningThread = new signalPoolListeningThread(this);
    mListeningThread->start(nullptr, nullptr, false, thread::priorityNormal);
}

bool signalPool::listenOnce() {
    void* wake;
    {
        hold locked(mThreadLock);
        wake = mWakeEvent;
    }
    // The wake event is reset before the handles are read, so that a change made meanwhile
    // wakes the next wait instead of being missed.
    platform::resetEvent(eventOf(wake));
    std::vector<platform::event*> handles;
    std::vector<refPtr<refObj>> keepAlive; // no event ends while it is waited on
    {
        hold locked(mTableLock);
        handles.reserve(mWaitHandles.size() + 1);
        for (void* h : mWaitHandles) {
            handles.push_back(eventOf(h));
            auto s = mSignalTable.find(h);
            if (s != mSignalTable.end())
                keepAlive.emplace_back(s->second.object.get());
            else if (auto t = mThreadTable.find(h); t != mThreadTable.end())
                keepAlive.emplace_back(t->second.object.get());
        }
    }
    handles.push_back(eventOf(wake)); // last place: the lowest priority
    const int index = platform::waitForAnyEvent(handles.data(), handles.size(), platform::kWaitForever);
    if (index < 0)
        return false;
    dispatch(handles[static_cast<std::size_t>(index)]);
    return true;
}

void signalPool::dispatch(void* handle) {
    {
        hold locked(mThreadLock);
        if (handle == mWakeEvent)
            return;
    }
    signalEntry signalCopy;
    threadEntry threadCopy;
    {
        hold locked(mTableLock);
        auto s = mSignalTable.find(handle);
        if (s != mSignalTable.end()) {
            signalCopy = s->second;
        } else {
            auto t = mThreadTable.find(handle);
            if (t == mThreadTable.end())
                return;
            // An ended thread stays signalled: its attachments fire once.
            threadCopy = t->second;
            mThreadTable.erase(t);
            mWaitHandles.erase(std::remove(mWaitHandles.begin(), mWaitHandles.end(), handle), mWaitHandles.end());
        }
    }
    for (const auto& call : signalCopy.callbacks)
        call.first(signalCopy.object.get(), call.second);
    for (const auto& call : threadCopy.callbacks)
        if (call.first)
            call.first(threadCopy.object.get(), call.second);
}

// --- timer ----------------------------------------------------------------------------------

namespace {
struct timerEntry {
    std::uintptr_t id;
    void (*callback)(void*);
    void* data;
};

struct dueTick {
    std::uintptr_t id;
    std::uint64_t thread;
};

// The list of timers with its mutex, and the queue of due ticks with its own. Never destroyed: a
// timer may end in another object's destructor at the process's end.
struct timerState {
    std::mutex listLock;
    std::vector<timerEntry> timers;
    std::mutex queueLock;
    std::deque<dueTick> dueTicks;
    std::uintptr_t nextProposedId = 1;
};

timerState& timers() {
    static timerState* const instance = new timerState;
    return *instance;
}
// Per thread: a thread's timers tick only on it, and only its outermost dispatch runs them.
thread_local bool tDispatching = false;

bool findTimer(std::uintptr_t id, timerEntry& found) {
    for (const timerEntry& t : timers().timers) {
        if (t.id == id) {
            found = t;
            return true;
        }
    }
    return false;
}

bool takeTick(std::uint64_t self, std::uintptr_t& id) {
    std::lock_guard<std::mutex> queueLock(timers().queueLock);
    for (auto tick = timers().dueTicks.begin(); tick != timers().dueTicks.end(); ++tick) {
        if (tick->thread == self) {
            id = tick->id;
            timers().dueTicks.erase(tick);
            return true;
        }
    }
    return false;
}

void timerProcedure(std::uintptr_t id) {
    const std::uint64_t self = platform::currentThreadId();
    {
        std::lock_guard<std::mutex> listLock(timers().listLock);
        timerEntry found{};
        if (findTimer(id, found) && found.callback) {
            std::lock_guard<std::mutex> queueLock(timers().queueLock);
            timers().dueTicks.push_back(dueTick{id, self});
        }
    }
    if (tDispatching)
        return; // the outer call runs this tick after the callback that pumped
    tDispatching = true;
    std::uintptr_t next = 0;
    while (takeTick(self, next)) {
        timerEntry found{};
        {
            std::lock_guard<std::mutex> listLock(timers().listLock);
            if (!findTimer(next, found))
                continue;
        }
        found.callback(found.data);
    }
    tDispatching = false;
}
} // namespace

timer::timer(void (*callback)(void*), void* data, unsigned int milliseconds) : mId(0) {
    std::uintptr_t proposed;
    {
        std::lock_guard<std::mutex> listLock(timers().listLock);
        proposed = timers().nextProposedId++;
    }
    const std::uintptr_t id = platform::setTimer(proposed, milliseconds, &timerProcedure);
    mId = id;
    std::lock_guard<std::mutex> listLock(timers().listLock);
    timers().timers.push_back(timerEntry{id, callback, data});
}

timer::~timer() {
    const auto id = static_cast<std::uintptr_t>(mId);
    std::lock_guard<std::mutex> listLock(timers().listLock);
    auto& list = timers().timers;
    auto found = std::find_if(list.begin(), list.end(), [id](const timerEntry& t) { return t.id == id; });
    if (found != list.end())
        list.erase(found);
    if (id != 0)
        platform::killTimer(id);
    // Every queued tick goes, of all timers: a timer's end restarts the queue.
    std::lock_guard<std::mutex> queueLock(timers().queueLock);
    timers().dueTicks.clear();
}

void processMessages(unsigned int milliseconds) {
    platform::processMessages(milliseconds);
}

} // namespace vx
