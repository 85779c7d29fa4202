// The child of the process tests: vxProcessChild REPORT CODE SLEEP [ARGUMENT...]
//
// Writes to the file REPORT (a native path), in UTF-8, one line per fact: each of its arguments as it
// received them ("arg:"), its current directory in Windows form ("cwd:"), two environment variables
// ("env:"), its scheduling level ("nice:" on POSIX systems, "class:" with the priority class in
// hexadecimal on Windows) and "end". Then it sleeps SLEEP milliseconds and ends with the exit code CODE.
#include <vxDirectory.h>
#include <vxEnvironment.h>

#include <chrono>
#include <cstdio>
#include <cstdlib>
#include <filesystem>
#include <fstream>
#include <string>
#include <thread>
#ifdef _WIN32
#  define WIN32_LEAN_AND_MEAN
#  include <windows.h>
#else
#  include <sys/resource.h>
#endif

namespace {

std::string variable(const wchar_t* name) {
    vx::string value;
    return vx::getEnvironmentVariable(name, value) ? value.getMBCS() : "<unset>";
}

} // namespace

int main(int argc, char** argv) {
    const std::vector<vx::string> arguments = vx::programArguments(argc, argv);
    if (arguments.size() < 3)
        return 100;
    std::string report;
    for (const vx::string& argument : arguments)
        report += "arg:" + argument.getMBCS() + "\n";
    report += "cwd:" + vx::directory(L".").fullName().getMBCS() + "\n";
    report += "env:" + variable(L"VX_CHILD_VALUE") + "|" + variable(L"VX_CHILD_INHERITED") + "\n";
#ifdef _WIN32
    char level[32];
    std::snprintf(level, sizeof level, "class:%lx\n", static_cast<unsigned long>(GetPriorityClass(GetCurrentProcess())));
    report += level;
#else
    report += "nice:" + std::to_string(getpriority(PRIO_PROCESS, 0)) + "\n";
#endif
    report += "end\n";
    {
        // Written beside and renamed, so that a reader never sees half a report.
        const std::filesystem::path target(static_cast<const std::wstring&>(arguments[0]));
        std::filesystem::path partial = target;
        partial += ".part";
        std::ofstream out(partial, std::ios::binary);
        out << report;
        out.close();
        std::error_code ignored;
        std::filesystem::rename(partial, target, ignored);
    }
    std::this_thread::sleep_for(std::chrono::milliseconds(std::atol(arguments[2].getMBCS().c_str())));
    return std::atoi(arguments[1].getMBCS().c_str());
}
