// Child processes, the process list and windows on Windows.
#include "platform/processes.h"
#include "platform/win32/win32Shared.h"

#include <tlhelp32.h>

#include <algorithm>
#include <cwctype>

namespace vx::platform {

namespace {

// The flags every new process gets: held until its priorities are set, a console of its own, and
// the system's error mode rather than the caller's.
constexpr DWORD kCreationFlags = CREATE_SUSPENDED | CREATE_NEW_CONSOLE | CREATE_DEFAULT_ERROR_MODE;

struct levels {
    DWORD priorityClass;
    int threadPriority;
};

levels levelsOf(processPriority priority) {
    switch (priority) {
    case processPriority::realtime: return {REALTIME_PRIORITY_CLASS, THREAD_PRIORITY_TIME_CRITICAL};
    case processPriority::high: return {HIGH_PRIORITY_CLASS, THREAD_PRIORITY_HIGHEST};
    case processPriority::aboveNormal: return {ABOVE_NORMAL_PRIORITY_CLASS, THREAD_PRIORITY_ABOVE_NORMAL};
    case processPriority::normal: return {NORMAL_PRIORITY_CLASS, THREAD_PRIORITY_NORMAL};
    case processPriority::belowNormal: return {BELOW_NORMAL_PRIORITY_CLASS, THREAD_PRIORITY_BELOW_NORMAL};
    case processPriority::lowest: return {BELOW_NORMAL_PRIORITY_CLASS, THREAD_PRIORITY_LOWEST};
    case processPriority::idle: return {IDLE_PRIORITY_CLASS, THREAD_PRIORITY_IDLE};
    case processPriority::inherit: break;
    }
    return {0, 0};
}

std::wstring upper(std::wstring text) {
    for (wchar_t& c : text)
        c = static_cast<wchar_t>(std::towupper(c));
    return text;
}

// The caller's environment with the request's variables set on top (names compare without regard
// to case, as the system's do), sorted as the system keeps a block.
std::wstring environmentBlock(const spawnRequest& request) {
    std::vector<std::pair<std::wstring, std::wstring>> variables;
    if (wchar_t* strings = GetEnvironmentStringsW()) {
        for (const wchar_t* entry = strings; *entry; entry += wcslen(entry) + 1) {
            // "=C:=C:\dir" keeps a drive's directory: the name begins with its '='.
            const wchar_t* equals = wcschr(entry + 1, L'=');
            if (equals)
                variables.emplace_back(std::wstring(entry, equals), std::wstring(equals + 1));
        }
        FreeEnvironmentStringsW(strings);
    }
    for (const auto& added : request.environment) {
        const std::wstring key = upper(added.first);
        auto same = std::find_if(variables.begin(), variables.end(),
                                 [&](const std::pair<std::wstring, std::wstring>& v) { return upper(v.first) == key; });
        if (same != variables.end())
            same->second = added.second;
        else
            variables.push_back(added);
    }
    std::stable_sort(variables.begin(), variables.end(),
                     [](const auto& a, const auto& b) { return upper(a.first) < upper(b.first); });
    std::wstring block;
    for (const auto& variable : variables) {
        if (variable.first.empty() || variable.first.find(L'\0') != std::wstring::npos ||
            variable.second.find(L'\0') != std::wstring::npos)
            continue;
        block += variable.first + L"=" + variable.second;
        block += L'\0';
    }
    if (block.empty())
        block += L'\0';
    block += L'\0';
    return block;
}

bool isPathName(const std::wstring& name) {
    return name.find_first_of(L"\\/:") != std::wstring::npos;
}

struct windowSearch {
    DWORD process;
    HWND found;
    bool reached;
};

// A window without a parent, of the process searched for.
bool isTopWindowOf(HWND window, DWORD process) {
    DWORD owner = 0;
    GetWindowThreadProcessId(window, &owner);
    return owner == process && GetParent(window) == nullptr;
}

BOOL CALLBACK findMainWindow(HWND window, LPARAM parameter) {
    auto* search = reinterpret_cast<windowSearch*>(parameter);
    if (!isTopWindowOf(window, search->process))
        return TRUE;
    search->found = GetLastActivePopup(window);
    return FALSE;
}

BOOL CALLBACK bringWindowToFront(HWND window, LPARAM parameter) {
    auto* search = reinterpret_cast<windowSearch*>(parameter);
    if (!isTopWindowOf(window, search->process))
        return TRUE;
    wchar_t title[1023];
    if (GetWindowTextW(window, title, 1023) <= 0)
        return TRUE;
    if (IsIconic(window))
        ShowWindow(window, SW_RESTORE);
    const HWND popup = GetLastActivePopup(window);
    SetForegroundWindow(popup);
    SetActiveWindow(popup);
    SetFocus(popup);
    search->reached = IsWindowVisible(popup) != FALSE;
    return search->reached ? FALSE : TRUE;
}

} // namespace

bool spawnProcess(const spawnRequest& request, unsigned long& id, void*& process, void*& thread) {
    if (request.commandLine.find(L'\0') != std::wstring::npos || request.executable.find(L'\0') != std::wstring::npos ||
        request.workingDirectory.find(L'\0') != std::wstring::npos)
        return false;
    DWORD flags = kCreationFlags | static_cast<DWORD>(request.creationFlags);
    // A process without a window gets no console either (the system ignores the request next to a
    // new console).
    if (flags & CREATE_NO_WINDOW)
        flags &= ~static_cast<DWORD>(CREATE_NEW_CONSOLE);
    std::wstring environment;
    if (request.withEnvironment) {
        environment = environmentBlock(request);
        flags |= CREATE_UNICODE_ENVIRONMENT;
    }
    std::wstring commandLine = request.commandLine; // the system may write into it
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION created{};
    if (!CreateProcessW(isPathName(request.executable) ? request.executable.c_str() : nullptr, &commandLine[0],
                        nullptr, nullptr, FALSE, flags, request.withEnvironment ? &environment[0] : nullptr,
                        request.workingDirectory.empty() ? nullptr : request.workingDirectory.c_str(), &startup,
                        &created))
        return false;
    if (request.priority != processPriority::inherit) {
        const levels wanted = levelsOf(request.priority);
        if (const HANDLE full = OpenProcess(PROCESS_ALL_ACCESS, FALSE, created.dwProcessId)) {
            SetPriorityClass(full, wanted.priorityClass);
            CloseHandle(full);
        }
        SetThreadPriority(created.hThread, wanted.threadPriority);
    }
    ResumeThread(created.hThread);
    id = created.dwProcessId;
    process = created.hProcess;
    thread = created.hThread;
    return true;
}

bool processExitCode(void* process, long& code) {
    DWORD value = 0;
    if (!process || !GetExitCodeProcess(static_cast<HANDLE>(process), &value))
        return false;
    code = static_cast<long>(value);
    return true;
}

bool waitProcessEnd(void* process, unsigned int milliseconds) {
    return !process || WaitForSingleObject(static_cast<HANDLE>(process), milliseconds) != WAIT_TIMEOUT;
}

void waitProcessInputIdle(void* process, unsigned int milliseconds) {
    if (process)
        WaitForInputIdle(static_cast<HANDLE>(process), milliseconds);
}

void dispatchWindowMessages() {
    MSG message;
    while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) {
        TranslateMessage(&message);
        DispatchMessageW(&message);
    }
}

void closeProcessHandle(void* handle) {
    if (handle)
        CloseHandle(static_cast<HANDLE>(handle));
}

bool killProcess(unsigned long id) {
    if (id == 0 || id > 0xFFFFFFFFUL)
        return false;
    const HANDLE process = OpenProcess(PROCESS_TERMINATE, FALSE, static_cast<DWORD>(id));
    if (!process)
        return false;
    // 1 is the code the system's own task tools leave.
    const bool ended = TerminateProcess(process, 1) != FALSE;
    CloseHandle(process);
    return ended;
}

void runningProcesses(std::vector<std::pair<unsigned long, std::wstring>>& processes) {
    processes.clear();
    const HANDLE snapshot = CreateToolhelp32Snapshot(TH32CS_SNAPPROCESS, 0);
    if (snapshot == INVALID_HANDLE_VALUE)
        return;
    PROCESSENTRY32W entry{};
    entry.dwSize = sizeof entry;
    for (BOOL more = Process32FirstW(snapshot, &entry); more; more = Process32NextW(snapshot, &entry)) {
        std::wstring name(entry.szExeFile);
        const std::size_t delimiter = name.find_last_of(L"\\/");
        if (delimiter != std::wstring::npos)
            name.erase(0, delimiter + 1);
        if (entry.th32ProcessID != 0 && !name.empty())
            processes.emplace_back(entry.th32ProcessID, name);
    }
    CloseHandle(snapshot);
}

void* mainWindow() {
    windowSearch search{GetCurrentProcessId(), nullptr, false};
    EnumWindows(findMainWindow, reinterpret_cast<LPARAM>(&search));
    return search.found;
}

bool windowToFront(unsigned long id) {
    if (id == 0 || id > 0xFFFFFFFFUL)
        return false;
    windowSearch search{static_cast<DWORD>(id), nullptr, false};
    EnumWindows(bringWindowToFront, reinterpret_cast<LPARAM>(&search));
    return search.reached;
}

bool editorCommand(bool wordProcessor, const std::wstring& file, std::wstring& executable, std::wstring& arguments) {
    if (file.find(L'\0') != std::wstring::npos)
        return false;
    executable = wordProcessor ? L"write.exe" : L"notepad.exe";
    arguments = quoteArgument(file);
    return true;
}

const wchar_t* executableSuffix() {
    return L".exe";
}

} // namespace vx::platform
