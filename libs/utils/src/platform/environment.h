// The process environment (internal).
//
// Every access of the library to the environment goes through one lock; an application that
// changes the environment with the system's own calls bypasses it.
#pragma once

#include <string>
#include <utility>
#include <vector>

namespace vx::platform {

// False when the name is null, empty, holds '=' or the variable is not set.
bool environmentVariable(const wchar_t* name, std::wstring& value);

// Takes "name=value" as _wputenv does: the name ends at the first '='; nothing behind it removes
// the variable. False when there is no '=', the name is empty, or the text cannot be stored.
bool putEnvironment(const std::wstring& assignment);

// Every variable of the process as name and value, in the order of the environment block.
void environmentVariables(std::vector<std::pair<std::wstring, std::wstring>>& variables);

} // namespace vx::platform
