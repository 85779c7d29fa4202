// Child processes, the list of running processes and their windows (internal).
//
// A process handle of this layer is what the system calls a handle: on Windows the system's own,
// elsewhere a record of the library that owns the child's id and reaps the child, so that no
// ended child stays behind as a zombie (see docs/platform.md).
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace vx::platform {

// The exit code of a process that has not ended.
constexpr long kStillActive = 0x103;

// The scheduling levels of a new process, from the highest down; inherit leaves the caller's.
enum class processPriority { inherit, realtime, high, aboveNormal, normal, belowNormal, lowest, idle };

struct spawnRequest {
    // The file to run in Windows form, or a bare name the system looks for on its search path.
    std::wstring executable;
    // The whole command line, the program's own name first, as Windows hands it to a program.
    std::wstring commandLine;
    // Variables set for the child on top of the caller's environment (same names replaced).
    std::vector<std::pair<std::wstring, std::wstring>> environment;
    bool withEnvironment = false;
    // The child's current directory in Windows form; empty for the caller's.
    std::wstring workingDirectory;
    processPriority priority = processPriority::inherit;
    // Creation flags of the system beyond those the library always gives (Windows only).
    unsigned long creationFlags = 0;
};

// Starts the process. On success id, process and thread are set; the caller closes both handles
// with closeProcessHandle. False when it cannot be started (nothing is left open).
bool spawnProcess(const spawnRequest& request, unsigned long& id, void*& process, void*& thread);

// The exit code of the process behind a handle, kStillActive while it runs. False for a handle
// that is not a process handle of this layer.
bool processExitCode(void* process, long& code);

// Waits at most milliseconds for the process to end; true once it has ended (also when the handle
// is unknown, so that no wait goes on for ever).
bool waitProcessEnd(void* process, unsigned int milliseconds);

// Waits at most milliseconds until a new process with windows waits for input; at once where
// there are no windows.
void waitProcessInputIdle(void* process, unsigned int milliseconds);

// Dispatches the window messages waiting for the calling thread (nothing where there are none).
void dispatchWindowMessages();

// Releases a handle of spawnProcess; unknown and null handles are ignored.
void closeProcessHandle(void* handle);

// Ends the process of that id at once. False when there is none or it may not be ended.
bool killProcess(unsigned long id);

// The running processes: id and the file name (no folder) of each one's executable.
void runningProcesses(std::vector<std::pair<unsigned long, std::wstring>>& processes);

// The main window of the calling process, null where there is none.
void* mainWindow();

// Brings the titled top-level window of that process to the front; false where there is none.
bool windowToFront(unsigned long id);

// The program and the arguments before the file that open a text file for a person to edit: a
// word processor (wordProcessor) or a plain text editor; the file is in Windows form. False when
// the file has no path the program could be given.
bool editorCommand(bool wordProcessor, const std::wstring& file, std::wstring& executable,
                   std::wstring& arguments);

// What the names of executable files end in: ".exe" on Windows, nothing elsewhere.
const wchar_t* executableSuffix();

// --- alike on every system --------------------------------------------------------------------

// A command line split into its arguments as the Windows C runtime splits it for main(): the
// program name ends at the next quote when it starts with one, else at a blank; then blanks
// (space, tab) separate arguments outside quotes, 2n backslashes before a quote give n and the
// quote opens or closes quoting, 2n+1 give n and a literal quote, two quotes inside quoting give
// one, and other backslashes stand as they are.
std::vector<std::wstring> splitCommandLine(const std::wstring& commandLine);

// The argument in the form that splitCommandLine gives back as it is: in quotes where it is empty
// or holds a blank or a quote, with the backslashes before a quote doubled.
std::wstring quoteArgument(const std::wstring& argument);

} // namespace vx::platform
