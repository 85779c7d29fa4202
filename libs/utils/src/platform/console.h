// The console of the process (internal).
#pragma once

#include <string>
#include <vector>

namespace vx::platform {

// Presents an assertion text to a person: on standard error where the process has one (on
// Windows: a console or a redirected stream), else in a message box (Windows only).
void presentAssertion(const wchar_t* caption, const wchar_t* text);

// Whether standard output (1) or standard error (2) is a terminal or console a person watches.
bool isTerminal(int stream);

// The arguments the program was started with, its own name left out: on Windows as the system
// keeps them in UTF-16 (argv is not read); elsewhere argv read as native text, the bytes of a
// name that is not valid UTF-8 kept as U+DC80 + byte.
std::vector<std::wstring> programArguments(int argc, char** argv);

} // namespace vx::platform
