// Putting a completely written file in the place of another (internal).
#pragma once

#include <string>

namespace vx::platform {

// Moves the file source (Windows-form path) to the name target in one step, replacing a file of
// that name; the two lie in the same directory. A replaced file passes its permission bits on.
// False, with both files as they were, when that cannot be done (target is a directory, say).
bool replaceFile(const std::wstring& source, const std::wstring& target);

} // namespace vx::platform
