// Named pipes on Windows: the system's own, in byte mode and without waiting.
#include "platform/pipes.h"
#include "platform/win32/win32Shared.h"

#include <new>

namespace vx::platform {

struct pipeEnd {
    HANDLE handle;
    bool server;
    pipeEnd* partner; // the server's other end, or null
};

namespace {

constexpr DWORD kBufferSize = 131072;
constexpr DWORD kDefaultTimeoutMs = 120000;
// The most one write offers: a pipe that does not wait may take a write whole or not at all
// (Wine does so), and a larger piece would then never go.
constexpr std::uint32_t kWritePiece = 16384;

pipeEnd* wrap(HANDLE handle, bool server) {
    if (handle == INVALID_HANDLE_VALUE || handle == nullptr)
        return nullptr;
    auto* end = new (std::nothrow) pipeEnd{handle, server, nullptr};
    if (!end)
        ::CloseHandle(handle);
    return end;
}

// A server's end whose client has gone stays broken until it is disconnected; then it listens
// for the next client (without waiting, as the pipe does not wait).
void listenAgain(pipeEnd* end) {
    if (!end || !end->server)
        return;
    ::DisconnectNamedPipe(end->handle);
    ::ConnectNamedPipe(end->handle, nullptr);
}

} // namespace

pipeEnd* createPipe(const std::wstring& fullName, bool inbound) {
    return wrap(::CreateNamedPipeW(fullName.c_str(), inbound ? PIPE_ACCESS_INBOUND : PIPE_ACCESS_OUTBOUND,
                                   PIPE_TYPE_BYTE | PIPE_READMODE_BYTE | PIPE_NOWAIT, 1, kBufferSize, kBufferSize,
                                   kDefaultTimeoutMs, nullptr),
                true);
}

pipeEnd* openPipe(const std::wstring& fullName, bool forReading) {
    // Changing the wait mode needs the right to write attributes.
    const DWORD access = (forReading ? GENERIC_READ : GENERIC_WRITE) | FILE_WRITE_ATTRIBUTES;
    HANDLE handle = ::CreateFileW(fullName.c_str(), access, 0, nullptr, OPEN_EXISTING, 0, nullptr);
    if (handle == INVALID_HANDLE_VALUE)
        return nullptr;
    // A client's handle waits by default; the library's reads and writes must not.
    DWORD mode = PIPE_READMODE_BYTE | PIPE_NOWAIT;
    if (!::SetNamedPipeHandleState(handle, &mode, nullptr, nullptr)) {
        ::CloseHandle(handle);
        return nullptr;
    }
    return wrap(handle, false);
}

void pairServerEnds(pipeEnd* reading, pipeEnd* writing) {
    if (!reading || !writing)
        return;
    reading->partner = writing;
    writing->partner = reading;
}

void closePipe(pipeEnd* end) {
    if (!end)
        return;
    ::CloseHandle(end->handle);
    delete end;
}

pipeTransfer readPipe(pipeEnd* end, void* buffer, std::uint32_t size, std::uint32_t& count) {
    count = 0;
    if (!end)
        return pipeTransfer::closed;
    DWORD got = 0;
    if (!::ReadFile(end->handle, buffer, size, &got, nullptr)) {
        // Nothing has arrived, or no client has come yet; a peer that has gone breaks the pipe.
        const DWORD error = ::GetLastError();
        if (error == ERROR_NO_DATA || error == ERROR_PIPE_LISTENING)
            return pipeTransfer::nothing;
        // The client has gone: the server's two ends wait for the next one.
        if (error == ERROR_BROKEN_PIPE && end->server) {
            listenAgain(end);
            listenAgain(end->partner);
        }
        return pipeTransfer::closed;
    }
    count = got;
    return got > 0 ? pipeTransfer::moved : pipeTransfer::nothing;
}

pipeTransfer writePipe(pipeEnd* end, const void* data, std::uint32_t size, std::uint32_t& count) {
    count = 0;
    if (!end)
        return pipeTransfer::closed;
    DWORD written = 0;
    size = size < kWritePiece ? size : kWritePiece;
    // A failure means no reader: ERROR_NO_DATA (it has gone), ERROR_PIPE_LISTENING (none yet).
    if (!::WriteFile(end->handle, data, size, &written, nullptr))
        return pipeTransfer::closed;
    count = written;
    return written > 0 ? pipeTransfer::moved : pipeTransfer::nothing;
}

} // namespace vx::platform
