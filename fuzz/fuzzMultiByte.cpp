// Multi-byte conversions: bytes decoded under a UTF-8 C locale, and arbitrary wide units, must
// come back as valid UTF-8, and the round trip through the active code page must be stable.
#include <vxString.h>

#include <clocale>
#include <cstddef>
#include <cstdint>
#include <cstdio>
#include <cstdlib>
#include <cstring>
#include <string>

namespace {

// Strict UTF-8: shortest forms only, no surrogates, nothing above U+10FFFF.
bool isValidUtf8(const std::string& s) {
    const auto* p = reinterpret_cast<const unsigned char*>(s.data());
    const std::size_t n = s.size();
    for (std::size_t i = 0; i < n;) {
        const unsigned char b = p[i];
        std::size_t length;
        std::uint32_t c;
        if (b < 0x80) { ++i; continue; }
        if (b >= 0xC2 && b <= 0xDF) { length = 2; c = b & 0x1F; }
        else if (b >= 0xE0 && b <= 0xEF) { length = 3; c = b & 0x0F; }
        else if (b >= 0xF0 && b <= 0xF4) { length = 4; c = b & 0x07; }
        else return false;
        if (i + length > n)
            return false;
        for (std::size_t k = 1; k < length; ++k) {
            if ((p[i + k] & 0xC0) != 0x80)
                return false;
            c = (c << 6) | (p[i + k] & 0x3F);
        }
        const std::uint32_t smallest = length == 2 ? 0x80 : length == 3 ? 0x800 : 0x10000;
        if (c < smallest || c > 0x10FFFF || (c >= 0xD800 && c <= 0xDFFF))
            return false;
        i += length;
    }
    return true;
}

void check(bool ok, const char* what) {
    if (!ok) {
        std::fprintf(stderr, "failed: %s\n", what);
        std::abort();
    }
}

void checkWide(const vx::string& wide) {
    const std::string narrow = wide.getMBCS();
    check(isValidUtf8(narrow), "getMBCS yields valid UTF-8");
    const vx::string once = vx::string::makeMBCS(wide);
    check(vx::string::makeMBCS(once) == once, "makeMBCS is idempotent");
    check(once.getMBCS() == narrow, "makeMBCS keeps what getMBCS gives");
}

} // namespace

extern "C" int LLVMFuzzerInitialize(int*, char***) {
    if (!std::setlocale(LC_ALL, "C.UTF-8")) {
        std::fprintf(stderr, "the C.UTF-8 locale is missing\n");
        std::abort();
    }
    return 0;
}

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    // The bytes as a C string: the decoder reads up to the first null.
    const std::string bytes(reinterpret_cast<const char*>(data), size);
    const std::string cString = bytes.substr(0, bytes.find('\0'));
    const vx::string decoded = vx::string::fromMBCtoWC(cString.c_str());
    checkWide(decoded);
    if (isValidUtf8(cString))
        check(decoded.getMBCS() == cString, "valid UTF-8 comes back unchanged");

    // The same bytes read as wide units of any value, surrogates and beyond U+10FFFF included.
    vx::string units;
    for (std::size_t i = 0; i + 4 <= size; i += 4) {
        std::uint32_t u;
        std::memcpy(&u, data + i, 4);
        units.push_back(static_cast<wchar_t>(u));
    }
    checkWide(units);
    return 0;
}
