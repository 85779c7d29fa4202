#include <vxRgbColor.h>

#include "testSupport.h"

using vx::rgbColor;

TEST(rgbColor, valueKeepsRedInTheLowestByte) {
    rgbColor c;
    EXPECT_EQ(c.colorValue(), 0u);
    c.setRGB(0x12, 0x34, 0x56);
    EXPECT_EQ(c, rgbColor(0x00563412u));
    unsigned char triple[4] = {0, 0, 0, 0xEE};
    c.asRgbTriple(triple);
    EXPECT_EQ(std::vector<int>(triple, triple + 4), (std::vector<int>{0x12, 0x34, 0x56, 0xEE})); // three bytes only
    rgbColor marked(0xFF000000u); // a value taken as it is keeps its high byte
    EXPECT_EQ(marked.colorValue(), 0xFF000000u);
    marked.setRGB(1, 2, 3);
    EXPECT_EQ(marked.colorValue(), 0x00030201u);
    EXPECT_LT(rgbColor(0xFF, 0, 0), rgbColor(0, 0, 1)); // by value: blue weighs most
    vxtest::failedAssertion([&] { c.asRgbTriple(nullptr); });
}
