// Named pipes on POSIX systems: one FIFO per pipe.
//
// "\\.\PIPE\<name>" is the FIFO "<dir>/vxpipe-<NAME>", where <dir> is $XDG_RUNTIME_DIR (when it
// is an absolute path), else /tmp, and <NAME> is the name upper-cased (pipe names compare without
// regard to case) and written in UTF-8, each byte other than a letter, digit, '-', '.' or '_'
// as %XX. Only the local host "." is served.
//
// Every descriptor is non-blocking. A reader learns that its writer has gone from end of file,
// but end of file also stands for a writer that has not come yet: it counts as "closed" only
// once bytes have arrived. The server's writing end can be opened only while a client reads,
// so it is opened at the first write. A client's writing end holds an exclusive lock, which keeps
// a second client out as a pipe of one instance does.
#include "platform/pipes.h"
#include "platform/text.h"
#include "platform/posix/posixShared.h"

#include <cerrno>
#include <csignal>
#include <cstdlib>
#include <ctime>
#include <fcntl.h>
#include <new>
#include <sys/file.h>
#include <sys/stat.h>
#include <unistd.h>

namespace vx::platform {

struct pipeEnd {
    int fd = -1;
    std::string path;
    bool server = false;
    bool reading = false;
    bool sawPeer = false;
};

namespace {

bool isUnreserved(unsigned char c) {
    return (c >= 'A' && c <= 'Z') || (c >= 'a' && c <= 'z') || (c >= '0' && c <= '9') || c == '-' || c == '.' ||
           c == '_';
}

// The FIFO of a full pipe name; false for another host or a text that is no pipe name.
bool fifoPath(const std::wstring& fullName, std::string& path) {
    static const std::wstring kLocal = L"\\\\.\\";
    static const std::wstring kPipe = L"PIPE\\";
    if (fullName.compare(0, kLocal.size(), kLocal) != 0)
        return false;
    std::size_t at = kLocal.size();
    for (std::size_t i = 0; i < kPipe.size(); ++i, ++at)
        if (at >= fullName.size() || foldCase(fullName[at]) != kPipe[i])
            return false;
    if (at == fullName.size())
        return false;
    std::wstring name = fullName.substr(at);
    for (wchar_t& c : name)
        c = foldCase(c);
    std::string bytes;
    if (!posix::wideToNative(name, bytes))
        return false;
    const char* runtime = std::getenv("XDG_RUNTIME_DIR");
    path = runtime && runtime[0] == '/' ? runtime : "/tmp";
    path += "/vxpipe-";
    static const char kHex[] = "0123456789ABCDEF";
    for (const char b : bytes) {
        const auto c = static_cast<unsigned char>(b);
        if (isUnreserved(c)) {
            path += b;
        } else {
            path += '%';
            path += kHex[c >> 4];
            path += kHex[c & 15];
        }
    }
    return true;
}

pipeEnd* makeEnd(int fd, const std::string& path, bool server, bool reading) {
    auto* end = new (std::nothrow) pipeEnd;
    if (!end) {
        if (fd >= 0)
            ::close(fd);
        return nullptr;
    }
    end->fd = fd;
    end->path = path;
    end->server = server;
    end->reading = reading;
    return end;
}

bool isOurFifo(const std::string& path) {
    struct stat info;
    return ::lstat(path.c_str(), &info) == 0 && S_ISFIFO(info.st_mode) && info.st_uid == ::geteuid();
}

// A write that reports a reader's absence by EPIPE only: the SIGPIPE it raises is blocked for the
// call and taken back, unless one was pending before.
ssize_t writeQuietly(int fd, const void* data, std::size_t size) {
    sigset_t pipeOnly, previous, pending;
    sigemptyset(&pipeOnly);
    sigaddset(&pipeOnly, SIGPIPE);
    sigpending(&pending);
    const bool wasPending = sigismember(&pending, SIGPIPE) == 1;
    pthread_sigmask(SIG_BLOCK, &pipeOnly, &previous);
    const ssize_t written = ::write(fd, data, size);
    const int error = errno;
    if (written < 0 && error == EPIPE && !wasPending) {
        const struct timespec none = {0, 0};
        while (sigtimedwait(&pipeOnly, nullptr, &none) < 0 && errno == EINTR) {
        }
    }
    pthread_sigmask(SIG_SETMASK, &previous, nullptr);
    errno = error;
    return written;
}

} // namespace

pipeEnd* createPipe(const std::wstring& fullName, bool inbound) {
    std::string path;
    if (!fifoPath(fullName, path))
        return nullptr;
    if (::mkfifo(path.c_str(), 0600) != 0) {
        if (errno != EEXIST || !isOurFifo(path))
            return nullptr;
        // Left by a server that ended without removing it, unless a server still reads it.
        if (inbound) {
            const int probe = ::open(path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
            if (probe >= 0) {
                ::close(probe);
                return nullptr;
            }
        }
    }
    int fd = -1;
    if (inbound) {
        fd = ::open(path.c_str(), O_RDONLY | O_NONBLOCK | O_CLOEXEC);
        if (fd < 0) {
            ::unlink(path.c_str());
            return nullptr;
        }
    }
    pipeEnd* end = makeEnd(fd, path, true, inbound);
    if (!end)
        ::unlink(path.c_str());
    return end;
}

pipeEnd* openPipe(const std::wstring& fullName, bool forReading) {
    std::string path;
    if (!fifoPath(fullName, path) || !isOurFifo(path))
        return nullptr;
    const int fd = ::open(path.c_str(), (forReading ? O_RDONLY : O_WRONLY) | O_NONBLOCK | O_CLOEXEC);
    if (fd < 0)
        return nullptr;
    if (!forReading && ::flock(fd, LOCK_EX | LOCK_NB) != 0) {
        ::close(fd);
        return nullptr;
    }
    return makeEnd(fd, path, false, forReading);
}

void closePipe(pipeEnd* end) {
    if (!end)
        return;
    if (end->fd >= 0)
        ::close(end->fd);
    if (end->server)
        ::unlink(end->path.c_str());
    delete end;
}

void pairServerEnds(pipeEnd*, pipeEnd*) {
    // A FIFO takes the next writer and reader as they come.
}

pipeTransfer readPipe(pipeEnd* end, void* buffer, std::uint32_t size, std::uint32_t& count) {
    count = 0;
    if (!end || !end->reading || end->fd < 0)
        return pipeTransfer::closed;
    if (size == 0)
        return pipeTransfer::nothing;
    ssize_t got;
    do
        got = ::read(end->fd, buffer, size);
    while (got < 0 && errno == EINTR);
    if (got > 0) {
        end->sawPeer = true;
        count = static_cast<std::uint32_t>(got);
        return pipeTransfer::moved;
    }
    if (got == 0)
        return end->sawPeer ? pipeTransfer::closed : pipeTransfer::nothing;
    return errno == EAGAIN || errno == EWOULDBLOCK ? pipeTransfer::nothing : pipeTransfer::closed;
}

pipeTransfer writePipe(pipeEnd* end, const void* data, std::uint32_t size, std::uint32_t& count) {
    count = 0;
    if (!end || end->reading)
        return pipeTransfer::closed;
    if (end->fd < 0) {
        // A server's end: there is a peer once a client reads.
        end->fd = ::open(end->path.c_str(), O_WRONLY | O_NONBLOCK | O_CLOEXEC);
        if (end->fd < 0)
            return pipeTransfer::closed;
    }
    if (size == 0)
        return pipeTransfer::nothing;
    ssize_t written;
    do
        written = writeQuietly(end->fd, data, size);
    while (written < 0 && errno == EINTR);
    if (written > 0) {
        count = static_cast<std::uint32_t>(written);
        return pipeTransfer::moved;
    }
    return written == 0 || errno == EAGAIN || errno == EWOULDBLOCK ? pipeTransfer::nothing : pipeTransfer::closed;
}

} // namespace vx::platform
