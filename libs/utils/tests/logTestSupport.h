// A home folder of its own for a logging test, with the process-wide logging state reset.
#pragma once

#include "testSupport.h"
#include "vxEnvironment.h"
#include "vxLogManager.h"

#include <sstream>
#include <string>
#include <vector>

namespace vxtest {

// The text of a ".logcfg".
inline std::string logConfig(const std::string& root, const std::string& classes = "",
                             const std::string& globals = "") {
    return "<?xml version=\"1.0\" encoding=\"UTF-8\"?>\n<logconfig>\n  <globals " + globals + "/>\n  <root " + root +
           "/>\n  <classes>" + classes + "</classes>\n</logconfig>\n";
}

class logHome {
public:
    static constexpr const char* kModule = "vxLogTest";

    // With a configuration, the module's ".logcfg" holds it; with none, there is none.
    explicit logHome(const std::string& config = "") : mEnvironment("HOME", mHome.path()) {
        vxlog::resetLogStateForTesting(mHome.windowsForm());
        vxlog::logUtils::setModuleName(L"vxLogTest");
        if (!config.empty())
            mHome.makeFile(appDir() + "/" + kModule + ".logcfg", config);
    }
    ~logHome() { vxlog::resetLogStateForTesting(L""); }
    logHome(const logHome&) = delete;
    logHome& operator=(const logHome&) = delete;

    const tempDir& home() const { return mHome; }
    static std::string appDir() { return std::string("Velmora/") + kModule; }
    static std::string processDir() { return appDir() + "/" + std::to_string(vx::getCurrentProcessId()); }
    static std::string logFile(unsigned index) {
        return processDir() + "/" + kModule + "_" + std::to_string(index) + ".log";
    }
    // The lines of a log file, without their line ends.
    std::vector<std::string> lines(unsigned index) const {
        std::vector<std::string> out;
        std::istringstream in(mHome.read(logFile(index)));
        if (in.str() == "<missing>")
            return out;
        for (std::string line; std::getline(in, line);)
            out.push_back(line);
        return out;
    }

private:
    tempDir mHome;
    scopedEnvironment mEnvironment;
};

} // namespace vxtest
