// Events, the wait for any of several, and message timers on Windows.
#include "platform/events.h"

#include "platform/win32/win32Shared.h"

#include <algorithm>
#include <map>
#include <mutex>
#include <new>
#include <vector>

namespace vx::platform {

event* createEvent(bool manualReset, bool initiallySet) {
    HANDLE handle = CreateEventW(nullptr, manualReset ? TRUE : FALSE, initiallySet ? TRUE : FALSE, nullptr);
    if (!handle)
        return nullptr;
    auto* e = new (std::nothrow) event{handle, true};
    if (!e)
        CloseHandle(handle);
    return e;
}

void destroyEvent(event* e) {
    if (!e)
        return;
    if (e->owned)
        CloseHandle(e->handle);
    delete e;
}

void setEvent(event* e) {
    SetEvent(e->handle);
}

void resetEvent(event* e) {
    ResetEvent(e->handle);
}

bool testEvent(event* e) {
    return WaitForSingleObject(e->handle, 0) == WAIT_OBJECT_0;
}

int waitForAnyEvent(event* const* events, std::size_t count, unsigned int milliseconds) {
    std::vector<HANDLE> handles(count);
    for (std::size_t i = 0; i < count; ++i)
        handles[i] = events[i]->handle;
    if (count == 0) {
        Sleep(milliseconds == kWaitForever ? INFINITE - 1 : milliseconds);
        return -1;
    }
    const DWORD limit = milliseconds == kWaitForever ? INFINITE : milliseconds;
    if (count <= MAXIMUM_WAIT_OBJECTS) {
        const DWORD result = WaitForMultipleObjects(static_cast<DWORD>(count), handles.data(), FALSE, limit);
        if (result < WAIT_OBJECT_0 + count)
            return static_cast<int>(result - WAIT_OBJECT_0);
        if (result >= WAIT_ABANDONED_0 && result < WAIT_ABANDONED_0 + count)
            return static_cast<int>(result - WAIT_ABANDONED_0);
        return -1;
    }
    // More than one wait can hold: the groups are tested in order, then the first is waited on
    // for a millisecond, until the time is up.
    const ULONGLONG start = GetTickCount64();
    for (;;) {
        for (std::size_t first = 0; first < count; first += MAXIMUM_WAIT_OBJECTS) {
            const DWORD group = static_cast<DWORD>(std::min<std::size_t>(MAXIMUM_WAIT_OBJECTS, count - first));
            const DWORD result = WaitForMultipleObjects(group, handles.data() + first, FALSE, 0);
            if (result < WAIT_OBJECT_0 + group)
                return static_cast<int>(first + (result - WAIT_OBJECT_0));
        }
        if (limit != INFINITE && GetTickCount64() - start >= limit)
            return -1;
        // An auto-reset event this wait sees is consumed by it, so its answer counts.
        const DWORD result = WaitForMultipleObjects(MAXIMUM_WAIT_OBJECTS, handles.data(), FALSE, 1);
        if (result < WAIT_OBJECT_0 + MAXIMUM_WAIT_OBJECTS)
            return static_cast<int>(result - WAIT_OBJECT_0);
    }
}

// Thread timers (no window): the system gives the id, and WM_TIMER reaches the procedure while
// the creating thread dispatches messages.
namespace {
struct timerTable {
    std::mutex lock;
    std::map<UINT_PTR, timerProc> procs;
};

// Never destroyed: timers may be killed by other objects' destructors at the process's end.
timerTable& table() {
    static timerTable* const instance = new timerTable;
    return *instance;
}

void CALLBACK timerTrampoline(HWND, UINT, UINT_PTR id, DWORD) {
    timerProc proc = nullptr;
    {
        std::lock_guard<std::mutex> hold(table().lock);
        auto found = table().procs.find(id);
        if (found != table().procs.end())
            proc = found->second;
    }
    if (proc)
        proc(id);
}
} // namespace

std::uintptr_t setTimer(std::uintptr_t proposedId, unsigned int milliseconds, timerProc proc) {
    if (!proc)
        return 0;
    std::lock_guard<std::mutex> hold(table().lock);
    const UINT_PTR id = SetTimer(nullptr, proposedId, milliseconds, &timerTrampoline);
    if (id != 0)
        table().procs[id] = proc;
    return id;
}

void killTimer(std::uintptr_t id) {
    std::lock_guard<std::mutex> hold(table().lock);
    table().procs.erase(id);
    KillTimer(nullptr, id);
}

void processMessages(unsigned int milliseconds) {
    const ULONGLONG end = GetTickCount64() + milliseconds;
    for (;;) {
        MSG message;
        // A call with no time dispatches what is there now, a bounded number of messages.
        int budget = 256;
        while (budget-- > 0 && PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
            if (message.message == WM_QUIT) {
                PostQuitMessage(static_cast<int>(message.wParam)); // left for the application's loop
                return;
            }
            TranslateMessage(&message);
            DispatchMessageW(&message);
        }
        const ULONGLONG now = GetTickCount64();
        if (milliseconds == 0 || now >= end)
            return;
        MsgWaitForMultipleObjects(0, nullptr, FALSE, static_cast<DWORD>(end - now), QS_ALLINPUT);
    }
}

} // namespace vx::platform
