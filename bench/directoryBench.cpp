// Benchmarks of directory walks next to their std::filesystem neighbours.
//
// Names follow BM_<operation>_<case>_<implementation>; the implementation part starts with "vx"
// for the library and with "std" for the neighbour. Every benchmark checks once, before its loop,
// that it finds the files the tree holds; if not, it reports an error instead of a time.
//
// The walks differ in what they do per entry, and that is part of what is measured: the library
// examines every entry it reports (its attributes decide about masks and links, and an entry that
// vanished is not reported), sorts each directory's names without regard to case, and names each
// file in Windows form; recursive_directory_iterator hands out native paths in the order the
// system gives them and examines nothing. The "Examined" variant adds one stat per entry to it.
#include "vxDirectory.h"

#include <benchmark/benchmark.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <system_error>

namespace {

namespace fs = std::filesystem;

// 10 directories with 10 sub-directories each, with 100 files in each sub-directory.
constexpr int kTop = 10;
constexpr int kSub = 10;
constexpr int kFilesPerDirectory = 100;
constexpr long kTreeFiles = long(kTop) * kSub * kFilesPerDirectory;

vx::string windowsForm(const std::string& native) {
    std::wstring text = L"C:" + std::wstring(native.begin(), native.end());
    std::replace(text.begin(), text.end(), L'/', L'\\');
    return vx::string(text);
}

// The tree, made on first use in a new temporary directory and removed when the program ends.
struct tree {
    std::string root;
    bool ok = false;

    tree() {
        const char* temporary = std::getenv("TMPDIR");
        std::string pattern = std::string(temporary ? temporary : "/tmp") + "/vxDirBench.XXXXXX";
        if (!::mkdtemp(pattern.data()))
            return;
        std::error_code error;
        root = fs::canonical(pattern, error).string();
        ok = !error;
        for (int t = 0; ok && t < kTop; ++t)
            for (int s = 0; ok && s < kSub; ++s) {
                const std::string dir = root + "/dir" + std::to_string(t) + "/sub" + std::to_string(s);
                ok = fs::create_directories(dir, error) && !error;
                for (int f = 0; ok && f < kFilesPerDirectory; ++f) {
                    std::FILE* out = std::fopen((dir + "/file" + std::to_string(f) + ".dat").c_str(), "wb");
                    ok = out && std::fclose(out) == 0;
                }
            }
    }
    ~tree() {
        std::error_code ignored;
        if (!root.empty())
            fs::remove_all(root, ignored);
    }
};

const tree& theTree() {
    static const tree t;
    return t;
}

long vxWalk(const vx::directory& base) {
    long count = 0;
    for (vx::recursiveFileIterator it(base, L"*.*", 0, L"*.*", 0);; it.next()) {
        const vx::file& current = it;
        if (current.fullName().empty())
            break;
        benchmark::DoNotOptimize(current.fullName().data());
        ++count;
    }
    return count;
}

// With examine true every entry is examined anew (a stat), as the library examines every entry
// it reports.
long stdWalk(const std::string& root, bool examine = false) {
    long count = 0;
    for (fs::directory_entry entry : fs::recursive_directory_iterator(root)) {
        if (examine)
            entry.refresh();
        if (entry.is_regular_file()) {
            benchmark::DoNotOptimize(entry.path().native().data());
            ++count;
        }
    }
    return count;
}

void BM_walk_tree10kFiles_vxRecursiveFileIterator(benchmark::State& state) {
    const tree& t = theTree();
    const vx::directory base(windowsForm(t.root));
    if (!t.ok || vxWalk(base) != kTreeFiles) {
        state.SkipWithError("the tree could not be made, or the walk missed files");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(vxWalk(base));
    state.SetItemsProcessed(state.iterations() * kTreeFiles);
}

void BM_walk_tree10kFiles_stdRecursiveDirectoryIterator(benchmark::State& state) {
    const tree& t = theTree();
    if (!t.ok || stdWalk(t.root) != kTreeFiles) {
        state.SkipWithError("the tree could not be made, or the walk missed files");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(stdWalk(t.root));
    state.SetItemsProcessed(state.iterations() * kTreeFiles);
}

void BM_walk_tree10kFiles_stdRecursiveDirectoryIteratorExamined(benchmark::State& state) {
    const tree& t = theTree();
    if (!t.ok || stdWalk(t.root, true) != kTreeFiles) {
        state.SkipWithError("the tree could not be made, or the walk missed files");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(stdWalk(t.root, true));
    state.SetItemsProcessed(state.iterations() * kTreeFiles);
}

// One directory of 100 files: the cost of a level alone.
void BM_list_oneDirectory_vxFileIterator(benchmark::State& state) {
    const tree& t = theTree();
    const vx::directory base(windowsForm(t.root + "/dir0/sub0"));
    if (!t.ok || base.numberOfFiles(L"*.*", 0) != kFilesPerDirectory) {
        state.SkipWithError("the tree could not be made, or the listing missed files");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(base.numberOfFiles(L"*.*", 0));
    state.SetItemsProcessed(state.iterations() * kFilesPerDirectory);
}

// With examine true every entry is examined anew (a stat), as stdWalk does.
void listWithStd(benchmark::State& state, bool examine) {
    const tree& t = theTree();
    const std::string dir = t.root + "/dir0/sub0";
    const auto count = [&] {
        long n = 0;
        for (fs::directory_entry entry : fs::directory_iterator(dir)) {
            if (examine)
                entry.refresh();
            n += entry.is_regular_file() ? 1 : 0;
        }
        return n;
    };
    if (!t.ok || count() != kFilesPerDirectory) {
        state.SkipWithError("the tree could not be made, or the listing missed files");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(count());
    state.SetItemsProcessed(state.iterations() * kFilesPerDirectory);
}

void BM_list_oneDirectory_stdDirectoryIterator(benchmark::State& state) {
    listWithStd(state, false);
}
void BM_list_oneDirectory_stdDirectoryIteratorExamined(benchmark::State& state) {
    listWithStd(state, true);
}

} // namespace

BENCHMARK(BM_walk_tree10kFiles_vxRecursiveFileIterator)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_walk_tree10kFiles_stdRecursiveDirectoryIterator)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_walk_tree10kFiles_stdRecursiveDirectoryIteratorExamined)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_list_oneDirectory_vxFileIterator)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_list_oneDirectory_stdDirectoryIterator)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_list_oneDirectory_stdDirectoryIteratorExamined)->Unit(benchmark::kMicrosecond);

BENCHMARK_MAIN();
