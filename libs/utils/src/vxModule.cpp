#include "vxModule.h"

#include "platform/modules.h"
#include "vxDirectory.h"
#include "vxFile.h"

namespace vx {

namespace {
// The size of the buffer the system call is given, terminating null included.
constexpr std::size_t kModuleNameBuffer = 256;
} // namespace

bool processIsRunning(unsigned long id) {
    return platform::processExists(id);
}

void* getModuleHandle(const string& name) {
    return platform::loadedModule(name);
}

bool getModuleFileName(void* module, file& out) {
    std::wstring name;
    if (!platform::moduleFileName(module, name))
        return false;
    if (name.size() >= kModuleNameBuffer)
        name.resize(kModuleNameBuffer - 1);
    out = file(string(name));
    return true;
}

bool getModuleFileName(const string& name, file& out) {
    void* module = getModuleHandle(name);
    return module && getModuleFileName(module, out);
}

bool getModulePath(void* module, directory& out) {
    file f;
    if (!getModuleFileName(module, f))
        return false;
    out = directory(f.path(0));
    return true;
}

bool getModulePath(const string& name, directory& out) {
    void* module = getModuleHandle(name);
    return module && getModulePath(module, out);
}

} // namespace vx
