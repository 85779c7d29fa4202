// The growth of the peak resident memory of a piece of work, for the benchmarks that report it.
#pragma once

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <functional>
#include <malloc.h>
#include <sys/wait.h>
#include <unistd.h>

namespace vxbench {

// A line of /proc/self/status in kB ("VmRSS", "VmHWM"); -1 when it cannot be read.
inline double statusKb(const char* field) {
    std::FILE* status = std::fopen("/proc/self/status", "r");
    if (!status)
        return -1;
    char line[256];
    double kb = -1;
    const std::size_t length = std::strlen(field);
    while (std::fgets(line, sizeof line, status))
        if (std::strncmp(line, field, length) == 0 && line[length] == ':')
            kb = std::atof(line + length + 1);
    std::fclose(status);
    return kb;
}

// What a child process measured of one run of a piece of work.
struct childRun {
    double peakMB = -1; // the growth of the peak resident memory
    double ms = -1;     // the time the run took, from a heap without free memory
};

// The growth of the peak resident memory, in MB, while a child process runs work once after
// prepare, and the time it took. The child first gives back the free memory of its heap and
// sets its peak to what it holds: free memory inherited from earlier benchmarks would otherwise
// be reused unseen, and the peak inherited from them would hide the work's own. So the time is
// that of a first run in a process, which must take its memory from the system.
inline childRun runInChild(const std::function<void()>& prepare, const std::function<void()>& work) {
    int channel[2];
    if (::pipe(channel) != 0)
        return childRun();
    const pid_t pid = ::fork();
    if (pid == 0) {
        ::close(channel[0]);
        prepare();
        ::malloc_trim(0);
        if (std::FILE* clear = std::fopen("/proc/self/clear_refs", "w")) {
            std::fputs("5", clear); // resets the peak (VmHWM) to the present size
            std::fclose(clear);
        }
        const double before = statusKb("VmRSS");
        const auto start = std::chrono::steady_clock::now();
        work();
        childRun run;
        run.ms = std::chrono::duration<double, std::milli>(std::chrono::steady_clock::now() - start).count();
        run.peakMB = (statusKb("VmHWM") - before) / 1024.0;
        [[maybe_unused]] const ssize_t n = ::write(channel[1], &run, sizeof run);
        ::_exit(0);
    }
    ::close(channel[1]);
    childRun run;
    if (::read(channel[0], &run, sizeof run) != static_cast<ssize_t>(sizeof run))
        run = childRun();
    ::close(channel[0]);
    int status = 0;
    ::waitpid(pid, &status, 0);
    return run;
}

inline double peakGrowth(const std::function<void()>& prepare, const std::function<void()>& work) {
    return runInChild(prepare, work).peakMB;
}

} // namespace vxbench
