// The file-system mutex: run a command while holding the lock of a file or directory.
#include "command.h"

#include <vxDirectory.h>
#include <vxFile.h>
#include <vxFsEntryMutex.h>
#include <vxProcess.h>

#include <cstdlib>
#include <string>
#include <vector>

#ifdef _WIN32
#include <process.h>
#else
#include <sys/wait.h>
#endif

namespace {

using vxutil::arguments;
using vxutil::usageError;

// Runs the command and answers its exit status; 127 when it cannot be started.
int runCommand(const arguments& command) {
#ifdef _WIN32
    // Started directly, not through cmd.exe; the runtime joins the arguments with blanks, so each
    // is quoted as programs split their command line (backslashes doubled before a quote).
    // Only what needs quotes gets them: cmd.exe, for one, reads its own switches unquoted.
    std::vector<std::wstring> quoted;
    for (const vx::string& a : command)
        quoted.push_back(vx::quoteArgument(a));
    std::vector<const wchar_t*> argv;
    for (const auto& q : quoted)
        argv.push_back(q.c_str());
    argv.push_back(nullptr);
    const intptr_t status = _wspawnvp(_P_WAIT, command[0].c_str(), argv.data());
    return status == -1 ? 127 : static_cast<int>(status);
#else
    // Through the shell, each argument in single quotes.
    std::string line;
    for (const vx::string& a : command) {
        line += '\'';
        for (const char c : a.getMBCS())
            line += c == '\'' ? std::string("'\\''") : std::string(1, c);
        line += "' ";
    }
    const int status = std::system(line.c_str());
    return status != -1 && WIFEXITED(status) ? WEXITSTATUS(status) : 127;
#endif
}

int runLock(arguments args) {
    // Everything after the first "--" is the command, options included.
    std::size_t end = 0;
    while (end < args.size() && args[end] != L"--")
        ++end;
    if (end == args.size() || end + 1 == args.size())
        throw usageError("missing -- COMMAND");
    const arguments command(args.begin() + static_cast<std::ptrdiff_t>(end) + 1, args.end());
    args.resize(end);
    vx::string wait = L"10000";
    for (std::size_t i = 0; i + 1 < args.size(); ++i)
        if (args[i] == L"--wait") {
            wait = args[i + 1];
            args.erase(args.begin() + static_cast<std::ptrdiff_t>(i), args.begin() + static_cast<std::ptrdiff_t>(i) + 2);
            break;
        }
    vxutil::takeOptions(args);
    vxutil::expectCount(args, 1, 1);
    const auto waitMs = static_cast<unsigned int>(vxutil::toUnsigned(wait, 0xFFFFFFFEu));

    const vx::directory asDirectory(args[0]);
    const vx::file asFile(args[0]);
    if (!asDirectory.exists() && !asFile.exists())
        return vxutil::failure(args[0], "no such file or directory");
    vx::fsEntryMutex mutex;
    try {
        // file::exists is true for files only; a directory is what remains.
        if (asFile.exists())
            mutex.setFsEntry(asFile);
        else
            mutex.setFsEntry(asDirectory);
        if (!mutex.tryLock(waitMs))
            return vxutil::failure(mutex.lockFileName(), "is held by another (waited " + wait.getMBCS() + " ms)");
    } catch (const vx::exception& e) {
        return vxutil::failure(args[0], e);
    }
    const int status = runCommand(command);
    try {
        mutex.release();
    } catch (const vx::exception& e) {
        vxutil::failure(mutex.lockFileName(), e);
    }
    return status;
}

const vxutil::registration registered{
    {"lock", "run a command while holding the lock file of a file or directory",
     "[--wait MS] FILE -- COMMAND [ARGUMENT...]\n\n"
     "Makes FILE's lock file (FILE$$lock$$; for a directory D, D\\D$$lock$$ inside it), waiting\n"
     "up to MS milliseconds (default 10000) while another process holds it, runs COMMAND, and\n"
     "removes the lock file. The exit status is COMMAND's; 1 when the lock was not had in time\n"
     "or FILE does not exist. A lock file another process made is never removed.",
     runLock},
};

} // namespace
