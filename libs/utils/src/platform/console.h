// The console of the process (internal).
#pragma once

namespace vx::platform {

// Presents an assertion text to a person: on standard error.
void presentAssertion(const wchar_t* caption, const wchar_t* text);

// Whether standard output (1) or standard error (2) is a terminal a person watches.
bool isTerminal(int stream);

// Writes bytes to standard output (1) or standard error (2) as they are; false when they could
// not all be written.
bool writeStandardStream(int stream, const char* bytes, unsigned long long size);

} // namespace vx::platform
