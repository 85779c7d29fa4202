// Events, the wait for any of several, message-loop timers and the calling thread's message loop
// (internal).
#pragma once

#include <cstddef>
#include <cstdint>

namespace vx::platform {

// A manual- or auto-reset event. An auto-reset event is consumed by the one wait that sees it.
struct event;

// Null on failure.
event* createEvent(bool manualReset, bool initiallySet);
// The event must no longer be waited on.
void destroyEvent(event* e);
void setEvent(event* e);
void resetEvent(event* e);
// A wait of zero length; consumes an auto-reset event that was set.
bool testEvent(event* e);

// Passed as a time-out, waits without limit.
constexpr unsigned int kWaitForever = 0xFFFFFFFFu;

// Waits until one of the events is set and answers its index: of several set, the lowest index;
// an auto-reset event is consumed. -1 on time-out or with no events and a time-out.
int waitForAnyEvent(event* const* events, std::size_t count, unsigned int milliseconds);

// A periodic timer of the calling thread: proc(id) is called only while that thread runs
// processMessages. The proposed id is a hint; the answer is the timer's id (0 on failure).
using timerProc = void (*)(std::uintptr_t id);
std::uintptr_t setTimer(std::uintptr_t proposedId, unsigned int milliseconds, timerProc proc);
// Any thread may kill a timer; a tick already being dispatched still completes.
void killTimer(std::uintptr_t id);

// Runs the calling thread's message loop for that long: ticks of its due timers are dispatched.
// 0 dispatches what is due now and returns.
void processMessages(unsigned int milliseconds);

} // namespace vx::platform
