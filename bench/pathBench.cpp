// Benchmarks of path names and file checksums next to their standard-library and zlib neighbours.
//
// Names follow BM_<operation>_<case>_<implementation>; the implementation part starts with "vx"
// for the library and with "std" or "zlib" for the neighbour. Every comparison benchmark checks
// once, before its loop, that it gives the same result as the vx operation on the same input; if
// not, it reports an error instead of a time.
//
// The path neighbour is std::filesystem on the POSIX spelling of the same path. The library
// works on Windows-form text ("C:\a\b"), so the check compares after turning '/' into '\' and
// putting the drive in front.
#include "vxFile.h"
#include "vxFsEntryName.h"

#include <benchmark/benchmark.h>
#include <zlib.h>

#include <algorithm>
#include <cstdio>
#include <cstdlib>
#include <cwctype>
#include <filesystem>
#include <memory>
#include <random>
#include <string>
#include <unistd.h>
#include <vector>

namespace {

namespace fs = std::filesystem;

// --- data ------------------------------------------------------------------------------------------

struct pathCase {
    std::wstring windows; // what vx::fsEntryName::setName is given
    std::string posix;    // the same path as std::filesystem spells it
};

const pathCase& dotsPath() {
    static const pathCase c{L"C:\\Projects\\Site 12\\plans\\..\\docs\\.\\report_final.docx",
                            "/Projects/Site 12/plans/../docs/./report_final.docx"};
    return c;
}

const pathCase& slashesPath() {
    static const pathCase c{L"C:/Users/anna/AppData//Local/vx//config.xml",
                            "/Users/anna/AppData//Local/vx//config.xml"};
    return c;
}

// About 300 characters, eighteen levels, with one ".." near the end.
const pathCase& deepPath() {
    static const pathCase c = [] {
        pathCase p{L"C:", ""};
        for (int i = 0; i < 18; ++i) {
            const std::string part = "level" + std::to_string(i) + "_component";
            p.windows += L"\\" + std::wstring(part.begin(), part.end());
            p.posix += "/" + part;
        }
        p.windows += L"\\..\\result.dat";
        p.posix += "/../result.dat";
        return p;
    }();
    return c;
}

std::wstring windowsForm(const std::string& posix) {
    std::wstring text = L"C:" + std::wstring(posix.begin(), posix.end());
    std::replace(text.begin(), text.end(), L'/', L'\\');
    return text;
}

std::wstring lower(std::wstring text) {
    for (wchar_t& c : text)
        c = static_cast<wchar_t>(std::towlower(c));
    return text;
}

// --- setName ------------------------------------------------------------------------------------------

void BM_setName_vx(benchmark::State& state, const pathCase& (*data)()) {
    const vx::string text = data().windows;
    vx::fsEntryName name;
    for (auto _ : state) {
        name.setName(text, false);
        benchmark::DoNotOptimize(name.c_str());
    }
}

void BM_setName_stdLexicallyNormal(benchmark::State& state, const pathCase& (*data)()) {
    vx::fsEntryName expected;
    expected.setName(data().windows, false);
    if (windowsForm(fs::path(data().posix).lexically_normal().string()) != expected.text()) {
        state.SkipWithError("lexically_normal and vx::fsEntryName::setName disagree");
        return;
    }
    for (auto _ : state) {
        fs::path p = fs::path(data().posix).lexically_normal();
        benchmark::DoNotOptimize(p.c_str());
    }
}

BENCHMARK_CAPTURE(BM_setName_vx, dots, dotsPath);
BENCHMARK_CAPTURE(BM_setName_stdLexicallyNormal, dots, dotsPath);
BENCHMARK_CAPTURE(BM_setName_vx, slashes, slashesPath);
BENCHMARK_CAPTURE(BM_setName_stdLexicallyNormal, slashes, slashesPath);
BENCHMARK_CAPTURE(BM_setName_vx, deep300Chars, deepPath);
BENCHMARK_CAPTURE(BM_setName_stdLexicallyNormal, deep300Chars, deepPath);

// --- relativeNameTo --------------------------------------------------------------------------------------

struct relativeCase {
    pathCase target, base; // base as a directory, with its trailing delimiter in Windows form
    const char* prefix;    // what vx puts before std's result: ".\" at level 0
};

const relativeCase& belowBase() {
    static const relativeCase c{{L"C:\\Projects\\Site 12\\Docs\\Report.docx", "/Projects/Site 12/Docs/Report.docx"},
                                {L"C:\\Projects\\Site 12\\", "/Projects/Site 12"},
                                ".\\"};
    return c;
}

const relativeCase& twoLevelsUp() {
    static const relativeCase c{{L"C:\\Projects\\Site 12\\Docs\\Report.docx", "/Projects/Site 12/Docs/Report.docx"},
                                {L"C:\\Projects\\Site 12\\Plans\\Draft\\", "/Projects/Site 12/Plans/Draft"},
                                ""};
    return c;
}

void BM_relativeNameTo_vx(benchmark::State& state, const relativeCase& (*data)()) {
    vx::fsEntryName target, base;
    target.setName(data().target.windows, false);
    base.setName(data().base.windows, true);
    for (auto _ : state) {
        vx::string relative = target.relativeNameTo(base);
        benchmark::DoNotOptimize(relative.data());
    }
}

// The library's result is in lower case, so the neighbour folds case too.
void BM_relativeNameTo_stdLexicallyRelative(benchmark::State& state, const relativeCase& (*data)()) {
    vx::fsEntryName target, base;
    target.setName(data().target.windows, false);
    base.setName(data().base.windows, true);
    const auto stdRelative = [&] {
        const fs::path t(data().target.posix), b(data().base.posix);
        return fs::path(lower(t.wstring())).lexically_relative(fs::path(lower(b.wstring())));
    };
    std::wstring neighbour = stdRelative().wstring();
    std::replace(neighbour.begin(), neighbour.end(), L'/', L'\\');
    const std::string prefix = data().prefix;
    if (std::wstring(prefix.begin(), prefix.end()) + neighbour != target.relativeNameTo(base)) {
        state.SkipWithError("lexically_relative and vx::fsEntryName::relativeNameTo disagree");
        return;
    }
    for (auto _ : state) {
        fs::path p = stdRelative();
        benchmark::DoNotOptimize(p.c_str());
    }
}

BENCHMARK_CAPTURE(BM_relativeNameTo_vx, belowBase, belowBase);
BENCHMARK_CAPTURE(BM_relativeNameTo_stdLexicallyRelative, belowBase, belowBase);
BENCHMARK_CAPTURE(BM_relativeNameTo_vx, twoLevelsUp, twoLevelsUp);
BENCHMARK_CAPTURE(BM_relativeNameTo_stdLexicallyRelative, twoLevelsUp, twoLevelsUp);

// --- getCrc32 on a 64 MiB file ------------------------------------------------------------------------------

constexpr std::size_t kCrcFileSize = 64u << 20;
constexpr std::size_t kReadBlock = 524288;

// A temporary file of random bytes, made on first use and removed when the program ends.
struct crcFile {
    std::string directory, native;
    std::vector<unsigned char> bytes;
    bool ok = false;

    crcFile() {
        std::string pattern = (std::getenv("TMPDIR") ? std::getenv("TMPDIR") : "/tmp") + std::string("/vxPathBench.XXXXXX");
        if (!::mkdtemp(pattern.data()))
            return;
        directory = pattern;
        native = directory + "/random.bin";
        bytes.resize(kCrcFileSize);
        std::mt19937_64 generator(20240601);
        for (std::size_t i = 0; i < bytes.size(); i += 8) {
            const auto value = generator();
            std::copy_n(reinterpret_cast<const unsigned char*>(&value), 8, bytes.data() + i);
        }
        std::FILE* out = std::fopen(native.c_str(), "wb");
        ok = out && std::fwrite(bytes.data(), 1, bytes.size(), out) == bytes.size();
        ok = out && std::fclose(out) == 0 && ok;
    }
    ~crcFile() {
        if (!native.empty())
            std::remove(native.c_str());
        if (!directory.empty())
            ::rmdir(directory.c_str());
    }
    vx::file asFile() const { return vx::file(windowsForm(native)); }
};

const crcFile& theCrcFile() {
    static const crcFile f;
    return f;
}

unsigned long zlibCrcOfFile(const std::string& native, bool& ok) {
    std::unique_ptr<unsigned char[]> buffer(new unsigned char[kReadBlock]);
    std::FILE* in = std::fopen(native.c_str(), "rb");
    ok = in != nullptr;
    uLong crc = crc32(0L, Z_NULL, 0);
    if (!in)
        return crc;
    for (std::size_t n; (n = std::fread(buffer.get(), 1, kReadBlock, in)) > 0;)
        crc = crc32(crc, buffer.get(), static_cast<uInt>(n));
    std::fclose(in);
    return crc;
}

void BM_crc32_64MiBFile_vxGetCrc32(benchmark::State& state) {
    const crcFile& data = theCrcFile();
    vx::file f = data.asFile();
    unsigned long crc = 0;
    if (!data.ok || !f.getCrc32(crc)) {
        state.SkipWithError("the temporary file could not be made or read");
        return;
    }
    for (auto _ : state) {
        f.getCrc32(crc);
        benchmark::DoNotOptimize(crc);
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kCrcFileSize));
}

// The same work: read the file in blocks of the same size and feed zlib's crc32.
void BM_crc32_64MiBFile_zlibReadAndCrc32(benchmark::State& state) {
    const crcFile& data = theCrcFile();
    vx::file f = data.asFile();
    unsigned long expected = 0;
    bool ok = false;
    if (!data.ok || !f.getCrc32(expected) || zlibCrcOfFile(data.native, ok) != expected || !ok) {
        state.SkipWithError("zlib's crc32 and vx::file::getCrc32 disagree");
        return;
    }
    for (auto _ : state) {
        benchmark::DoNotOptimize(zlibCrcOfFile(data.native, ok));
    }
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kCrcFileSize));
}

// zlib on bytes already in memory: the checksum alone, without reading.
void BM_crc32_64MiBInMemory_zlibCrc32(benchmark::State& state) {
    const crcFile& data = theCrcFile();
    vx::file f = data.asFile();
    unsigned long expected = 0;
    const auto compute = [&] {
        return crc32(crc32(0L, Z_NULL, 0), data.bytes.data(), static_cast<uInt>(data.bytes.size()));
    };
    if (!data.ok || !f.getCrc32(expected) || compute() != expected) {
        state.SkipWithError("zlib's crc32 and vx::file::getCrc32 disagree");
        return;
    }
    for (auto _ : state)
        benchmark::DoNotOptimize(compute());
    state.SetBytesProcessed(static_cast<int64_t>(state.iterations()) * static_cast<int64_t>(kCrcFileSize));
}

BENCHMARK(BM_crc32_64MiBFile_vxGetCrc32)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_crc32_64MiBFile_zlibReadAndCrc32)->Unit(benchmark::kMillisecond);
BENCHMARK(BM_crc32_64MiBInMemory_zlibCrc32)->Unit(benchmark::kMillisecond);

} // namespace

BENCHMARK_MAIN();
