// Presentation of texts to a person on POSIX systems: standard error.
#include "platform/vxPlatform.h"

#include <cerrno>
#include <cwchar>
#include <unistd.h>

namespace vx::platform {

namespace {

void writeAll(int fd, const std::string& bytes) {
    std::size_t done = 0;
    while (done < bytes.size()) {
        const ssize_t n = ::write(fd, bytes.data() + done, bytes.size() - done);
        if (n < 0 && errno == EINTR)
            continue;
        if (n <= 0)
            return; // nowhere left to report to
        done += static_cast<std::size_t>(n);
    }
}

} // namespace

void presentAssertion(const wchar_t* caption, const wchar_t* text) {
    // One write, so that the lines of two threads do not interleave.
    std::string out = wideToActiveCodePage(caption, std::wcslen(caption));
    out += '\n';
    out += wideToActiveCodePage(text, std::wcslen(text));
    out += '\n';
    writeAll(STDERR_FILENO, out);
}

} // namespace vx::platform
