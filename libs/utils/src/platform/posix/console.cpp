// The console on POSIX systems: the standard descriptors 1 and 2.
#include "platform/console.h"
#include "platform/posix/posixShared.h"
#include "platform/text.h"

#include <cstring>
#include <cwchar>
#include <unistd.h>

namespace vx::platform {

void presentAssertion(const wchar_t* caption, const wchar_t* text) {
    // One write, so that the lines of two threads do not interleave.
    std::string out = wideToActiveCodePage(caption, std::wcslen(caption));
    out += '\n';
    out += wideToActiveCodePage(text, std::wcslen(text));
    out += '\n';
    posix::writeAll(STDERR_FILENO, out.data(), out.size()); // nowhere left to report a failure to
}

bool isTerminal(int stream) {
    return (stream == 1 || stream == 2) && ::isatty(stream) == 1;
}

std::vector<std::wstring> programArguments(int argc, char** argv) {
    std::vector<std::wstring> arguments;
    for (int i = 1; i < argc && argv && argv[i]; ++i)
        arguments.push_back(posix::nativeToWide(argv[i], std::strlen(argv[i])));
    return arguments;
}

} // namespace vx::platform
