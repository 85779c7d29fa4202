// ReplaceFileW keeps the attributes and security of the replaced file; a new name is a move.
#include "platform/fileReplace.h"

#include <windows.h>

namespace vx::platform {

bool replaceFile(const std::wstring& source, const std::wstring& target) {
    const DWORD attributes = GetFileAttributesW(target.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES)
        return MoveFileExW(source.c_str(), target.c_str(), MOVEFILE_WRITE_THROUGH) != 0;
    if ((attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return false;
    return ReplaceFileW(target.c_str(), source.c_str(), nullptr, REPLACEFILE_IGNORE_MERGE_ERRORS, nullptr,
                        nullptr) != 0;
}

} // namespace vx::platform
