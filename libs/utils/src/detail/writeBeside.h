// Writing a whole file so that a failure leaves the file that was there as it was.
#pragma once

#include "vxBinaryBuffer.h"
#include "vxFile.h"

namespace vx::detail {

// Writes the logical content of buffer to a new file beside f, which then takes f's place.
// False, with f untouched and no file left behind, when any step fails.
bool writeBeside(const binaryBuffer& buffer, const file& f);

} // namespace vx::detail
