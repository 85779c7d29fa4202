// Runs the test program itself once more, as the other process of a test across processes.
#pragma once

#include <vxFile.h>
#include <vxModule.h>

#include <cstdlib>
#include <string>

namespace vxtest {

// Runs this program with the caller's environment (which tells it its part), its standard output
// discarded, and answers its exit status (-1 when its path cannot be had).
inline int runThisProgram() {
    vx::file self;
    vx::getModuleFileName(nullptr, self);
    vx::nativePathText native;
    if (!self.nativePath(native))
        return -1;
#ifdef _WIN32
    const std::wstring command = L"\"\"" + native + L"\" >NUL\"";
    return _wsystem(command.c_str());
#else
    const std::string command = "'" + native + "' >/dev/null";
    return std::system(command.c_str());
#endif
}

} // namespace vxtest
