// The process environment on Windows: the C runtime's wide environment, which passes every
// change on to the system's.
#include "platform/environment.h"

#define WIN32_LEAN_AND_MEAN
#include <windows.h>

#include <cstdlib>
#include <cwchar>
#include <mutex>

namespace vx::platform {

namespace {

// The runtime's environment table may be replaced by a change at the same moment as another
// thread reads it: every access of the library takes this lock.
std::mutex& environmentLock() {
    static std::mutex lock;
    return lock;
}

bool validName(const wchar_t* name, std::size_t length) {
    return length != 0 && std::wmemchr(name, L'=', length) == nullptr && std::wmemchr(name, L'\0', length) == nullptr;
}

} // namespace

bool environmentVariable(const wchar_t* name, std::wstring& value) {
    if (!name || !validName(name, std::wcslen(name)))
        return false;
    std::lock_guard<std::mutex> guard(environmentLock());
    const wchar_t* found = _wgetenv(name);
    if (!found)
        return false;
    value = found;
    return true;
}

bool putEnvironment(const std::wstring& assignment) {
    const std::size_t equals = assignment.find(L'=');
    if (equals == std::wstring::npos || !validName(assignment.data(), equals) ||
        assignment.find(L'\0') != std::wstring::npos)
        return false;
    const std::wstring name = assignment.substr(0, equals);
    const std::wstring value = assignment.substr(equals + 1);
    std::lock_guard<std::mutex> guard(environmentLock());
    // As _wputenv: "name=" with nothing behind it removes the variable.
    return _wputenv_s(name.c_str(), value.c_str()) == 0;
}

void environmentVariables(std::vector<std::pair<std::wstring, std::wstring>>& variables) {
    std::vector<std::pair<std::wstring, std::wstring>> result;
    {
        std::lock_guard<std::mutex> guard(environmentLock());
        wchar_t* block = GetEnvironmentStringsW();
        // Entries whose name is empty ("=C:=C:\dir", the current directories of drives) name
        // no variable and are skipped.
        for (const wchar_t* entry = block; entry && *entry; entry += std::wcslen(entry) + 1) {
            const wchar_t* equals = std::wcschr(entry, L'=');
            if (!equals || equals == entry)
                continue;
            result.emplace_back(std::wstring(entry, static_cast<std::size_t>(equals - entry)), std::wstring(equals + 1));
        }
        if (block)
            FreeEnvironmentStringsW(block);
    }
    variables.swap(result);
}

} // namespace vx::platform
