#include "vxRgbColor.h"

#include "vxAssert.h"

namespace vx {

void rgbColor::setRGB(unsigned char red, unsigned char green, unsigned char blue) {
    mValue = composeValue(red, green, blue);
}

void rgbColor::asRgbTriple(unsigned char* const pTriple) const {
    VX_ASSERT(pTriple);
    pTriple[0] = red();
    pTriple[1] = green();
    pTriple[2] = blue();
}

} // namespace vx
