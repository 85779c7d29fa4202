// The process's environment and identity.
//
// The environment is process-wide: every read and write made through these functions is
// serialised by one lock of the library, so threads may use them at the same time. An application
// that calls setenv or putenv itself bypasses that lock and must not do so while other threads
// use these functions. Names and values reach the system as UTF-8; bytes that are not valid
// UTF-8 are read as U+DC80 + byte and written back as the same byte.
#pragma once

#include "vxExport.h"
#include "vxString.h"

#include <vector>

namespace vx {

class configSet;

// False when the variable is not set, and for a null or empty name or one that holds '='
// (no variable can have such a name); value is then untouched.
VX_API bool getEnvironmentVariable(const wchar_t* name, string& value);

// Builds the text "name=value" and stores it as _wputenv does: the name ends at the first '=',
// so a name "A=B" with the value "C" sets A to "B=C". An empty value, and a null one, removes
// the variable (true, also when it was not set). A null or empty name, and text that no native
// text can hold (a null character, a lone surrogate other than U+DC80..U+DCFF), give false and
// change nothing.
VX_API bool setEnvironmentVariable(const wchar_t* name, const wchar_t* value);

// Sets every variable of the process in out (entries of out with other names stay); true.
VX_API bool getEnvironmentVariables(configSet& out);

VX_API unsigned long getCurrentProcessId();
// The system's id of the calling thread.
VX_API unsigned long getCurrentThreadId();

// The computer's host name; false, with the text untouched, when there is none.
VX_API bool getComputerName(string& name);
// The account name of the effective user, else the value of USER; false, with the text
// untouched, when neither is known.
VX_API bool getUserName(string& name);

// True when a 32-bit process runs on a 64-bit Windows; always false on other systems.
VX_API bool currentProcessIsWow64Process();

// Blocks the calling thread for at least ms milliseconds; 0 lets other threads run and returns.
VX_API void sleep(unsigned int ms);

// The arguments the program was started with, its own name left out, for a main(argc, argv):
// on Windows the system's UTF-16 command line split as the runtime splits it (argv is not read);
// elsewhere each of argv as UTF-8, the bytes of an argument that is not valid UTF-8 kept as
// U+DC80 + byte, as file names are.
VX_API std::vector<string> programArguments(int argc, char** argv);

// Whether standard output (1) or standard error (2) is a terminal or console a person watches;
// false for a file, a pipe and any other number.
VX_API bool isTerminal(int stream);

} // namespace vx
