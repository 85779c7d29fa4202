// The process environment and the identity of user and computer on POSIX systems.
#include "platform/environment.h"
#include "platform/paths.h"
#include "platform/posix/posixShared.h"

#include <cerrno>
#include <cstdlib>
#include <cstring>
#include <ctime>
#include <mutex>
#include <pwd.h>
#include <unistd.h>
#include <vector>

extern char** environ;

namespace vx::platform {

namespace {

// glibc's getenv reads the environment array that setenv may replace at the same moment: every
// access of the library takes this lock. Direct setenv or putenv calls of the application bypass it.
std::mutex& environmentLock() {
    static std::mutex lock;
    return lock;
}

// A name that the environment can hold: not empty, no '=', no character a native text cannot hold.
bool nativeVariableName(const wchar_t* name, std::size_t length, std::string& native) {
    return length != 0 && std::wmemchr(name, L'=', length) == nullptr &&
           posix::wideToNative(name, length, native);
}

} // namespace

bool posix::readEnvironment(const char* name, std::string& value) {
    std::lock_guard<std::mutex> guard(environmentLock());
    const char* found = ::getenv(name);
    if (!found)
        return false;
    value = found;
    return true;
}

bool environmentVariable(const wchar_t* name, std::wstring& value) {
    std::string nativeName;
    if (!name || !nativeVariableName(name, std::wcslen(name), nativeName))
        return false;
    std::string nativeValue;
    if (!posix::readEnvironment(nativeName.c_str(), nativeValue))
        return false;
    value = posix::nativeToWide(nativeValue);
    return true;
}

bool putEnvironment(const std::wstring& assignment) {
    const std::size_t equals = assignment.find(L'=');
    if (equals == std::wstring::npos)
        return false;
    std::string name, value;
    if (!nativeVariableName(assignment.data(), equals, name) ||
        !posix::wideToNative(assignment.data() + equals + 1, assignment.size() - equals - 1, value))
        return false;
    std::lock_guard<std::mutex> guard(environmentLock());
    // As _wputenv: "name=" with nothing behind it removes the variable.
    if (value.empty())
        return ::unsetenv(name.c_str()) == 0;
    return ::setenv(name.c_str(), value.c_str(), 1) == 0;
}

void environmentVariables(std::vector<std::pair<std::wstring, std::wstring>>& variables) {
    std::vector<std::pair<std::wstring, std::wstring>> result;
    {
        std::lock_guard<std::mutex> guard(environmentLock());
        for (char** entry = environ; entry && *entry; ++entry) {
            // An entry without '=' (possible through putenv) names nothing and is skipped.
            const char* equals = std::strchr(*entry, '=');
            if (!equals || equals == *entry)
                continue;
            result.emplace_back(posix::nativeToWide(*entry, static_cast<std::size_t>(equals - *entry)),
                                posix::nativeToWide(equals + 1, std::strlen(equals + 1)));
        }
    }
    variables.swap(result);
}

} // namespace vx::platform
