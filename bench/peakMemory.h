// The growth of the peak resident memory of a piece of work, for the benchmarks that report it.
#pragma once

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

// The growth of the peak resident memory, in MB, while a child process runs work once after
// prepare. The child first gives back the free memory of its heap and sets its peak to what it
// holds: free memory inherited from earlier benchmarks would otherwise be reused unseen, and the
// peak inherited from them would hide the work's own.
inline double peakGrowth(const std::function<void()>& prepare, const std::function<void()>& work) {
    int channel[2];
    if (::pipe(channel) != 0)
        return -1;
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
        work();
        const double grown = (statusKb("VmHWM") - before) / 1024.0;
        [[maybe_unused]] const ssize_t n = ::write(channel[1], &grown, sizeof grown);
        ::_exit(0);
    }
    ::close(channel[1]);
    double grown = -1;
    if (::read(channel[0], &grown, sizeof grown) != static_cast<ssize_t>(sizeof grown))
        grown = -1;
    ::close(channel[0]);
    int status = 0;
    ::waitpid(pid, &status, 0);
    return grown;
}

} // namespace vxbench
