// Loading language files next to reading the same lines with std::getline into a map.
//
// Names follow BM_load_<case>_<implementation>; the implementation is "vx" for vx::locFile (the
// first lookup, which loads the file) and "getline" for the neighbour: std::ifstream and
// std::getline, each line's first word the key of a std::map<std::string, std::string>, the rest
// its value; no encodings, commands or includes. The cases are files of 20 MB: ordinary entries
// ("ID_MESSAGE_0000001 This is message number 1 of the application;"), one long line, and one
// value continued over all lines (which the library refuses once it passes its length limit).
// Each benchmark reports bytes per second and, as peakPerFileSize, the growth of the peak
// resident memory of a child process that loads the file once, divided by the file's size.
#include "vxLocFile.h"
#include "vxLocMessage.h"

#include "peakMemory.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <fstream>
#include <map>
#include <string>
#include <unistd.h>

namespace {

constexpr std::size_t kFileSize = 20u << 20;

enum fileCase { entries, oneLongLine, continuedLines };

// The files of the run in a temporary directory, removed at the end.
struct scratch {
    std::string folder;
    std::string names[3];

    scratch() {
        const char* temporary = std::getenv("TMPDIR");
        folder = std::string(temporary ? temporary : "/tmp") + "/vxLocBench.XXXXXX";
        if (!::mkdtemp(folder.data()))
            std::abort();
        const char* stems[] = {"entries.loc", "long.loc", "continued.loc"};
        for (int c = 0; c < 3; ++c) {
            names[c] = folder + "/" + stems[c];
            std::ofstream out(names[c], std::ios::binary);
            std::string content;
            if (c == oneLongLine) {
                content = "Key " + std::string(kFileSize - 5, 'x') + "\n";
            } else {
                char line[96];
                for (std::size_t i = 0; content.size() < kFileSize; ++i) {
                    if (c == entries)
                        std::snprintf(line, sizeof line, "ID_MESSAGE_%07zu This is message number %zu of the application;\n", i, i);
                    else
                        std::snprintf(line, sizeof line, "%s continued text of the value \\\n", i == 0 ? "Key" : "");
                    content += line;
                }
            }
            out << content;
        }
    }
    ~scratch() {
        for (const std::string& name : names)
            std::remove(name.c_str());
        ::rmdir(folder.c_str());
    }
};

const scratch& files() {
    static const scratch made;
    return made;
}

// The path in the Windows form the library takes: the drive C: is the root.
std::wstring windowsName(const std::string& native) {
    std::wstring name = L"C:";
    for (const char c : native)
        name += c == '/' ? L'\\' : static_cast<wchar_t>(c);
    return name;
}

void loadVx(const std::string& native) {
    const vx::locFile f(windowsName(native).c_str());
    vx::locMessage message;
    benchmark::DoNotOptimize(f.getMessage(L"Absent", message));
}

void loadGetline(const std::string& native) {
    std::ifstream in(native, std::ios::binary);
    std::map<std::string, std::string> messages;
    for (std::string line; std::getline(in, line);) {
        const std::size_t blank = line.find(' ');
        if (blank != std::string::npos)
            messages.emplace(line.substr(0, blank), line.substr(blank + 1));
    }
    benchmark::DoNotOptimize(messages.size());
}

template <void (*load)(const std::string&)>
void BM_load(benchmark::State& state) {
    const std::string& name = files().names[state.range(0)];
    state.counters["peakPerFileSize"] =
        vxbench::peakGrowth([] {}, [&] { load(name); }) / (static_cast<double>(kFileSize) / (1 << 20));
    for (auto _ : state)
        load(name);
    state.SetBytesProcessed(static_cast<std::int64_t>(state.iterations()) * static_cast<std::int64_t>(kFileSize));
}

void BM_load_vx(benchmark::State& state) { BM_load<loadVx>(state); }
void BM_load_getline(benchmark::State& state) { BM_load<loadGetline>(state); }

void cases(benchmark::internal::Benchmark* b) {
    b->ArgNames({"case"})->Arg(entries)->Arg(oneLongLine)->Arg(continuedLines)->Unit(benchmark::kMillisecond);
}

BENCHMARK(BM_load_vx)->Apply(cases);
BENCHMARK(BM_load_getline)->Apply(cases);

} // namespace

BENCHMARK_MAIN();
