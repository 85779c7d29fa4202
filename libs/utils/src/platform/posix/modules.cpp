// Processes and modules on POSIX systems: /proc and the dynamic linker.
#include "platform/modules.h"
#include "platform/text.h"
#include "platform/paths.h"
#include "platform/posix/posixShared.h"

#include <cctype>
#include <climits>
#include <cstdio>
#include <cstring>
#include <dlfcn.h>
#include <link.h>
#include <string>
#include <unistd.h>

namespace vx::platform {

namespace {

// The dynamic linker's record of the executable, the head of its list of loaded modules.
link_map* executableRecord() {
    link_map* map = nullptr;
    void* self = ::dlopen(nullptr, RTLD_LAZY | RTLD_NOLOAD);
    if (self) {
        ::dlinfo(self, RTLD_DI_LINKMAP, &map);
        ::dlclose(self);
    }
    return map;
}

std::string baseName(const char* path) {
    const char* slash = std::strrchr(path, '/');
    return slash ? slash + 1 : path;
}

bool equalsIgnoringCase(const std::string& a, const std::string& b) {
    if (a.size() != b.size())
        return false;
    for (std::size_t i = 0; i < a.size(); ++i)
        if (std::tolower(static_cast<unsigned char>(a[i])) != std::tolower(static_cast<unsigned char>(b[i])))
            return false;
    return true;
}

// "vxUtils", "libvxUtils", "libvxUtils.so" and "libvxUtils.so.0" all name libvxUtils.so.0.
bool namesModule(const std::string& wanted, const std::string& file) {
    if (equalsIgnoringCase(wanted, file))
        return true;
    for (const std::string& candidate : {wanted, "lib" + wanted}) {
        const bool hasSuffix =
            candidate.size() > 3 && equalsIgnoringCase(candidate.substr(candidate.size() - 3), ".so");
        const std::string stem = hasSuffix ? candidate : candidate + ".so";
        if (file.size() >= stem.size() && equalsIgnoringCase(file.substr(0, stem.size()), stem) &&
            (file.size() == stem.size() || file[stem.size()] == '.'))
            return true;
    }
    return false;
}

bool executablePath(std::string& path) {
    char buffer[PATH_MAX];
    const ssize_t length = ::readlink("/proc/self/exe", buffer, sizeof buffer);
    if (length <= 0 || static_cast<std::size_t>(length) >= sizeof buffer)
        return false;
    path.assign(buffer, static_cast<std::size_t>(length));
    return true;
}

} // namespace

bool processExists(unsigned long id) {
    if (id == 0 || id > static_cast<unsigned long>(INT_MAX))
        return false;
    // The state is the first field after the command name, which is in parentheses and may
    // itself hold parentheses and blanks.
    char path[64];
    std::snprintf(path, sizeof path, "/proc/%lu/stat", id);
    std::FILE* stat = std::fopen(path, "re");
    if (!stat)
        return false;
    char buffer[1024];
    const std::size_t length = std::fread(buffer, 1, sizeof buffer - 1, stat);
    std::fclose(stat);
    buffer[length] = 0;
    const char* close = std::strrchr(buffer, ')');
    if (!close || close[1] != ' ' || close[2] == 0)
        return false;
    const char state = close[2];
    return state != 'Z' && state != 'X' && state != 'x';
}

void* loadedModule(const std::wstring& name) {
    link_map* head = executableRecord();
    if (name.empty())
        return head;
    const std::string wanted = wideToActiveCodePage(name.c_str(), name.size());
    for (link_map* map = head; map; map = map->l_next) {
        if (map->l_name && *map->l_name && namesModule(wanted, baseName(map->l_name)))
            return map;
    }
    return nullptr;
}

bool moduleFileName(void* module, std::wstring& windowsForm) {
    link_map* head = executableRecord();
    std::string native;
    if (!module || module == head) {
        if (!executablePath(native))
            return false;
    } else {
        // Only a record of the linker's own list is read: any other pointer is refused.
        link_map* found = nullptr;
        for (link_map* map = head; map && !found; map = map->l_next)
            if (map == module)
                found = map;
        if (!found || !found->l_name || !*found->l_name)
            return false;
        char resolved[PATH_MAX];
        native = ::realpath(found->l_name, resolved) ? resolved : found->l_name;
    }
    return posix::fromNativePath(native, windowsForm);
}

// ELF files carry no version resource; the resource format is that of Windows executables.
bool fixedVersionInfo(const std::wstring&, std::uint32_t (&)[2], std::uint32_t (&)[2]) {
    errno = ENOTSUP;
    return false;
}

} // namespace vx::platform
