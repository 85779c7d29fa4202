// Signals (events), the process-wide signal pool that waits on all of them in one thread,
// message-loop timers, and the calling thread's message loop.
#pragma once

#include "vxExport.h"
#include "vxMutex.h"
#include "vxRefPtr.h"

#include <map>
#include <utility>
#include <vector>

namespace vx {

class thread;
class signalPoolListeningThread;

// A manual- or auto-reset event. A failed creation leaves a null handle: the signal is then never
// set and setting it does nothing.
class VX_API signal : public refObj {
public:
    // name is accepted for compatibility and not used: signals are not shared between processes.
    static refPtr<signal> create(bool manualReset, bool initiallySet, wchar_t const* name);

    void deleteThis() override { delete this; }

    void setSignal();
    void resetSignal();
    // A wait of zero length; on an auto-reset signal a true answer consumes the set state.
    bool isSignalSet() const;

    // The system event; null when creation failed.
    void* handle() const { return mHandle; }

protected:
    signal(bool manualReset, bool initiallySet);
    ~signal() override;

private:
    void* mHandle;
};

// One listening thread that waits on every attached signal and thread and runs their callbacks.
// Callbacks run in that thread with no lock held, so they may attach and detach; they must be
// short, since they hold up every other attachment. A set manual-reset signal fires again and
// again until a callback resets or detaches it; a thread fires once, when it has ended.
class VX_API signalPool {
public:
    using signalCallback = void (*)(signal*, void*);
    using threadCallback = void (*)(thread*, void*);

    static signalPool* singleton();

    // A null object, or one without a system handle, is ignored. One handle should carry one
    // callback: a second attachment of a handle is allowed and fires in the same round.
    void attach(signal* s, signalCallback callback, void* data);
    void attach(thread* t, threadCallback callback, void* data);
    // Removes the first attachment with this callback and data; others stay.
    void detach(signal* s, signalCallback callback, void* data);
    void detach(thread* t, threadCallback callback, void* data);

    signalPool(const signalPool&) = delete;
    signalPool& operator=(const signalPool&) = delete;

private:
    friend class signalPoolListeningThread;
    template <class Object, class Callback>
    struct entry {
        refPtr<Object> object;
        std::vector<std::pair<Callback, void*>> callbacks;
    };
    using signalEntry = entry<signal, signalCallback>;
    using threadEntry = entry<thread, threadCallback>;

    signalPool();
    ~signalPool();
    void wakeListener();
    // One round of the listener: waits and dispatches; false when the wait failed.
    bool listenOnce();
    template <class Object, class Callback>
    void attachTo(std::map<void*, entry<Object, Callback>>& table, Object* object, void* handle,
                  Callback callback, void* data);
    template <class Object, class Callback>
    void detachFrom(std::map<void*, entry<Object, Callback>>& table, void* handle, Callback callback, void* data);
    void dispatch(void* handle);

    mutex mThreadLock;
    refPtr<signalPoolListeningThread> mListeningThread;
    void* mWakeEvent;
    mutex mTableLock;
    std::map<void*, signalEntry> mSignalTable;
    std::map<void*, threadEntry> mThreadTable;
    std::vector<void*> mWaitHandles;
};

// Calls callback(data) every given milliseconds on the thread that made the timer, while that
// thread runs processMessages. Ticks of all timers run in order of arrival and never inside one
// another: a callback that pumps messages queues the ticks that arrive meanwhile, and they run
// after it has returned. Destroying any timer drops every tick still queued, of all timers.
class VX_API timer {
public:
    timer(void (*callback)(void*), void* data, unsigned int milliseconds);
    ~timer();
    timer(const timer&) = delete;
    timer& operator=(const timer&) = delete;

    // The id the system gave; 0 when no timer could be set.
    unsigned long long id() const { return mId; }

private:
    unsigned long long mId;
};

// Runs the calling thread's message loop for that long (0: dispatches what is due now and returns
// at once). Timer ticks and the ticks of the timed synchronous job queue run only in here, on
// the thread that made them.
VX_API void processMessages(unsigned int milliseconds);

} // namespace vx
