// Benchmarks of compound documents next to plain stdio on the same bytes.
//
// Names follow BM_<operation>_<case>_<implementation>; the implementation part is "vx" for the
// library and "stdio" for the neighbour. The case is a document of 1000 blocks of one size. The
// neighbour writes (fwrite) or reads (fread) exactly the bytes of that document, in the same
// pieces, to or from a file of its own: the I/O that any writer of the format must do. Every
// benchmark checks once, before its loop, that both sides hold the same bytes; if not, it
// reports an error instead of a time.
//
// At the end the program prints each vx time as a ratio to its stdio neighbour: 1.0 would be the
// limit of plain I/O.
#include "vxBinaryBuffer.h"
#include "vxCompoundDoc.h"
#include "vxFile.h"

#include <benchmark/benchmark.h>

#include <cstdio>
#include <cstdlib>
#include <map>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

constexpr int kBlocks = 1000;

// A temporary directory for the run, removed at the end.
struct scratch {
    std::string native;
    vx::string windows;

    scratch() {
        const char* temporary = std::getenv("TMPDIR");
        std::string pattern = std::string(temporary ? temporary : "/tmp") + "/vxCdocBench.XXXXXX";
        if (!::mkdtemp(pattern.data()))
            return;
        native = pattern;
        std::wstring text = L"C:" + std::wstring(native.begin(), native.end());
        for (auto& c : text)
            c = c == L'/' ? L'\\' : c;
        windows = vx::string(text);
    }
    ~scratch() {
        for (const char* name : {"vx.doc", "stdio.bin"})
            ::unlink((native + "/" + name).c_str());
        if (!native.empty())
            ::rmdir(native.c_str());
    }
    std::string nativeFile(const char* name) const { return native + "/" + name; }
    vx::file file(const char* name) const {
        std::wstring n(name, name + std::char_traits<char>::length(name));
        return vx::file(vx::string(windows + L"\\" + n));
    }
};

const scratch& dir() {
    static const scratch s;
    return s;
}

// The blocks of one case: names and random contents.
struct blockSet {
    std::vector<std::string> names;
    std::vector<std::string> contents;
};

const blockSet& blocksOf(std::size_t size) {
    static std::map<std::size_t, blockSet> sets;
    blockSet& set = sets[size];
    if (set.names.empty()) {
        std::mt19937 random(static_cast<unsigned>(size));
        for (int i = 0; i < kBlocks; ++i) {
            set.names.push_back("block" + std::to_string(i));
            std::string content(size, '\0');
            for (auto& c : content)
                c = static_cast<char>(random());
            set.contents.push_back(std::move(content));
        }
    }
    return set;
}

void writeVx(const blockSet& set) {
    vx::compoundDocWriter writer(dir().file("vx.doc"));
    writer.create();
    for (std::size_t i = 0; i < set.names.size(); ++i)
        writer.write(set.names[i].c_str(), const_cast<char*>(set.contents[i].data()), set.contents[i].size());
    writer.close();
}

// The pieces stdio moves: the blocks, then the dictionary and trailer as one piece, so the
// file holds the very bytes of the document.
std::vector<std::string> piecesOf(const blockSet& set) {
    writeVx(set);
    std::vector<std::string> pieces = set.contents;
    std::string whole;
    if (std::FILE* in = std::fopen(dir().nativeFile("vx.doc").c_str(), "rb")) {
        char buffer[65536];
        for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, in)) > 0;)
            whole.append(buffer, n);
        std::fclose(in);
    }
    std::size_t data = 0;
    for (const auto& c : set.contents)
        data += c.size();
    pieces.push_back(whole.size() > data ? whole.substr(data) : std::string());
    return pieces;
}

// As the document's create does, the old file is removed first rather than truncated, so both
// sides pay the same for giving back the old file's pages.
bool writeStdio(const std::vector<std::string>& pieces) {
    ::unlink(dir().nativeFile("stdio.bin").c_str());
    std::FILE* out = std::fopen(dir().nativeFile("stdio.bin").c_str(), "wb");
    if (!out)
        return false;
    bool ok = true;
    for (const auto& p : pieces)
        ok = std::fwrite(p.data(), 1, p.size(), out) == p.size() && ok;
    return std::fclose(out) == 0 && ok;
}

std::string fileBytes(const std::string& native) {
    std::string bytes;
    if (std::FILE* in = std::fopen(native.c_str(), "rb")) {
        char buffer[65536];
        for (std::size_t n; (n = std::fread(buffer, 1, sizeof buffer, in)) > 0;)
            bytes.append(buffer, n);
        std::fclose(in);
    }
    return bytes;
}

std::int64_t documentBytes(const std::vector<std::string>& pieces) {
    std::int64_t n = 0;
    for (const auto& p : pieces)
        n += static_cast<std::int64_t>(p.size());
    return n;
}

void BM_write_vx(benchmark::State& state) {
    const blockSet& set = blocksOf(static_cast<std::size_t>(state.range(0)));
    const std::vector<std::string> pieces = piecesOf(set);
    if (!writeStdio(pieces) || fileBytes(dir().nativeFile("vx.doc")) != fileBytes(dir().nativeFile("stdio.bin"))) {
        state.SkipWithError("the document and the plain file differ");
        return;
    }
    for (auto _ : state)
        writeVx(set);
    state.SetBytesProcessed(state.iterations() * documentBytes(pieces));
}

void BM_write_stdio(benchmark::State& state) {
    const std::vector<std::string> pieces = piecesOf(blocksOf(static_cast<std::size_t>(state.range(0))));
    if (!writeStdio(pieces) || fileBytes(dir().nativeFile("vx.doc")) != fileBytes(dir().nativeFile("stdio.bin"))) {
        state.SkipWithError("the document and the plain file differ");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(writeStdio(pieces));
    state.SetBytesProcessed(state.iterations() * documentBytes(pieces));
}

// Opens the document and reads every block; answers the bytes read.
std::size_t readVx(const blockSet& set, vx::binaryBuffer& block) {
    vx::compoundDocReader reader(dir().file("vx.doc"));
    reader.open();
    std::size_t total = 0;
    for (const auto& name : set.names) {
        if (!reader.read(name.c_str(), block))
            return 0;
        total += block.logicalLength();
    }
    return total;
}

// Reads the plain file in the same pieces, the dictionary last, into one reused buffer.
std::size_t readStdio(const std::vector<std::string>& pieces, std::vector<char>& buffer) {
    std::FILE* in = std::fopen(dir().nativeFile("stdio.bin").c_str(), "rb");
    if (!in)
        return 0;
    std::size_t total = 0;
    for (const auto& p : pieces)
        total += std::fread(buffer.data(), 1, p.size(), in);
    std::fclose(in);
    return total;
}

void BM_read_vx(benchmark::State& state) {
    const blockSet& set = blocksOf(static_cast<std::size_t>(state.range(0)));
    const std::vector<std::string> pieces = piecesOf(set);
    vx::binaryBuffer block;
    bool same = true;
    {
        vx::compoundDocReader reader(dir().file("vx.doc"));
        reader.open();
        for (std::size_t i = 0; i < set.names.size() && same; ++i)
            same = reader.read(set.names[i].c_str(), block) &&
                   std::string(block.data(), block.logicalLength()) == set.contents[i];
    }
    if (!same) {
        state.SkipWithError("the document does not read back its blocks");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(readVx(set, block));
    state.SetBytesProcessed(state.iterations() * documentBytes(pieces));
}

void BM_read_stdio(benchmark::State& state) {
    const std::vector<std::string> pieces = piecesOf(blocksOf(static_cast<std::size_t>(state.range(0))));
    std::vector<char> buffer(65536 + static_cast<std::size_t>(state.range(0)));
    if (!writeStdio(pieces) || readStdio(pieces, buffer) != static_cast<std::size_t>(documentBytes(pieces))) {
        state.SkipWithError("the plain file does not read back");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(readStdio(pieces, buffer));
    state.SetBytesProcessed(state.iterations() * documentBytes(pieces));
}

// 1000 blocks of 256 bytes, of 4 KiB and of 64 KiB.
BENCHMARK(BM_write_vx)->Arg(64)->Arg(256)->Arg(4096)->Arg(65536)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_write_stdio)->Arg(64)->Arg(256)->Arg(4096)->Arg(65536)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_read_vx)->Arg(64)->Arg(256)->Arg(4096)->Arg(65536)->Unit(benchmark::kMicrosecond);
BENCHMARK(BM_read_stdio)->Arg(64)->Arg(256)->Arg(4096)->Arg(65536)->Unit(benchmark::kMicrosecond);

// The console output, and at the end each vx time as a ratio to its stdio neighbour.
class ratioReporter : public benchmark::ConsoleReporter {
public:
    void ReportRuns(const std::vector<Run>& runs) override {
        ConsoleReporter::ReportRuns(runs);
        for (const Run& run : runs)
            if (!run.error_occurred && run.run_type == Run::RT_Iteration)
                mTimes[run.benchmark_name()] = run.GetAdjustedRealTime();
    }
    void Finalize() override {
        ConsoleReporter::Finalize();
        std::printf("\nvx time / plain stdio time (1.00 is the limit of plain I/O):\n");
        for (const auto& [name, time] : mTimes) {
            const std::string::size_type at = name.find("_vx/");
            if (at == std::string::npos)
                continue;
            const std::string neighbour = name.substr(0, at) + "_stdio/" + name.substr(at + 4);
            const auto it = mTimes.find(neighbour);
            if (it != mTimes.end() && it->second > 0)
                std::printf("  %-28s %6.2f\n", name.c_str(), time / it->second);
        }
    }

private:
    std::map<std::string, double> mTimes;
};

} // namespace

int main(int argc, char** argv) {
    benchmark::Initialize(&argc, argv);
    if (benchmark::ReportUnrecognizedArguments(argc, argv))
        return 1;
    if (dir().native.empty()) {
        std::fprintf(stderr, "no temporary directory\n");
        return 1;
    }
    ratioReporter reporter;
    benchmark::RunSpecifiedBenchmarks(&reporter);
    benchmark::Shutdown();
    return 0;
}
