// Log configurations: any bytes as a module's ".logcfg" start the log manager without a crash, a
// hang or a leak; loggers are asked for and lines written, into a ring that is emptied each time.
#include <vxEnvironment.h>
#include <vxLogManager.h>
#include <vxLogger.h>

#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>

namespace {

void check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "failed: %s\n", what);
        std::abort();
    }
}

// A home folder of the fuzzer's own, made once and removed when the program ends.
struct fuzzHome {
    std::filesystem::path path =
        std::filesystem::temp_directory_path() / ("vxFuzzLog." + std::to_string(vx::getCurrentProcessId()));
    fuzzHome() { std::filesystem::create_directories(path / "Velmora" / "fuzz"); }
    ~fuzzHome() {
        std::error_code ignored;
        std::filesystem::remove_all(path, ignored);
    }
};

const std::filesystem::path& home() {
    static const fuzzHome instance;
    return instance.path;
}

} // namespace

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    const std::filesystem::path app = home() / "Velmora" / "fuzz";
    std::error_code ignored;
    std::filesystem::remove_all(app / std::to_string(vx::getCurrentProcessId()), ignored);
    {
        std::ofstream out(app / "fuzz.logcfg", std::ios::binary | std::ios::trunc);
        out.write(reinterpret_cast<const char*>(data), static_cast<std::streamsize>(size));
    }
    vxlog::resetLogStateForTesting(vx::string(L"C:") + vx::string::fromMBCtoWC(home().generic_string().c_str()));
    vxlog::logUtils::setModuleName(L"fuzz");

    const char* names[] = {"app", "app.io.reader", "Gui::Dialog", "root", ""};
    for (const char* name : names) {
        const vx::refPtr<vxlog::logger> l = vxlog::logManager::getLogger(name);
        check(l, "a logger for every name");
        l->log_ui(L"a line < with [brackets] and _sbb_ %d %s", "fuzz.cpp", 42, "context");
    }
    const auto manager = vxlog::logManager::getInstance();
    const auto settings = vxlog::logSettings::getInstance();
    check(settings->maxFileCount() >= 1 && settings->maxFileCount() <= 1000, "a ring of 1 to 1000 files");
    check(settings->currentIndex() >= 1 && settings->currentIndex() <= settings->maxFileCount(), "an index in the ring");
    check(!manager->isActive() || manager->getRootLogger(), "active only with a root logger");
    return 0;
}
