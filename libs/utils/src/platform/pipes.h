// One-way named byte pipes between processes, non-blocking on both ends (internal).
//
// A pipe is named by its full Windows form "\\<host>\PIPE\<name>". The server makes it and keeps
// one end; a client opens the other end. Reads and writes never wait: they move what can be moved
// now and report how much.
#pragma once

#include <cstdint>
#include <string>

namespace vx::platform {

struct pipeEnd;

// The server's end: inbound ends are read, outbound ends written. Null on failure: a host the
// system cannot serve, a name another server holds, a name no pipe can take.
pipeEnd* createPipe(const std::wstring& fullName, bool inbound);
// The client's end of a pipe a server made: forReading opens the end that reads what the server
// writes. Null when there is no such pipe (or it has a client already).
pipeEnd* openPipe(const std::wstring& fullName, bool forReading);
// Null is ignored. A server's end takes its pipe away with it.
void closePipe(pipeEnd* end);
// Makes the two ends of one server a pair: when the end that reads finds its client gone, both
// are made ready for the next client (a FIFO takes a new writer by itself). The ends must be
// closed together.
void pairServerEnds(pipeEnd* reading, pipeEnd* writing);

enum class pipeTransfer {
    moved,   // count bytes (at least one) were read or written
    nothing, // nothing can move now: nothing has arrived (or no writer has come yet), or the pipe is full
    closed,  // no peer: it has gone, or, for a write, none has come yet
};

// Reads up to size bytes of what has arrived.
pipeTransfer readPipe(pipeEnd* end, void* buffer, std::uint32_t size, std::uint32_t& count);
// Writes up to size bytes, as many as the pipe can take now.
pipeTransfer writePipe(pipeEnd* end, const void* data, std::uint32_t size, std::uint32_t& count);

} // namespace vx::platform
