// Named pipes: serve a pipe and print what arrives, or send one message to an application's pipe.
#include "command.h"

#include <vxNamedPipe.h>
#include <vxEnvironment.h>

#include <atomic>
#include <cstdio>
#include <string>

#ifdef _WIN32
#include <windows.h>
#endif

namespace {

using vxutil::arguments;
using vxutil::usageError;

std::atomic<unsigned long long> gReceived{0};

// The bytes as UTF-8, whatever the C runtime's locale: the runtime of Windows has no UTF-8
// locale, and elsewhere the tool asks for one (main).
vx::string fromUtf8(const std::string& bytes) {
#ifdef _WIN32
    const int units = ::MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), nullptr, 0);
    std::wstring wide(static_cast<std::size_t>(units > 0 ? units : 0), L'\0');
    if (units > 0)
        ::MultiByteToWideChar(CP_UTF8, 0, bytes.data(), static_cast<int>(bytes.size()), &wide[0], units);
    return vx::string(wide);
#else
    return vx::string::fromMBCtoWC(bytes.c_str());
#endif
}

// Each message is a line: its bytes read as UTF-8, control characters shown as \xHH, so that a
// message can neither end a line nor move the cursor.
void printMessage(char* data, unsigned int size, void*) {
    vx::string line;
    for (unsigned int start = 0; start <= size;) {
        unsigned int end = start;
        while (end < size && data[end] != '\0')
            ++end;
        line += fromUtf8(std::string(data + start, end - start));
        if (end < size)
            line += L'\0';
        start = end + 1;
    }
    vxutil::printLine(vxutil::shown(line));
    std::fflush(stdout);
    ++gReceived;
}

int runServe(arguments args) {
    vx::string count;
    for (std::size_t i = 0; i + 1 < args.size(); ++i)
        if (args[i] == L"--count") {
            count = args[i + 1];
            args.erase(args.begin() + static_cast<std::ptrdiff_t>(i), args.begin() + static_cast<std::ptrdiff_t>(i) + 2);
            break;
        }
    vxutil::takeOptions(args);
    vxutil::expectCount(args, 1, 1);
    const unsigned long long wanted = count.empty() ? 0 : vxutil::toUnsigned(count, 0xFFFFFFFFu);
    if (!count.empty() && wanted == 0)
        throw usageError("--count takes a number above 0");
    vx::namedPipe pipe;
    pipe.setPipeName(args[0], L".");
    if (!pipe.initialize(true, &printMessage, nullptr, 10))
        return vxutil::failure(pipe.getPipeName(), "cannot be served (is another server running?)");
    if (wanted > 0) {
        while (gReceived.load() < wanted)
            vx::sleep(10);
    } else {
        // Standard input is read only to learn when it ends.
        char block[256];
        while (std::fread(block, 1, sizeof block, stdin) > 0) {
        }
    }
    pipe.deinit();
    return 0;
}

int runSend(arguments args) {
    vxutil::takeOptions(args);
    vxutil::expectCount(args, 2, 2);
    vx::namedPipe pipe;
    pipe.setPipeName(args[0], L".");
    if (!pipe.initialize(false, nullptr, nullptr, 0))
        return vxutil::failure(pipe.getPipeName(), "no server has the pipe");
    const std::string bytes = args[1].getMBCS();
    if (!pipe.send(bytes.data(), static_cast<unsigned int>(bytes.size())))
        return vxutil::failure(pipe.getPipeName(), "the message could not be sent");
    return 0;
}

int runPipe(arguments args) {
    if (args.empty())
        throw usageError("missing action: serve or send");
    const vx::string action = args[0];
    args.erase(args.begin());
    if (action == L"serve")
        return runServe(args);
    if (action == L"send")
        return runSend(args);
    throw usageError("unknown action " + vxutil::quoted(action) + ": serve or send");
}

const vxutil::registration registered{
    {"pipe", "serve a named pipe, or send a message to one",
     "serve [--count N] NAME | send NAME TEXT\n\n"
     "serve makes the pipe \\\\.\\PIPE\\NAME (its two halves NAME_IN and NAME_OUT) and prints each\n"
     "message that arrives as a line, its bytes read as UTF-8 and control characters shown as\n"
     "\\xHH. It ends after N messages with --count, else when standard input ends (an interrupt\n"
     "ends it too). send opens the pipe a server made and sends TEXT, in UTF-8, as one message;\n"
     "the exit status is 1 when no server has the pipe.",
     runPipe},
};

} // namespace
