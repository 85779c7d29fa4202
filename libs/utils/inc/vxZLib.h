// One-shot compression of a memory block with zlib.
#pragma once

#include "vxExport.h"

namespace vx {

// The results of vxcompress, as zlib numbers them.
enum : int {
    vxcompressOk = 0,           // done; *destinationLength holds the bytes written
    vxcompressNoMemory = -4,    // zlib could not allocate its state
    vxcompressNoRoom = -5,      // the destination is too small for the result
};

// Compresses sourceLength bytes at source into a zlib stream (RFC 1950) at destination.
// *destinationLength gives the room on entry and holds the bytes written on return. Room of
// vxcompressBound(sourceLength) bytes always suffices. A null pointer with a non-zero length
// gives vxcompressNoRoom and writes nothing.
VX_API int vxcompress(unsigned char* destination, unsigned long* destinationLength, const unsigned char* source,
                      unsigned long sourceLength);

// The room vxcompress needs at most for sourceLength bytes.
VX_API unsigned long vxcompressBound(unsigned long sourceLength);

} // namespace vx
