// Child processes on POSIX systems: posix_spawn, nice values, waitpid and /proc.
//
// A handle is a record of the library for one child; the child is reaped by the first look at its
// state once it has ended (processExitCode, waitProcessEnd). A child whose last handle is closed
// while it runs is kept in a list that every later call of this service reaps, so that ended
// children do not stay behind as zombies.
#include "platform/processes.h"
#include "platform/environment.h"
#include "platform/modules.h"
#include "platform/paths.h"
#include "platform/posix/posixShared.h"

#include <algorithm>
#include <cerrno>
#include <climits>
#include <csignal>
#include <cstdio>
#include <cstring>
#include <dirent.h>
#include <memory>
#include <mutex>
#include <set>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/syscall.h>
#include <sys/wait.h>
#include <thread>
#include <unistd.h>

namespace vx::platform {

namespace {

struct child {
    pid_t pid = 0;
    bool ended = false;
    long code = kStillActive;
};

// What a handle of the interface points to: the process itself or its (main) thread.
struct handleRecord {
    std::shared_ptr<child> process;
    bool isThread;
};

struct table {
    std::mutex lock;
    std::set<handleRecord*> handles;
    std::vector<pid_t> released; // running children nobody holds a handle of
};

table& children() {
    static table* instance = new table; // used until the process ends, never destroyed
    return *instance;
}

// A signal ends a process with the shell's code for it.
long exitCodeOf(int status) {
    if (WIFEXITED(status))
        return WEXITSTATUS(status);
    if (WIFSIGNALED(status))
        return 128 + WTERMSIG(status);
    return kStillActive;
}

// Reaps the child if it has ended. Called with the table locked.
void lookAt(child& c) {
    if (c.ended)
        return;
    int status = 0;
    pid_t answer;
    do
        answer = ::waitpid(c.pid, &status, WNOHANG);
    while (answer < 0 && errno == EINTR);
    if (answer == c.pid && (WIFEXITED(status) || WIFSIGNALED(status))) {
        c.ended = true;
        c.code = exitCodeOf(status);
    } else if (answer < 0) {
        // Somebody else (the application's own waitpid) reaped it; its code is lost.
        c.ended = true;
        c.code = -1;
    }
}

// Reaps the released children that have ended. Called with the table locked.
void reapReleased(table& t) {
    t.released.erase(std::remove_if(t.released.begin(), t.released.end(),
                                    [](pid_t pid) {
                                        int status = 0;
                                        const pid_t answer = ::waitpid(pid, &status, WNOHANG);
                                        return answer == pid || (answer < 0 && errno == ECHILD);
                                    }),
                     t.released.end());
}

handleRecord* known(table& t, void* handle) {
    auto* record = static_cast<handleRecord*>(handle);
    return t.handles.count(record) ? record : nullptr;
}

int niceOf(processPriority priority) {
    switch (priority) {
    case processPriority::realtime: return -20;
    case processPriority::high: return -10;
    case processPriority::aboveNormal: return -5;
    case processPriority::normal: return 0;
    case processPriority::belowNormal: return 5;
    case processPriority::lowest: return 10;
    case processPriority::idle: return 19;
    case processPriority::inherit: break;
    }
    return 0;
}

bool isPathName(const std::wstring& name) {
    return name.find_first_of(L"\\/:") != std::wstring::npos;
}

// NAME=VALUE entries: the caller's environment with the request's variables set on top.
std::vector<std::string> environmentBlock(const spawnRequest& request) {
    std::vector<std::string> block;
    std::vector<std::pair<std::wstring, std::wstring>> variables;
    environmentVariables(variables);
    for (const auto& added : request.environment) {
        auto same = std::find_if(variables.begin(), variables.end(),
                                 [&](const std::pair<std::wstring, std::wstring>& v) { return v.first == added.first; });
        if (same != variables.end())
            same->second = added.second;
        else
            variables.push_back(added);
    }
    for (const auto& variable : variables) {
        std::string name, value;
        if (variable.first.empty() || variable.first.find(L'=') != std::wstring::npos)
            continue;
        // A variable no environment can hold (a null character) is left out, as on Windows.
        if (!posix::wideToNative(variable.first, name) || !posix::wideToNative(variable.second, value))
            continue;
        block.push_back(name + "=" + value);
    }
    return block;
}

std::vector<char*> pointersTo(std::vector<std::string>& texts) {
    std::vector<char*> pointers;
    for (std::string& text : texts)
        pointers.push_back(&text[0]);
    pointers.push_back(nullptr);
    return pointers;
}

// posix_spawn with the calling thread's nice value; on Linux the nice value belongs to the thread
// and a new process takes that of the thread that makes it.
int spawnWithNice(pid_t& pid, const std::string& path, bool searchPath, const posix_spawn_file_actions_t* actions,
                  const posix_spawnattr_t* attributes, char* const* argv, char* const* envp, bool setNice, int nice) {
    if (setNice) {
        errno = 0;
        const int current = ::getpriority(PRIO_PROCESS, static_cast<id_t>(::syscall(SYS_gettid)));
        // A higher priority than the caller's needs a privilege; without one the child keeps the
        // caller's level.
        if (errno == 0 && current != nice)
            ::setpriority(PRIO_PROCESS, static_cast<id_t>(::syscall(SYS_gettid)), nice);
    }
    return searchPath ? ::posix_spawnp(&pid, path.c_str(), actions, attributes, argv, envp)
                      : ::posix_spawn(&pid, path.c_str(), actions, attributes, argv, envp);
}

// The file name of the executable of a process; empty when nothing can be read.
std::string executableName(const std::string& folder) {
    char buffer[PATH_MAX];
    const ssize_t length = ::readlink((folder + "/exe").c_str(), buffer, sizeof buffer - 1);
    std::string name;
    if (length > 0) {
        name.assign(buffer, static_cast<std::size_t>(length));
        static const std::string deleted = " (deleted)";
        if (name.size() > deleted.size() && name.compare(name.size() - deleted.size(), deleted.size(), deleted) == 0)
            name.resize(name.size() - deleted.size());
    } else if (std::FILE* f = std::fopen((folder + "/cmdline").c_str(), "re")) {
        // Another user's process: its first argument, else the kernel's short name.
        const std::size_t got = std::fread(buffer, 1, sizeof buffer - 1, f);
        std::fclose(f);
        buffer[got] = 0;
        name = buffer;
        if (name.empty())
            if (std::FILE* comm = std::fopen((folder + "/comm").c_str(), "re")) {
                if (std::fgets(buffer, sizeof buffer, comm))
                    name = buffer;
                std::fclose(comm);
                if (!name.empty() && name.back() == '\n')
                    name.pop_back();
            }
    }
    const std::size_t slash = name.rfind('/');
    return slash == std::string::npos ? name : name.substr(slash + 1);
}

} // namespace

bool spawnProcess(const spawnRequest& request, unsigned long& id, void*& process, void*& thread) {
    std::vector<std::string> argv;
    for (const std::wstring& argument : splitCommandLine(request.commandLine)) {
        std::string native;
        if (!posix::wideToNative(argument, native))
            return false;
        argv.push_back(native);
    }
    std::string path;
    const bool searchPath = !isPathName(request.executable);
    if (searchPath ? !posix::wideToNative(request.executable, path) : !toNativePath(request.executable, path))
        return false;
    std::vector<std::string> environment;
    if (request.withEnvironment)
        environment = environmentBlock(request);
    std::string directory;
    if (!request.workingDirectory.empty() && !toNativePath(request.workingDirectory, directory))
        return false;

    posix_spawn_file_actions_t actions;
    posix_spawnattr_t attributes;
    ::posix_spawn_file_actions_init(&actions);
    ::posix_spawnattr_init(&attributes);
    if (!directory.empty())
        ::posix_spawn_file_actions_addchdir_np(&actions, directory.c_str());
    // Like a Windows child, which inherits no handles, the child gets the standard streams only.
    ::posix_spawn_file_actions_addclosefrom_np(&actions, 3);
    sigset_t none, everything;
    sigemptyset(&none);
    sigfillset(&everything);
    sigdelset(&everything, SIGKILL);
    sigdelset(&everything, SIGSTOP);
    ::posix_spawnattr_setsigmask(&attributes, &none);
    ::posix_spawnattr_setsigdefault(&attributes, &everything);
    ::posix_spawnattr_setflags(&attributes, POSIX_SPAWN_SETSIGMASK | POSIX_SPAWN_SETSIGDEF);

    std::vector<char*> args = pointersTo(argv);
    std::vector<char*> env = pointersTo(environment);
    char* const* envp = request.withEnvironment ? env.data() : environ;
    pid_t pid = 0;
    int error = 0;
    if (request.priority == processPriority::inherit) {
        error = spawnWithNice(pid, path, searchPath, &actions, &attributes, args.data(), envp, false, 0);
    } else {
        // The nice value is given to a thread of its own, which then makes the child; the
        // caller's thread keeps its level (a lowered one could not be raised again).
        std::thread spawner([&] {
            error = spawnWithNice(pid, path, searchPath, &actions, &attributes, args.data(), envp, true,
                                  niceOf(request.priority));
        });
        spawner.join();
    }
    ::posix_spawn_file_actions_destroy(&actions);
    ::posix_spawnattr_destroy(&attributes);
    if (error != 0) {
        errno = error;
        return false;
    }

    auto record = std::make_shared<child>();
    record->pid = pid;
    table& t = children();
    std::lock_guard<std::mutex> guard(t.lock);
    reapReleased(t);
    auto* processRecord = new handleRecord{record, false};
    auto* threadRecord = new handleRecord{record, true};
    t.handles.insert(processRecord);
    t.handles.insert(threadRecord);
    id = static_cast<unsigned long>(pid);
    process = processRecord;
    thread = threadRecord;
    return true;
}

bool processExitCode(void* process, long& code) {
    table& t = children();
    std::lock_guard<std::mutex> guard(t.lock);
    reapReleased(t);
    handleRecord* record = known(t, process);
    if (!record || record->isThread)
        return false;
    lookAt(*record->process);
    code = record->process->code;
    return true;
}

bool waitProcessEnd(void* process, unsigned int milliseconds) {
    const unsigned int step = 10;
    for (unsigned int waited = 0;; waited += step) {
        {
            table& t = children();
            std::lock_guard<std::mutex> guard(t.lock);
            handleRecord* record = known(t, process);
            if (!record)
                return true;
            lookAt(*record->process);
            if (record->process->ended)
                return true;
        }
        if (waited >= milliseconds)
            return false;
        ::usleep(std::min(step, milliseconds - waited) * 1000);
    }
}

void waitProcessInputIdle(void*, unsigned int) {}

void dispatchWindowMessages() {}

void closeProcessHandle(void* handle) {
    table& t = children();
    std::lock_guard<std::mutex> guard(t.lock);
    handleRecord* record = known(t, handle);
    if (record) {
        t.handles.erase(record);
        std::shared_ptr<child> process = std::move(record->process);
        delete record;
        lookAt(*process);
        if (process.use_count() == 1 && !process->ended)
            t.released.push_back(process->pid);
    }
    reapReleased(t);
}

bool killProcess(unsigned long id) {
    if (id == 0 || id > static_cast<unsigned long>(INT_MAX))
        return false;
    const bool killed = ::kill(static_cast<pid_t>(id), SIGKILL) == 0;
    table& t = children();
    std::lock_guard<std::mutex> guard(t.lock);
    reapReleased(t);
    return killed;
}

void runningProcesses(std::vector<std::pair<unsigned long, std::wstring>>& processes) {
    {
        table& t = children();
        std::lock_guard<std::mutex> guard(t.lock);
        reapReleased(t);
    }
    processes.clear();
    DIR* proc = ::opendir("/proc");
    if (!proc)
        return;
    while (const dirent* entry = ::readdir(proc)) {
        char* end = nullptr;
        const unsigned long id = std::strtoul(entry->d_name, &end, 10);
        if (id == 0 || *end != 0 || !processExists(id))
            continue;
        const std::string name = executableName(std::string("/proc/") + entry->d_name);
        if (!name.empty())
            processes.emplace_back(id, posix::nativeToWide(name));
    }
    ::closedir(proc);
}

void* mainWindow() {
    return nullptr;
}

bool windowToFront(unsigned long) {
    return false;
}

bool editorCommand(bool wordProcessor, const std::wstring& file, std::wstring& executable, std::wstring& arguments) {
    (void)wordProcessor; // one editor serves both kinds of document here
    std::string native;
    if (!toNativePath(file, native))
        return false;
    std::string editor;
    if (!posix::readEnvironment("VISUAL", editor) || editor.empty())
        if (!posix::readEnvironment("EDITOR", editor) || editor.empty())
            editor = "xdg-open";
    // The variable may hold options after the program ("code --wait").
    const std::vector<std::wstring> words = splitCommandLine(posix::nativeToWide(editor));
    executable = words.front();
    arguments.clear();
    for (std::size_t i = 1; i < words.size(); ++i)
        arguments += quoteArgument(words[i]) + L" ";
    arguments += quoteArgument(posix::nativeToWide(native));
    return !executable.empty();
}

const wchar_t* executableSuffix() {
    return L"";
}

} // namespace vx::platform
