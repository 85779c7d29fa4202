#include "vxProcess.h"

#include "detail/caseFolding.h"
#include "platform/processes.h"
#include "vxConfigSet.h"
#include "vxDirectory.h"
#include "vxEnvironment.h"
#include "vxFile.h"
#include "vxLogManager.h"

#include <utility>
#include <vector>

namespace vx {

namespace {

// The wait for the end: a first pause, then a look every quarter of a second.
constexpr unsigned int kFirstPause = 500, kPollInterval = 250;
// The wait for a new window to wait for input ends after this long at the latest.
constexpr unsigned int kInputIdleLimit = 30000;

void trace(const string& text, long line) {
    vxlog::logManager::getLogger("vx::startProcess")->log_trace(text, __FILE__, line, "startProcess");
}

platform::processPriority priorityOf(int flags) {
    using platform::processPriority;
    // In the order in which the bits are tested: the first one set wins.
    static const std::pair<int, processPriority> levels[] = {
        {kStartRealtimePriority, processPriority::realtime}, {kStartHighPriority, processPriority::high},
        {kStartAboveNormalPriority, processPriority::aboveNormal}, {kStartNormalPriority, processPriority::normal},
        {kStartBelowNormalPriority, processPriority::belowNormal}, {kStartLowestPriority, processPriority::lowest},
        {kStartIdlePriority, processPriority::idle}};
    for (const auto& level : levels)
        if (flags & level.first)
            return level.second;
    return processPriority::inherit;
}

bool endsWithIgnoringCase(const std::wstring& text, const std::wstring& end) {
    return text.size() >= end.size() &&
           detail::equalIgnoringCase(text.data() + text.size() - end.size(), end.size(), end.data(), end.size());
}

bool isRelative(const string& name) {
    return !(name.size() >= 2 && name[1] == L':') && !(!name.empty() && (name[0] == L'\\' || name[0] == L'/'));
}

// The file to run: the executable as given where it exists, else in the running program's folder,
// else the text itself for the system to look for.
string executableToRun(const string& executable) {
    const file given(executable);
    if (given.exists())
        return given.fullName();
    directory folder;
    if (isRelative(executable) && getModulePath(static_cast<void*>(nullptr), folder)) {
        string name = executable;
        const std::wstring suffix = platform::executableSuffix();
        if (!suffix.empty() && !endsWithIgnoringCase(name, suffix))
            name += suffix;
        const file beside(folder, name);
        if (beside.exists())
            return beside.fullName();
    }
    return executable;
}

bool start(const string& executable, const string& arguments, const configSet* environment, int flags,
           unsigned long* processId, void** processHandle, void** threadHandle, const directory& workingDirectory) {
    trace(L"vx::startProcess entered", __LINE__);
    trace(string::sformat(L"trying to start executable \"%s\"", executable.c_str()), __LINE__);
    if (executable.empty())
        return false;

    platform::spawnRequest request;
    request.executable = executableToRun(executable);
    request.commandLine = arguments.empty()
                              ? string::sformat(L"\"%s\"", request.executable.c_str())
                              : string::sformat(L"\"%s\" %s", request.executable.c_str(), arguments.c_str());
    trace(L"commandline: " + request.commandLine, __LINE__);
    if (environment) {
        request.withEnvironment = true;
        for (const string& name : environment->names()) {
            string value;
            environment->getValue(name, value);
            trace(string::sformat(L"added to environment: %s=%s", name.c_str(), value.c_str()), __LINE__);
            request.environment.emplace_back(name, value);
        }
    }
    request.workingDirectory = workingDirectory.fullName();
    request.priority = priorityOf(flags);
    request.creationFlags = static_cast<unsigned long>(static_cast<unsigned int>(flags & kStartCreationFlags));

    unsigned long id = 0;
    void* process = nullptr;
    void* thread = nullptr;
    if (!platform::spawnProcess(request, id, process, thread)) {
        trace(L"the process could not be started", __LINE__);
        return false;
    }
    trace(string::sformat(L"started process %lu", id), __LINE__);

    if ((flags & kStartWaitForInputIdle) && !(flags & kStartWaitForEnd))
        platform::waitProcessInputIdle(process, kInputIdleLimit);
    if (flags & kStartWaitForEnd) {
        sleep(kFirstPause);
        // The handle is signalled at the end, so even a process that ends with the code 0x103
        // ends the wait.
        while (!platform::waitProcessEnd(process, kPollInterval))
            if (flags & kStartDispatchMessages)
                platform::dispatchWindowMessages();
        trace(L"the process has ended", __LINE__);
    }

    if (processId)
        *processId = id;
    if (processHandle)
        *processHandle = process;
    else
        platform::closeProcessHandle(process);
    if (threadHandle)
        *threadHandle = thread;
    else
        platform::closeProcessHandle(thread);
    return true;
}

unsigned long findProcess(const string& name, unsigned long skipped) {
    if (name.empty())
        return 0;
    std::vector<std::pair<unsigned long, std::wstring>> processes;
    platform::runningProcesses(processes);
    for (const auto& process : processes)
        if (process.first != skipped && detail::equalIgnoringCase(process.second, name))
            return process.first;
    return 0;
}

bool openForEditing(bool wordProcessor, const string& name, bool wait) {
    std::wstring executable, arguments;
    if (name.empty() || !platform::editorCommand(wordProcessor, file(name).fullName(), executable, arguments))
        return false;
    return start(executable, arguments, nullptr, wait ? kStartWaitForEnd : 0, nullptr, nullptr, nullptr,
                 directory());
}

} // namespace

bool startProcess(const string& executable, const string& arguments, const configSet& environment, int flags,
                  unsigned long* processId, void** processHandle, void** threadHandle,
                  const directory& workingDirectory) {
    return start(executable, arguments, &environment, flags, processId, processHandle, threadHandle,
                 workingDirectory);
}

bool startProcess(const string& executable, const string& arguments, int flags, unsigned long* processId,
                  void** processHandle, void** threadHandle, const directory& workingDirectory) {
    return start(executable, arguments, nullptr, flags, processId, processHandle, threadHandle, workingDirectory);
}

string quoteArgument(const string& argument) {
    return platform::quoteArgument(argument);
}

unsigned long processIsRunning(const string& name) {
    return findProcess(name, 0);
}

unsigned long processIsRunningElsewhere(const string& name) {
    return findProcess(name, getCurrentProcessId());
}

bool processToTop(unsigned long id) {
    return platform::windowToFront(id);
}

void* mainHWND() {
    return platform::mainWindow();
}

bool terminateProcess(unsigned long id) {
    return platform::killProcess(id);
}

bool getExitCodeProcess(void* handle, long* code) {
    long value = 0;
    if (!code || !platform::processExitCode(handle, value))
        return false;
    *code = value;
    return true;
}

void closeHandle(void* handle) {
    platform::closeProcessHandle(handle);
}

bool startNotepad(const string& file, bool wait) {
    return openForEditing(false, file, wait);
}

bool startWrite(const string& file, bool wait) {
    return openForEditing(true, file, wait);
}

} // namespace vx
