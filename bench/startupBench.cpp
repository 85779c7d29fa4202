// Start-up: `vxutil --version` (loading the library, its static converters and the tool's
// commands, then printing) next to a C++ program that only prints. Each iteration starts the
// program and waits for it; the difference of the two rows is what the library adds.
#include <benchmark/benchmark.h>

#include <fcntl.h>
#include <spawn.h>
#include <sys/resource.h>
#include <sys/wait.h>
#include <unistd.h>

#include <string>

extern char** environ;

namespace {

// Runs the program once with its output thrown away; the processor time it used, in seconds,
// or -1 when it could not run or did not exit with 0.
double runOnce(const char* path, const char* argument) {
    posix_spawn_file_actions_t actions;
    posix_spawn_file_actions_init(&actions);
    posix_spawn_file_actions_addopen(&actions, 1, "/dev/null", O_WRONLY, 0);
    char* argv[] = {const_cast<char*>(path), const_cast<char*>(argument), nullptr};
    pid_t pid = 0;
    const int started = posix_spawn(&pid, path, &actions, nullptr, argv, environ);
    posix_spawn_file_actions_destroy(&actions);
    if (started != 0)
        return -1;
    int status = 0;
    struct rusage usage {};
    if (::wait4(pid, &status, 0, &usage) != pid || !WIFEXITED(status) || WEXITSTATUS(status) != 0)
        return -1;
    return static_cast<double>(usage.ru_utime.tv_sec + usage.ru_stime.tv_sec) +
           static_cast<double>(usage.ru_utime.tv_usec + usage.ru_stime.tv_usec) / 1e6;
}

void startProgram(benchmark::State& state, const char* path, const char* argument) {
    double cpu = 0;
    for (auto _ : state) {
        const double used = runOnce(path, argument);
        if (used < 0) {
            state.SkipWithError((std::string("cannot run ") + path).c_str());
            return;
        }
        cpu += used;
    }
    // The child's own processor time: steadier than the wall time on a busy machine.
    state.counters["childCpuMs"] =
        benchmark::Counter(cpu * 1e3 / static_cast<double>(state.iterations()));
}

void BM_start_vxutilVersion(benchmark::State& state) {
    startProgram(state, VX_BENCH_VXUTIL, "--version");
}
void BM_start_printOnly(benchmark::State& state) {
    startProgram(state, VX_BENCH_PRINT_ONLY, nullptr);
}

} // namespace

BENCHMARK(BM_start_vxutilVersion)->UseRealTime()->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_start_printOnly)->UseRealTime()->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
