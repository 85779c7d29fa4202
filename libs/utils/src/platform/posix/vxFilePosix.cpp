// File services of the file objects that POSIX systems answer in their own way.
#include "platform/vxPlatform.h"

#include <cerrno>

namespace vx::platform {

// ELF files carry no version resource; the resource format is that of Windows executables.
bool fixedVersionInfo(const std::wstring&, std::uint32_t (&)[2], std::uint32_t (&)[2]) {
    errno = ENOTSUP;
    return false;
}

} // namespace vx::platform
