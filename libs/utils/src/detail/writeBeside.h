// Replacing a file without risking the one that was there (internal).
#pragma once

#include "vxDirectory.h"
#include "vxFile.h"
#include "platform/fileSystem.h"

namespace vx::detail {

// Has write(temporary) fill a new file beside target, and puts it in target's place once it is
// complete. False, with target as it was and nothing left beside it, when any step fails. A
// folder that takes no new file fails too, unless inPlaceWithoutRoom asks for write(target)
// then (a writeable file in a read-only folder is still written, though not safely).
template <class Write>
bool writeBeside(const file& target, Write write, bool inPlaceWithoutRoom = false) {
    string drive, name, extension;
    directory folder;
    target.getParts(drive, folder, name, extension);
    const file temporary = file::generateRandomFile(folder, L"tmp");
    if (temporary.fullName().empty())
        return inPlaceWithoutRoom && write(target);
    if (!write(temporary) || !platform::replaceFile(temporary.fullName(), target.fullName())) {
        temporary.remove();
        return false;
    }
    return true;
}

} // namespace vx::detail
