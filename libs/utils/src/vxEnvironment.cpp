#include "vxEnvironment.h"
#include "vxConfigSet.h"
#include "platform/console.h"
#include "platform/environment.h"
#include "platform/identity.h"
#include "platform/threads.h"

namespace vx {

bool getEnvironmentVariable(const wchar_t* name, string& value) {
    std::wstring found;
    if (!platform::environmentVariable(name, found))
        return false;
    value = std::move(found);
    return true;
}

bool setEnvironmentVariable(const wchar_t* name, const wchar_t* value) {
    if (!name || !*name)
        return false;
    std::wstring assignment(name);
    assignment += L'=';
    if (value)
        assignment += value;
    return platform::putEnvironment(assignment);
}

bool getEnvironmentVariables(configSet& out) {
    std::vector<std::pair<std::wstring, std::wstring>> variables;
    platform::environmentVariables(variables);
    for (const auto& variable : variables)
        out.setValue(variable.first, variable.second);
    return true;
}

unsigned long getCurrentProcessId() {
    return platform::currentProcessId();
}

unsigned long getCurrentThreadId() {
    // Thread ids of the system fit in 32 bits, the width of the Windows type.
    return static_cast<unsigned long>(static_cast<std::uint32_t>(platform::currentThreadId()));
}

bool getComputerName(string& name) {
    std::wstring found;
    if (!platform::computerName(found))
        return false;
    name = std::move(found);
    return true;
}

bool getUserName(string& name) {
    std::wstring found;
    if (!platform::userName(found))
        return false;
    name = std::move(found);
    return true;
}

bool currentProcessIsWow64Process() {
    return platform::processRunsEmulated();
}

void sleep(unsigned int ms) {
    // As on Windows, 0 gives up the rest of the time slice.
    if (ms == 0)
        platform::yieldThread();
    else
        platform::sleepMilliseconds(ms);
}

std::vector<string> programArguments(int argc, char** argv) {
    std::vector<string> arguments;
    for (std::wstring& argument : platform::programArguments(argc, argv))
        arguments.emplace_back(std::move(argument));
    return arguments;
}

bool isTerminal(int stream) {
    return platform::isTerminal(stream);
}

} // namespace vx
