#include "vxGenericValue.h"

#include <cstdlib>
#include <limits>

namespace vx {

// Every holder, whichever module instantiated its template, is allocated and released here, so
// that a holder made in one module can be destroyed in another.
void* holderbase::allocate(std::uint64_t size) {
    if (size > std::numeric_limits<std::size_t>::max())
        return nullptr;
    return std::malloc(static_cast<std::size_t>(size));
}

void holderbase::deallocate(void* p) {
    std::free(p);
}

VX_GENERIC_HOLDER_INSTANTIATIONS(, )

} // namespace vx
