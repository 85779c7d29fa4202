// Processes: start a program, ask whether processes run, end them, and reach their windows.
//
// Nothing here throws: failures answer false, 0 or null, and the trace of the logger
// "vx::startProcess" tells what was tried. The handles startProcess gives are the caller's to
// close with closeHandle; a process whose handles are closed runs on.
#pragma once

#include "vxExport.h"
#include "vxModule.h"
#include "vxString.h"

namespace vx {

class configSet;
class directory;

// The exit code of a process that has not ended.
constexpr long kStillActive = 0x103;

// The bits of the flags of startProcess. Waiting:
constexpr int kStartWaitForEnd = 0x02;       // returns once the process has ended
constexpr int kStartWaitForInputIdle = 0x04; // without 0x02: until its window waits for input
constexpr int kStartDispatchMessages = 0x08; // with 0x02: dispatches the caller's window messages
// Priority, the first bit set from the top of the list wins; without one the process takes the
// caller's level.
constexpr int kStartRealtimePriority = 0x10;
constexpr int kStartHighPriority = 0x20;
constexpr int kStartAboveNormalPriority = 0x40;
constexpr int kStartNormalPriority = 0x80;
constexpr int kStartBelowNormalPriority = 0x100;
constexpr int kStartLowestPriority = 0x200;
constexpr int kStartIdlePriority = 0x400;
// The bits from 0x800 up are creation flags of the Windows system call, handed on as they stand
// (CREATE_NO_WINDOW, 0x08000000, also leaves out the new console); other systems ignore them.
constexpr int kStartCreationFlags = ~0x7FF;

// Starts executable with the arguments, a command line as Windows programs take it: the program
// gets "\"executable\" arguments" (or "\"executable\"" without arguments) and splits it as the
// Windows C runtime does, on every system. A relative executable that does not exist is looked
// for in the folder of the running program (on Windows with ".exe" added where it lacks it), and
// a bare name that is in neither place on the system's search path. environment holds variables
// set on top of the caller's; workingDirectory, unless empty, is the process's current
// directory. Each of processId, processHandle and threadHandle that is not null receives the id
// and the handles of the new process (close the handles with closeHandle); on failure they stay
// as they were.
VX_API bool startProcess(const string& executable, const string& arguments, const configSet& environment, int flags,
                         unsigned long* processId, void** processHandle, void** threadHandle,
                         const directory& workingDirectory);
VX_API bool startProcess(const string& executable, const string& arguments, int flags, unsigned long* processId,
                         void** processHandle, void** threadHandle, const directory& workingDirectory);

// The argument as a command line holds it so that the program receives it unchanged: as it is, or
// in quotes where it is empty or holds a blank or a quote, with backslashes doubled before a quote.
VX_API string quoteArgument(const string& argument);

// The id of a running process whose executable's file name is name (case ignored, no folder),
// 0 when there is none. The second form leaves the calling process out.
VX_API unsigned long processIsRunning(const string& name);
VX_API unsigned long processIsRunningElsewhere(const string& name);

// Restores and activates the titled main window of the process; false when no visible window was
// reached (always on systems without such windows).
VX_API bool processToTop(unsigned long id);

// The main window of the calling process (its last active popup), null when there is none.
VX_API void* mainHWND();

// Ends the process at once. False when there is none of that id or it may not be ended.
VX_API bool terminateProcess(unsigned long id);

// The exit code of the process behind a handle of startProcess; kStillActive (the system's
// STILL_ACTIVE) while it runs.
// False, with code untouched, for a null code and a handle that is no process handle.
VX_API bool getExitCodeProcess(void* handle, long* code);

// Closes a handle of startProcess; null and unknown handles are ignored.
VX_API void closeHandle(void* handle);

// Opens the file for a person to edit: in Notepad or in WordPad (write.exe) on Windows, in the
// user's editor elsewhere ($VISUAL, else $EDITOR, else xdg-open). With wait true the call returns
// when the editor has ended. False when the editor could not be started.
VX_API bool startNotepad(const string& file, bool wait);
VX_API bool startWrite(const string& file, bool wait);

} // namespace vx
