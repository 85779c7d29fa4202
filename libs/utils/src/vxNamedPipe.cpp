// Named pipes: two one-way pipes, length-prefixed messages, a polling read and a listener thread.
#include "vxNamedPipe.h"

#include "platform/events.h"
#include "platform/pipes.h"
#include "platform/threads.h"

#include <algorithm>
#include <atomic>
#include <chrono>
#include <cstdint>
#include <cstring>
#include <memory>
#include <new>
#include <vector>

namespace vx {

constexpr int namedPipe::kReadDone;
constexpr int namedPipe::kReadTimedOut;
constexpr int namedPipe::kReadBufferTooSmall;
constexpr unsigned int namedPipe::kMaxMessageSize;

namespace {

using steadyClock = std::chrono::steady_clock;

// The polling interval of read.
constexpr unsigned int kReadPollMs = 100;
// How often a wait looks at its stop flag.
constexpr unsigned int kStopCheckMs = 10;
// A send gives up when the reader has taken nothing for that long.
constexpr auto kSendStall = std::chrono::milliseconds(5000);
// The most read takes from the pipe in one go.
constexpr std::uint32_t kChunk = 65536;
// The exit codes of a listener that was asked to stop, and of one the pipe ended.
constexpr int kListenerStopped = 3;
constexpr int kListenerFailed = 2;

// What a listener thread owns: the pipe it reads, its callback and its stop flag. Shared with
// the pipe object, so that whichever ends last frees it.
struct listenerRecord {
    platform::pipeEnd* readHandle = nullptr;
    const wchar_t* endText = L"EndListen"; // carried for the record's sake; nothing compares it
    namedPipe::callbackFunction callback = nullptr;
    void* context = nullptr;
    unsigned int sleepMs = 0;
    std::atomic<bool> stop{false};
};

// The record of the listener running on this thread, if any: a callback that stops its own
// listener must not wait for itself.
thread_local const listenerRecord* tCurrentListener = nullptr;

// Sleeps that long, in steps, until stop is set.
void sleepUnlessStopped(unsigned int milliseconds, const std::atomic<bool>& stop) {
    while (milliseconds > 0 && !stop.load()) {
        const unsigned int step = std::min(milliseconds, kStopCheckMs);
        platform::sleepMilliseconds(step);
        milliseconds -= step;
    }
}

enum class fill { complete, none, stopped, closed };

// Reads exactly size bytes. With nothing there at the start, a header answers none at once;
// otherwise the rest is waited for while the writer is there and stop is not set (the payload
// follows its header in a write of its own, and may come later).
fill readWhole(const listenerRecord& r, char* into, std::uint32_t size, bool isHeader) {
    std::uint32_t done = 0;
    while (done < size) {
        if (r.stop.load())
            return fill::stopped;
        std::uint32_t got = 0;
        switch (platform::readPipe(r.readHandle, into + done, size - done, got)) {
        case platform::pipeTransfer::moved:
            done += got;
            break;
        case platform::pipeTransfer::nothing:
            if (isHeader && done == 0)
                return fill::none;
            platform::sleepMilliseconds(1);
            break;
        case platform::pipeTransfer::closed:
            return isHeader && done == 0 ? fill::none : fill::closed;
        }
    }
    return fill::complete;
}

int listen(const listenerRecord& r) {
    std::vector<char> body;
    for (;;) {
        if (r.stop.load())
            return kListenerStopped;
        char header[4];
        const fill headerRead = readWhole(r, header, 4, true);
        if (headerRead == fill::stopped)
            return kListenerStopped;
        if (headerRead == fill::closed)
            return kListenerFailed;
        if (headerRead == fill::complete) {
            std::uint32_t length;
            std::memcpy(&length, header, 4);
            if (length > namedPipe::kMaxMessageSize)
                return kListenerFailed;
            if (length > 0) {
                try {
                    body.resize(length);
                } catch (const std::bad_alloc&) {
                    return kListenerFailed;
                }
                const fill bodyRead = readWhole(r, body.data(), length, false);
                if (bodyRead == fill::stopped)
                    return kListenerStopped;
                if (bodyRead != fill::complete)
                    return kListenerFailed;
                r.callback(body.data(), length, r.context);
            }
        }
        sleepUnlessStopped(r.sleepMs, r.stop);
    }
}

int listenerMain(void* argument) {
    std::unique_ptr<std::shared_ptr<listenerRecord>> owned(static_cast<std::shared_ptr<listenerRecord>*>(argument));
    const std::shared_ptr<listenerRecord> record = *owned;
    owned.reset();
    tCurrentListener = record.get();
    const int code = listen(*record);
    tCurrentListener = nullptr;
    return code;
}

void discardListener(void* argument) {
    delete static_cast<std::shared_ptr<listenerRecord>*>(argument);
}

// Writes all of it, waiting while the pipe is full and the reader takes bytes.
bool writeWhole(platform::pipeEnd* end, const char* data, std::uint32_t size) {
    auto lastProgress = steadyClock::now();
    while (size > 0) {
        std::uint32_t written = 0;
        switch (platform::writePipe(end, data, size, written)) {
        case platform::pipeTransfer::moved:
            data += written;
            size -= written;
            lastProgress = steadyClock::now();
            break;
        case platform::pipeTransfer::nothing:
            if (steadyClock::now() - lastProgress > kSendStall)
                return false;
            platform::sleepMilliseconds(1);
            break;
        case platform::pipeTransfer::closed:
            return false;
        }
    }
    return true;
}

} // namespace

// The pipe's record. The first members are those every pipe has had; after them what read keeps
// of a message that came only in part.
struct namedPipeData {
    string pipeName;
    string hostName = L".";
    string realName = L"\\\\.\\PIPE\\";
    platform::pipeEnd* writeHandle = nullptr;
    platform::pipeEnd* readHandle = nullptr;
    platform::systemThread* listenerThread = nullptr;
    std::uint32_t listenerThreadId = 0;
    std::uint32_t pendingLength = 0;
    bool initialized = false;
    std::atomic<bool> stopRequested{false};

    std::shared_ptr<listenerRecord> listener;
    unsigned char header[4] = {};
    std::uint32_t headerCount = 0;
    std::vector<char> pendingBody;
};

namedPipe::namedPipe() : mpData(new namedPipeData) {}

namedPipe::~namedPipe() {
    deinit();
    delete mpData;
}

void namedPipe::setPipeName(string name, string host) {
    mpData->pipeName = name;
    mpData->hostName = host;
    mpData->realName = string(L"\\\\") + host + L"\\PIPE\\" + name;
}

string namedPipe::getPipeName() {
    return mpData->realName;
}

string namedPipe::getRealPipeName(bool in) {
    return mpData->realName + (in ? L"_IN" : L"_OUT");
}

bool namedPipe::initialize(bool server, callbackFunction callback, void* context, int sleepMs) {
    deinit();
    namedPipeData& d = *mpData;
    if (server) {
        d.readHandle = platform::createPipe(getRealPipeName(true), true);
        if (d.readHandle)
            d.writeHandle = platform::createPipe(getRealPipeName(false), false);
        platform::pairServerEnds(d.readHandle, d.writeHandle);
    } else {
        d.readHandle = platform::openPipe(getRealPipeName(false), true);
        if (d.readHandle)
            d.writeHandle = platform::openPipe(getRealPipeName(true), false);
    }
    d.initialized = d.readHandle && d.writeHandle;
    if (!d.initialized) {
        deinit();
        return false;
    }
    if (callback)
        startListener(callback, context, sleepMs);
    return true;
}

bool namedPipe::isInitialized() const {
    return mpData->initialized;
}

bool namedPipe::isListening() const {
    std::uint32_t code = 0;
    return mpData->listenerThread && platform::threadExitCode(mpData->listenerThread, code) &&
           code == platform::kStillActive;
}

bool namedPipe::send(void const* data, unsigned int size) {
    platform::pipeEnd* end = mpData->writeHandle;
    if (!end || (size > 0 && !data))
        return false;
    const std::uint32_t length = size;
    char header[4];
    std::memcpy(header, &length, 4);
    return writeWhole(end, header, 4) && writeWhole(end, static_cast<const char*>(data), size);
}

int namedPipe::read(void* buffer, unsigned int& size, unsigned int timeoutMs) {
    namedPipeData& d = *mpData;
    const auto deadline = steadyClock::now() + std::chrono::milliseconds(timeoutMs);
    d.stopRequested.store(false);
    if (!d.readHandle)
        return kReadTimedOut;
    const auto giveUp = [&] { return d.stopRequested.load() || steadyClock::now() >= deadline; };
    for (;;) {
        // The header, which may come in pieces; empty messages are passed over.
        while (d.pendingLength == 0) {
            std::uint32_t got = 0;
            const platform::pipeTransfer t =
                platform::readPipe(d.readHandle, d.header + d.headerCount, 4 - d.headerCount, got);
            if (t == platform::pipeTransfer::closed) {
                // The writer has gone: nothing more can come, and a cut header is dropped.
                d.headerCount = 0;
                return kReadTimedOut;
            }
            if (t != platform::pipeTransfer::moved)
                break;
            d.headerCount += got;
            if (d.headerCount == 4) {
                d.headerCount = 0;
                std::memcpy(&d.pendingLength, d.header, 4);
            }
            if (d.pendingLength == 0 && giveUp())
                break;
        }
        if (d.pendingLength > size) {
            size = d.pendingLength;
            return kReadBufferTooSmall;
        }
        while (d.pendingLength != 0) {
            const std::size_t have = d.pendingBody.size();
            if (have == d.pendingLength) {
                if (have > 0)
                    std::memcpy(buffer, d.pendingBody.data(), have);
                size = d.pendingLength;
                d.pendingLength = 0;
                std::vector<char>().swap(d.pendingBody);
                return kReadDone;
            }
            const auto want = static_cast<std::uint32_t>(std::min<std::size_t>(d.pendingLength - have, kChunk));
            std::uint32_t got = 0;
            platform::pipeTransfer t;
            try {
                d.pendingBody.resize(have + want);
                t = platform::readPipe(d.readHandle, d.pendingBody.data() + have, want, got);
            } catch (const std::bad_alloc&) {
                t = platform::pipeTransfer::nothing;
            }
            d.pendingBody.resize(have + got);
            if (t == platform::pipeTransfer::closed) {
                // The writer went away within the message: what came of it is dropped.
                d.pendingLength = 0;
                std::vector<char>().swap(d.pendingBody);
                return kReadTimedOut;
            }
            if (t == platform::pipeTransfer::nothing) {
                if (giveUp())
                    break;
                platform::sleepMilliseconds(1);
            }
        }
        if (giveUp())
            return kReadTimedOut;
        // The next look at the pipe, sooner when stopped or at the deadline.
        const auto left = std::chrono::duration_cast<std::chrono::milliseconds>(deadline - steadyClock::now()).count();
        const unsigned int pause = static_cast<unsigned int>(std::clamp<long long>(left, 0, kReadPollMs));
        for (unsigned int slept = 0; slept < pause && !d.stopRequested.load(); slept += kStopCheckMs)
            platform::sleepMilliseconds(std::min(kStopCheckMs, pause - slept));
    }
}

void namedPipe::stopReading() {
    mpData->stopRequested.store(true);
}

void namedPipe::releaseListener() {
    namedPipeData& d = *mpData;
    if (!d.listenerThread)
        return;
    platform::closeThread(d.listenerThread);
    d.listenerThread = nullptr;
    d.listenerThreadId = 0;
    d.listener.reset();
}

bool namedPipe::startListener(callbackFunction callback, void* context, int sleepMs) {
    stopListener();
    releaseListener();
    namedPipeData& d = *mpData;
    if (!d.readHandle || !callback)
        return false;
    auto record = std::make_shared<listenerRecord>();
    record->readHandle = d.readHandle;
    record->callback = callback;
    record->context = context;
    record->sleepMs = sleepMs > 0 ? static_cast<unsigned int>(sleepMs) : 0;
    auto* argument = new std::shared_ptr<listenerRecord>(record);
    std::uint32_t id = 0;
    platform::systemThread* t = platform::createHeldThread(&listenerMain, argument, &discardListener, id);
    if (!t) {
        delete argument;
        return false;
    }
    d.listener = record;
    d.listenerThread = t;
    d.listenerThreadId = id;
    platform::resumeThread(t);
    return true;
}

void namedPipe::stopListener() {
    namedPipeData& d = *mpData;
    if (!d.listenerThread)
        return;
    d.listener->stop.store(true);
    // From its own callback: it ends once the callback returns, and is waited for later.
    if (tCurrentListener == d.listener.get())
        return;
    platform::waitThreadReturned(d.listenerThread, platform::kWaitForever);
    releaseListener();
}

void namedPipe::deinit() {
    stopListener();
    // Still there only when called from the callback: the thread, told to stop, ends by itself.
    releaseListener();
    namedPipeData& d = *mpData;
    platform::closePipe(d.writeHandle);
    platform::closePipe(d.readHandle);
    d.writeHandle = nullptr;
    d.readHandle = nullptr;
    d.initialized = false;
    d.pendingLength = 0;
    d.headerCount = 0;
    std::vector<char>().swap(d.pendingBody);
}

} // namespace vx
