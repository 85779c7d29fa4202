// The two process-wide job queues: the asynchronous one runs the latest job of each class on one
// worker thread, highest priority first; the synchronous one carries jobs from other threads to
// the thread that owns it, one per tick of its message loop (vx::processMessages).
#pragma once

#include "vxExport.h"

#include <chrono>
#include <cstddef>
#include <functional>
#include <memory>

namespace vx {

// The class of a job: of two jobs of one class only the later one runs. By default the class is
// the dynamic type of the object; a larger priority runs first.
class VX_API iJobClassId {
public:
    virtual ~iJobClassId();
    // other is not null and of the same dynamic type.
    virtual bool isEqual(std::shared_ptr<iJobClassId> const& other) const;
    // The hash of the dynamic type.
    virtual std::size_t hashKey() const;
    virtual int priority() const = 0;
};

// What a job works on, and its class.
class VX_API iJobAsyncContext {
public:
    iJobAsyncContext();
    virtual ~iJobAsyncContext();
    // When the context was made (steady clock).
    virtual std::chrono::steady_clock::time_point timestamp() const;
    virtual std::shared_ptr<iJobClassId> jobClassId() const = 0;
    // The priority of this class is below that of other's class; false when other or either
    // class id is null. The time takes no part.
    virtual bool lessPriority(std::shared_ptr<iJobAsyncContext> const& other) const;

private:
    std::chrono::steady_clock::time_point mTimestamp;
};

class VX_API iJobsQueueAsync {
public:
    using job = std::function<void(std::shared_ptr<iJobAsyncContext>)>;

    // The process-wide queue, made once by the first create or get (get makes it unthreaded).
    static std::shared_ptr<iJobsQueueAsync> create(bool threaded);
    static std::shared_ptr<iJobsQueueAsync> get();
    // Drops the process-wide reference: the queue ends when its last holder lets go, and create
    // and get answer an empty pointer from then on.
    static void release();

    virtual ~iJobsQueueAsync();
    // While not enabled (or unthreaded) the job runs at once on the caller's thread. Otherwise it
    // replaces the pending job of its class, in that job's place, or waits as a new class.
    virtual void addJob(job j, std::shared_ptr<iJobAsyncContext> const& context) = 0;
    // No job pending or running.
    virtual bool isIdle() = 0;
    virtual void setEnabled(bool enabled) = 0;
    // Enabled and threaded.
    virtual bool isEnabled() const = 0;
};

class VX_API iJobsQueueSync {
public:
    // The process-wide queue, made once by the first create or get (get makes it untimed); its
    // owner is the thread that makes it.
    static std::shared_ptr<iJobsQueueSync> create(bool timed);
    static std::shared_ptr<iJobsQueueSync> get();
    static void release();

    virtual ~iJobsQueueSync();
    // On the owner, or in an untimed queue, the job runs at once; otherwise it waits for a tick.
    virtual void addJob(std::function<void()> const& job) = 0;
    // Waits for a tick whatever the thread.
    virtual void addJobDeferred(std::function<void()> const& job) = 0;
    virtual bool isEmpty() const = 0;
};

} // namespace vx
