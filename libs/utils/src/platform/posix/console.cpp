// The console on POSIX systems: the standard descriptors 1 and 2.
#include "platform/console.h"
#include "platform/text.h"

#include <cerrno>
#include <cwchar>
#include <unistd.h>

namespace vx::platform {

namespace {

bool writeAll(int fd, const char* bytes, std::size_t size) {
    std::size_t done = 0;
    while (done < size) {
        const ssize_t n = ::write(fd, bytes + done, size - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return false;
        done += static_cast<std::size_t>(n);
    }
    return true;
}

} // namespace

void presentAssertion(const wchar_t* caption, const wchar_t* text) {
    // One write, so that the lines of two threads do not interleave.
    std::string out = wideToActiveCodePage(caption, std::wcslen(caption));
    out += '\n';
    out += wideToActiveCodePage(text, std::wcslen(text));
    out += '\n';
    writeAll(STDERR_FILENO, out.data(), out.size()); // nowhere left to report a failure to
}

bool isTerminal(int stream) {
    return (stream == 1 || stream == 2) && ::isatty(stream) == 1;
}

bool writeStandardStream(int stream, const char* bytes, unsigned long long size) {
    return (stream == 1 || stream == 2) && writeAll(stream, bytes, static_cast<std::size_t>(size));
}

} // namespace vx::platform
