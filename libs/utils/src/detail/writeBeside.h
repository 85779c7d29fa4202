// Replacing a file without risking the one that was there (internal).
#pragma once

#include "vxDirectory.h"
#include "vxFile.h"
#include "platform/fileSystem.h"

namespace vx::detail {

// Has write(temporary) fill a new file beside target, and puts it in target's place once it is
// complete. False, with target as it was and nothing left beside it, when any step fails.
template <class Write>
bool writeBeside(const file& target, Write write) {
    string drive, name, extension;
    directory folder;
    target.getParts(drive, folder, name, extension);
    const file temporary = file::generateRandomFile(folder, L"tmp");
    if (temporary.fullName().empty())
        return false;
    if (!write(temporary) || !platform::replaceFile(temporary.fullName(), target.fullName())) {
        temporary.remove();
        return false;
    }
    return true;
}

} // namespace vx::detail
