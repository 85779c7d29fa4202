// Benchmarks of logging: a message that does not pass, the lookup of a logger whose name was
// resolved before, and a line that passes next to spdlog writing to a file sink flushed on every
// line.
//
// Names follow BM_<operation>_<implementation>; "vx" is the library, "spdlog" the neighbour. Both
// write into a folder of their own below /tmp, made and removed by the program. The library keeps
// its file open, appends each line with one write and looks at the open file once per line (is it
// full, has it been removed); spdlog keeps its file open and flushes after every line. Both
// survive a crash of the process.
#include "vxEnvironment.h"
#include "vxLogManager.h"
#include "vxLogger.h"

#include <benchmark/benchmark.h>
#include <spdlog/sinks/basic_file_sink.h>
#include <spdlog/spdlog.h>

#include <filesystem>
#include <fstream>
#include <string>

namespace {

namespace fs = std::filesystem;

// A home folder with a configuration that switches "bench" on at info; made once.
struct benchHome {
    fs::path path = fs::temp_directory_path() / ("vxLogBench." + std::to_string(vx::getCurrentProcessId()));
    benchHome() {
        fs::create_directories(path / "Velmora" / "bench");
        std::ofstream(path / "Velmora" / "bench" / "bench.logcfg")
            << "<logconfig><globals maxfilesize=\"50000000\"/><root enabled=\"true\" level=\"none\"/>"
               "<classes><bench enabled=\"true\" level=\"info\"/></classes></logconfig>";
        vxlog::resetLogStateForTesting(vx::string(L"C:") + vx::string::fromMBCtoWC(path.generic_string().c_str()));
        vxlog::logUtils::setModuleName(L"bench");
        vxlog::logManager::getInstance();
    }
    ~benchHome() {
        std::error_code ignored;
        fs::remove_all(path, ignored);
    }
};

benchHome& home() {
    static benchHome instance;
    return instance;
}

// A debug message to a logger at info: the checks and nothing else. The message is a prepared
// string, as a caller passing a wide literal would build one before the call.
void BM_droppedMessage_vx(benchmark::State& state) {
    home();
    const auto l = vxlog::logManager::getLogger("bench.dropped");
    const vx::string message = L"a message that does not pass";
    for (auto _ : state)
        l->log_debug(message, __FILE__, __LINE__, "BM_droppedMessage_vx");
}
BENCHMARK(BM_droppedMessage_vx);

void BM_droppedMessage_spdlog(benchmark::State& state) {
    auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>((home().path / "spdlog_dropped.log").string());
    spdlog::logger l("bench", sink);
    l.set_level(spdlog::level::info);
    for (auto _ : state)
        l.debug("a message that does not pass");
}
BENCHMARK(BM_droppedMessage_spdlog);

void BM_getLoggerResolved_vx(benchmark::State& state) {
    home();
    vxlog::logManager::getLogger("bench.io.reader");
    for (auto _ : state)
        benchmark::DoNotOptimize(vxlog::logManager::getLogger("bench.io.reader"));
}
BENCHMARK(BM_getLoggerResolved_vx);

void BM_linePasses_vx(benchmark::State& state) {
    home();
    const auto l = vxlog::logManager::getLogger("bench.line");
    const vx::string message = L"a line that passes, with a number 12345";
    for (auto _ : state)
        l->log_info(message, __FILE__, __LINE__, "BM_linePasses_vx");
}
BENCHMARK(BM_linePasses_vx);

void BM_linePasses_spdlog(benchmark::State& state) {
    auto sink = std::make_shared<spdlog::sinks::basic_file_sink_mt>((home().path / "spdlog_line.log").string());
    spdlog::logger l("bench", sink);
    l.set_level(spdlog::level::info);
    l.flush_on(spdlog::level::info);
    l.set_pattern("<%Y/%m/%d %H:%M:%S:%e> [PID %-6P] [TID %-6t] (%-5l) {%-38s, L %-5#, %-50!} - %v");
    for (auto _ : state)
        SPDLOG_LOGGER_INFO(&l, "a line that passes, with a number {}", 12345);
}
BENCHMARK(BM_linePasses_spdlog);

} // namespace

BENCHMARK_MAIN();
