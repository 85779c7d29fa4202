// rename(2) replaces the target atomically: readers see the old file or the new, never a part.
#include "platform/fileReplace.h"

#include "platform/vxPlatform.h"

#include <cerrno>
#include <cstdio>
#include <sys/stat.h>

namespace vx::platform {

bool replaceFile(const std::wstring& source, const std::wstring& target) {
    std::string from, to;
    if (!toNativePath(source, from) || !toNativePath(target, to))
        return false;
    struct stat info;
    if (::stat(to.c_str(), &info) == 0) {
        if (S_ISDIR(info.st_mode)) {
            errno = EISDIR;
            return false;
        }
        if (::chmod(from.c_str(), info.st_mode & 07777) != 0)
            return false;
    }
    return std::rename(from.c_str(), to.c_str()) == 0;
}

} // namespace vx::platform
